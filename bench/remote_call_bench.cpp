// What a remote call costs, beside a bare synchronous gRPC echo of a 60-byte message in the same
// run; for client and robot on one core, and on one core each (never compare across the two).
//
// The robot is the program of this build with its own services; robot and echo are processes of
// their own.
#include <benchmark/benchmark.h>
#include <grpcpp/grpcpp.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstring>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "bench/echo.grpc.pb.h"
#include "bench/served.h"
#include "remote/client/robot_client.h"
#include "remote/proto/convert.h"
#include "tavro/v1/robot.grpc.pb.h"

namespace bench {
namespace {

constexpr int kInFlight = 16;
constexpr int kWarmUp = 2000;
const std::string kDevice = "Face/Led/Red/Left/0Deg/Actuator/Value";

class EchoService final : public Echoes::Service {
  grpc::Status Say(grpc::ServerContext*, const Echo* request, Echo* reply) override {
    reply->set_text(request->text());
    return grpc::Status::OK;
  }
};

void serveEcho() {
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  EchoService service;
  grpc::ServerBuilder builder;
  int port = 0;
  builder.AddListeningPort("127.0.0.1:0", grpc::InsecureServerCredentials(), &port);
  builder.RegisterService(&service);
  const auto server = builder.BuildAndStart();
  std::cout << "listening grpc=127.0.0.1:" << port << std::endl;
  ::pause();
}

/// The yardstick.
class EchoCall {
 public:
  using Server = ServedEcho;
  explicit EchoCall(const std::string& address)
      : fStub(Echoes::NewStub(grpc::CreateChannel(address, grpc::InsecureChannelCredentials()))) {
    fRequest.set_text(std::string(58, 'x'));  // 60 bytes with tag and length
  }
  void call() const {
    grpc::ClientContext context;
    Echo reply;
    if (!fStub->Say(&context, fRequest, &reply).ok()) throw std::runtime_error("echo failed");
  }

 private:
  std::unique_ptr<Echoes::Stub> fStub;
  Echo fRequest;
};

/// One device, at once.
class SetIntensity {
 public:
  using Server = ServedRobot;
  explicit SetIntensity(const std::string& address)
      : fClient(remote::RobotClient::connect(address)) {}
  void call() const {
    const HB::HBValue args[] = {kDevice, 0.5f};
    fClient->call("HBLeds", "setIntensity", args);
  }

 private:
  std::unique_ptr<remote::RobotClient> fClient;
};

/// The 48 devices of the eyes. All fades end at one instant, so that each replaces the one before.
class FadeRgb {
 public:
  using Server = ServedRobot;
  explicit FadeRgb(const std::string& address) : fClient(remote::RobotClient::connect(address)) {}
  void call() const {
    const std::chrono::duration<float> left = fEnd - std::chrono::steady_clock::now();
    const HB::HBValue args[] = {"FaceLeds", 0x00ff8000, left.count()};
    fClient->call("HBLeds", "fadeRGB", args);
  }

 private:
  std::unique_ptr<remote::RobotClient> fClient;
  const std::chrono::steady_clock::time_point fEnd =
      std::chrono::steady_clock::now() + std::chrono::seconds(1000);
};

enum class Way { kTcp, kUnix };

std::string addressOf(const ServedEcho& echo, Way) { return echo.tcp(); }
std::string addressOf(const ServedRobot& robot, Way way) {
  return way == Way::kUnix ? robot.unixSocket() : robot.tcp();
}

/// One call in flight: p50 and p99 in microseconds.
template <class Call>
void oneInFlight(benchmark::State& state, int cpu, Way way) {
  const typename Call::Server server(cpu);
  const Call caller(addressOf(server, way));
  for (int i = 0; i < kWarmUp; ++i) caller.call();
  std::vector<double> times;
  for (auto _ : state) {
    const auto start = std::chrono::steady_clock::now();
    caller.call();
    const std::chrono::duration<double, std::micro> time = std::chrono::steady_clock::now() - start;
    times.push_back(time.count());
  }
  std::ranges::sort(times);
  state.counters["p50_us"] = times[times.size() / 2];
  state.counters["p99_us"] = times[times.size() * 99 / 100];
}

constexpr int kCallsOfEach = 500;

void countCalls(benchmark::State& state) {
  state.counters["calls_per_s"] =
      benchmark::Counter(kInFlight * kCallsOfEach, benchmark::Counter::kIsIterationInvariantRate);
}

/// Sixteen threads that call on one connection: calls a second.
template <class Call>
void sixteenThreads(benchmark::State& state, int cpu, Way way) {
  const typename Call::Server server(cpu);
  const Call caller(addressOf(server, way));
  for (int i = 0; i < kWarmUp; ++i) caller.call();
  for (auto _ : state) {
    std::vector<std::thread> threads;
    for (int i = 0; i < kInFlight; ++i) {
      threads.emplace_back([&caller] {
        for (int call = 0; call < kCallsOfEach; ++call) caller.call();
      });
    }
    for (auto& thread : threads) thread.join();
  }
  countCalls(state);
}

/// A client with one completion queue.
class AsynchronousClient {
 public:
  explicit AsynchronousClient(const std::string& address)
      : fStub(tavro::v1::Robot::NewStub(
            grpc::CreateChannel(address, grpc::InsecureChannelCredentials()))) {
    fRequest.set_service("HBLeds");
    fRequest.set_method("setIntensity");
    remote::toWire(kDevice, fRequest.add_args());
    remote::toWire(0.5f, fRequest.add_args());
  }

