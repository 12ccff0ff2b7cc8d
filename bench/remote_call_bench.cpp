// What a remote call costs, beside a bare synchronous gRPC echo of a 60-byte message in the same
// run; for client and robot on one core, and on one core each (never compare across the two).
//
// Robot and echo are processes of their own: this program started again with --serve.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <grpcpp/grpcpp.h>
#include <sched.h>
#include <spawn.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "access/access.h"
#include "bench/echo.grpc.pb.h"
#include "framework/xo/session.h"
#include "remote/client/robot_client.h"
#include "remote/server/server.h"

namespace {

constexpr int kInFlight = 16;

void pinTo(int cpu) {
  cpu_set_t set;
  CPU_ZERO(&set);
  CPU_SET(cpu, &set);
  ::sched_setaffinity(0, sizeof(set), &set);
}

/// Tells the parent where to connect, and serves until it closes the pipe or is gone.
void serveUntilTold(const std::string& addresses) {
  std::printf("%s\n", addresses.c_str());
  std::fflush(stdout);
  char unused = 0;
  while (::read(STDIN_FILENO, &unused, 1) > 0) {
  }
}

class EchoService final : public bench::Echoes::Service {
  grpc::Status Say(grpc::ServerContext*, const bench::Echo* request, bench::Echo* reply) override {
    reply->set_text(request->text());
    return grpc::Status::OK;
  }
};

void serveEcho() {
  EchoService service;
  grpc::ServerBuilder builder;
  int port = 0;
  builder.AddListeningPort("127.0.0.1:0", grpc::InsecureServerCredentials(), &port);
  builder.RegisterService(&service);
  const auto server = builder.BuildAndStart();
  serveUntilTold("127.0.0.1:" + std::to_string(port));
  server->Shutdown(std::chrono::system_clock::now());
}

void serveRobot() {
  const auto session = std::make_shared<xo::Session>();
  std::atomic<int> calls{0};
  xo::ObjectBuilder builder;
  builder.add(xo::makeMethod<void(const std::string&, float)>(
      {"setIntensity", "", {}, {}, {}}, [&](const std::string&, const float&) { ++calls; }));
  const auto registration = session->registerService("HBLeds", std::move(builder));
  door::Access access(session);
  remote::Server::Options options;
  options.listen = "127.0.0.1:0";
  std::string folder = std::filesystem::temp_directory_path() / "remote-call-bench-XXXXXX";
  if (::mkdtemp(folder.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
  options.unixPath = folder + "/robot.sock";
  {
    remote::Server server(access, options);
    serveUntilTold(server.tcpAddress() + " unix:" + server.unixPath());
  }
  ::unlink((options.unixPath + ".lock").c_str());
  ::rmdir(folder.c_str());
}

/// A child that serves, on a core of its choice.
class Served {
 public:
  Served(const std::string& what, int cpu) {
    int toChild[2];
    int fromChild[2];
    if (::pipe2(toChild, O_CLOEXEC) != 0 || ::pipe2(fromChild, O_CLOEXEC) != 0) {
      throw std::runtime_error("pipe2 failed");
    }
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_adddup2(&actions, toChild[0], STDIN_FILENO);
    ::posix_spawn_file_actions_adddup2(&actions, fromChild[1], STDOUT_FILENO);
    const std::string cpuText = std::to_string(cpu);
    const char* const args[] = {"remote_call_bench", "--serve", what.c_str(), cpuText.c_str(),
                                nullptr};
    const int failed = ::posix_spawn(&fChild, "/proc/self/exe", &actions, nullptr,
                                     const_cast<char* const*>(args), environ);
    ::posix_spawn_file_actions_destroy(&actions);
    ::close(toChild[0]);
    ::close(fromChild[1]);
    fToChild = toChild[1];
    if (failed != 0) throw std::runtime_error("posix_spawn failed");
    std::string line;
    for (char c = 0; ::read(fromChild[0], &c, 1) == 1 && c != '\n';) line += c;
    ::close(fromChild[0]);
    const auto space = line.find(' ');
    tcp = line.substr(0, space);
    if (space != std::string::npos) unixSocket = line.substr(space + 1);
    if (tcp.empty()) throw std::runtime_error(what + " did not start");
  }
  ~Served() {
    ::close(fToChild);
    ::waitpid(fChild, nullptr, 0);
  }
  Served(const Served&) = delete;
  Served& operator=(const Served&) = delete;

  std::string tcp;
  std::string unixSocket;

 private:
  pid_t fChild = 0;
  int fToChild = -1;
};

class EchoCaller {
 public:
  explicit EchoCaller(const std::string& address)
      : fStub(bench::Echoes::NewStub(
            grpc::CreateChannel(address, grpc::InsecureChannelCredentials()))) {
    fRequest.set_text(std::string(58, 'x'));  // 60 bytes with tag and length
  }
  void call() const {
    grpc::ClientContext context;
    bench::Echo reply;
    if (!fStub->Say(&context, fRequest, &reply).ok()) throw std::runtime_error("echo failed");
  }

 private:
  std::unique_ptr<bench::Echoes::Stub> fStub;
  bench::Echo fRequest;
};

class RobotCaller {
 public:
  explicit RobotCaller(const std::string& address)
      : fClient(remote::RobotClient::connect(address)) {}
  void call() const {
    const HB::HBValue args[] = {"Face/Led/Red/Left/0Deg/Actuator/Value", 0.5f};
    fClient->call("HBLeds", "setIntensity", args);
  }

 private:
  std::unique_ptr<remote::RobotClient> fClient;
};

/// The echo's figures of this run, for the ratios.
std::map<std::string, double> gEchoes;

void report(benchmark::State& state, const std::string& yardstick, bool isYardstick, double value,
            double ratio) {
  if (isYardstick) {
    gEchoes[yardstick] = value;
  } else if (ratio > 0) {
    state.counters["to_echo"] = ratio;
  }
}

double ratioTo(const std::string& yardstick, double value) {
  const auto found = gEchoes.find(yardstick);
  return found == gEchoes.end() ? 0 : value / found->second;
}

/// One call in flight: p50 and p99 in microseconds.
template <class Caller>
void oneInFlight(benchmark::State& state, const std::string& what, int cpu, bool isUnix) {
  pinTo(0);
  const Served served(what, cpu);
  const Caller caller(isUnix ? served.unixSocket : served.tcp);
  for (int i = 0; i < 2000; ++i) caller.call();
  std::vector<double> times;
  for (auto _ : state) {
    const auto start = std::chrono::steady_clock::now();
    caller.call();
    const std::chrono::duration<double, std::micro> time = std::chrono::steady_clock::now() - start;
    times.push_back(time.count());
  }
  std::ranges::sort(times);
  const double p50 = times[times.size() / 2];
  state.counters["p50_us"] = p50;
  state.counters["p99_us"] = times[times.size() * 99 / 100];
  const std::string yardstick = "one" + std::to_string(cpu);
  report(state, yardstick, what == "echo", p50, ratioTo(yardstick, p50));
}

/// Sixteen callers on one connection: calls a second.
template <class Caller>
void sixteenInFlight(benchmark::State& state, const std::string& what, int cpu, bool isUnix) {
  pinTo(0);
  const Served served(what, cpu);
  const Caller caller(isUnix ? served.unixSocket : served.tcp);
  for (int i = 0; i < 2000; ++i) caller.call();
  constexpr int kEach = 500;
  double seconds = 0;
  double calls = 0;
  for (auto _ : state) {
    const auto start = std::chrono::steady_clock::now();
    std::vector<std::thread> threads;
    for (int i = 0; i < kInFlight; ++i) {
      threads.emplace_back([&caller] {
        for (int call = 0; call < kEach; ++call) caller.call();
      });
    }
    for (auto& thread : threads) thread.join();
    seconds += std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    calls += kInFlight * kEach;
  }
  state.counters["calls_per_s"] = calls / seconds;
  const std::string yardstick = "sixteen" + std::to_string(cpu);
  report(state, yardstick, what == "echo", calls / seconds, ratioTo(yardstick, calls / seconds));
}

template <class Caller>
void registerRow(const std::string& name, const std::string& what, int cpu, bool isUnix) {
  const std::string place = cpu == 0 ? "one_core/" : "two_cores/";
  benchmark::RegisterBenchmark(("remote_call/one_in_flight/" + place + name).c_str(),
                               oneInFlight<Caller>, what, cpu, isUnix)
      ->Unit(benchmark::kMicrosecond)
      ->UseRealTime();
  benchmark::RegisterBenchmark(("remote_call/16_in_flight/" + place + name).c_str(),
                               sixteenInFlight<Caller>, what, cpu, isUnix)
      ->Unit(benchmark::kMillisecond)
      ->UseRealTime();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 4 && std::strcmp(argv[1], "--serve") == 0) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    pinTo(std::atoi(argv[3]));
    std::strcmp(argv[2], "echo") == 0 ? serveEcho() : serveRobot();
    return 0;
  }
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  const int cores = std::thread::hardware_concurrency() > 1 ? 2 : 1;
  for (int cpu = 0; cpu < cores; ++cpu) {
    registerRow<EchoCaller>("echo_tcp", "echo", cpu, false);
    registerRow<RobotCaller>("robot_tcp", "robot", cpu, false);
    registerRow<RobotCaller>("robot_unix", "robot", cpu, true);
  }
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