  /// That many calls, sixteen of them in flight.
  void call(int calls) {
    for (int i = 0; i < kInFlight; ++i) begin(fCalls[static_cast<std::size_t>(i)]);
    int left = calls - kInFlight;
    for (int ended = 0; ended < calls; ++ended) {
      void* tag = nullptr;
      bool ok = false;
      fQueue.Next(&tag, &ok);
      auto& one = *static_cast<OneCall*>(tag);
      if (!one.status.ok() || one.reply.has_error()) throw std::runtime_error("a call failed");
      if (left-- > 0) begin(one);
    }
  }

 private:
  struct OneCall {
    std::unique_ptr<grpc::ClientContext> context;
    std::unique_ptr<grpc::ClientAsyncResponseReader<tavro::v1::CallReply>> reader;
    tavro::v1::CallReply reply;
    grpc::Status status;
  };
  void begin(OneCall& one) {
    one.context = std::make_unique<grpc::ClientContext>();
    one.reader = fStub->AsyncCall(one.context.get(), fRequest, &fQueue);
    one.reader->Finish(&one.reply, &one.status, &one);
  }

  std::unique_ptr<tavro::v1::Robot::Stub> fStub;
  tavro::v1::CallRequest fRequest;
  grpc::CompletionQueue fQueue;
  std::array<OneCall, kInFlight> fCalls;
};

void sixteenAsynchronous(benchmark::State& state, int cpu, Way way) {
  const ServedRobot server(cpu);
  AsynchronousClient client(addressOf(server, way));
  client.call(kWarmUp);
  for (auto _ : state) client.call(kInFlight * kCallsOfEach);
  countCalls(state);
}

template <class Call>
void addOne(const std::string& name, const std::string& place, int cpu, Way way) {
  benchmark::RegisterBenchmark(("remote_call/one_in_flight/" + place + name).c_str(),
                               oneInFlight<Call>, cpu, way)
      ->Unit(benchmark::kMicrosecond)
      ->UseRealTime();
}

template <class Run>
void addSixteen(const std::string& name, const std::string& place, int cpu, Way way, Run run) {
  benchmark::RegisterBenchmark(("remote_call/16_in_flight/" + place + name).c_str(), run, cpu, way)
      ->Unit(benchmark::kMillisecond)
      ->UseRealTime();
}

void addPlacement(const std::string& place, int cpu) {
  addOne<EchoCall>("echo_tcp", place, cpu, Way::kTcp);
  addOne<SetIntensity>("robot_tcp", place, cpu, Way::kTcp);
  addOne<SetIntensity>("robot_unix", place, cpu, Way::kUnix);
  addOne<FadeRgb>("fadeRGB_tcp", place, cpu, Way::kTcp);
  addOne<FadeRgb>("fadeRGB_unix", place, cpu, Way::kUnix);
  addSixteen("echo_tcp", place, cpu, Way::kTcp, sixteenThreads<EchoCall>);
  addSixteen("robot_tcp", place, cpu, Way::kTcp, sixteenThreads<SetIntensity>);
  addSixteen("robot_unix", place, cpu, Way::kUnix, sixteenThreads<SetIntensity>);
  addSixteen("asynchronous_tcp", place, cpu, Way::kTcp, sixteenAsynchronous);
  addSixteen("asynchronous_unix", place, cpu, Way::kUnix, sixteenAsynchronous);
}

}  // namespace
}  // namespace bench

int main(int argc, char** argv) {
  if (argc == 3 && std::strcmp(argv[1], "--serve") == 0) {
    bench::serveEcho();
    return 0;
  }
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  bench::addPlacement("one_core/", 0);
  if (std::thread::hardware_concurrency() > 1) bench::addPlacement("two_cores/", 1);
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
