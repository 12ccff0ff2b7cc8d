// How late motion's ticks come, and how soon a command's effect can be read: alone, with 200
// watchers of another process, with 50 pages, and with every core kept busy by others.
#include <benchmark/benchmark.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstring>
#include <functional>
#include <iostream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "access/access.h"
#include "bench/pages.h"
#include "bench/served.h"
#include "framework/hb/module_factory.h"
#include "framework/xo/session.h"
#include "remote/client/robot_client.h"
#include "remote/server/server.h"
#include "services/memory/src/hbmemory.h"
#include "services/motion/src/memory_driver.h"
#include "services/motion/src/motion_loop.h"
#include "web/server/server.h"

namespace bench {
namespace {

using Time = std::chrono::steady_clock::time_point;
using Milliseconds = std::chrono::duration<double, std::milli>;

constexpr int kWatchers = 200;
constexpr int kPages = 50;
constexpr std::size_t kDevices = 100;

/// Notes when outputs leave.
class Recorder final : public HB::LedDriver {
 public:
  explicit Recorder(std::vector<Time>& times) : fTimes(times) {}
  std::string name() const override { return "recorder"; }
  void write(const std::vector<int>&, const std::vector<float>&) override {
    fTimes.push_back(std::chrono::steady_clock::now());
  }

 private:
  std::vector<Time>& fTimes;
};

/// Memory, motion's loop and the door of a robot, in this process.
class Robot {
 public:
  Robot() {
    HB::createModule<HB::HBMemory>(fBroker);
    fMemory = fBroker->getSpecialisedProxy<HB::HBMemoryProxy>("HBMemory");
    for (std::size_t i = 0; i < kDevices; ++i) {
      fKeys.push_back("Device/SubDeviceList/Led/" + std::to_string(1000 + i) + "/Actuator/Value");
    }
    fTimes.reserve(1 << 20);
    std::vector<std::unique_ptr<HB::LedDriver>> drivers;
    drivers.push_back(std::make_unique<HB::MemoryDriver>(fMemory, fKeys));
    drivers.push_back(std::make_unique<Recorder>(fTimes));
    fLoop = std::make_unique<HB::MotionLoop>(std::vector<float>(kDevices, 0.0f), std::move(drivers),
                                             nullptr);
    remote::Server::Options options;
    options.listen = "127.0.0.1:0";
    fServer = std::make_unique<remote::Server>(fAccess, options);
  }
  ~Robot() {
    fPage.reset();
    fServer.reset();
    fLoop.reset();
    fMemory.reset();
    fBroker->removeModule("HBMemory");
  }
  Robot(const Robot&) = delete;
  Robot& operator=(const Robot&) = delete;

  std::string address() const { return fServer->tcpAddress(); }
  /// Its port.
  int servePage() {
    fPage = std::make_unique<web::Server>(fAccess, web::Server::Options());
    return fPage->port();
  }
  const std::string& key() const { return fKeys.front(); }
  float read() const { return fMemory->getData(key()).toFloat(); }

  /// Every device on its way to `value`, changing at every tick.
  void move(float value, float seconds) {
    std::vector<HB::MotionLoop::Move> moves;
    for (std::size_t i = 0; i < kDevices; ++i) {
      moves.push_back({static_cast<int>(i), {&seconds, 1}, {&value, 1}});
    }
    fLoop->start(moves);
  }
  /// When the ticks of one movement came. Only while nothing moves.
  std::vector<Time> takeTimes() {
    auto times = fTimes;
    fTimes.clear();
    return times;
  }

 private:
  std::vector<Time> fTimes;
  std::shared_ptr<xo::Session> fSession = std::make_shared<xo::Session>();
  std::shared_ptr<HB::HBBroker> fBroker = HB::HBBroker::create(fSession);
  std::shared_ptr<HB::HBMemoryProxy> fMemory;
  std::vector<std::string> fKeys;
  std::unique_ptr<HB::MotionLoop> fLoop;
  door::Access fAccess{fSession};
  std::unique_ptr<remote::Server> fServer;
  std::unique_ptr<web::Server> fPage;
};

/// Follows every value, from as many connections as one client may have watches.
void watch(const std::string& address) {
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  std::vector<std::thread> threads;
  std::atomic<int> begun{0};
  for (int i = 0; i < kWatchers; ++i) {
    threads.emplace_back([&] {
      const auto client = remote::RobotClient::connect(address);
      bool isFirst = true;
      client->watch("*", [&](const remote::WatchBatch&) {
        if (std::exchange(isFirst, false) && ++begun == kWatchers) {
          std::cout << "watching" << std::endl;
        }
        return true;
      });
    });
  }
  for (auto& thread : threads) thread.join();
}

/// Children that do nothing but run, one a processor.
class Load {
 public:
  explicit Load(unsigned count) {
    for (unsigned i = 0; i < count; ++i) {
      const pid_t child = ::fork();
      if (child == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        for (volatile bool runs = true; runs;) {
        }
      }
      fChildren.push_back(child);
    }
  }
  ~Load() {
    for (const pid_t child : fChildren) {
      ::kill(child, SIGKILL);
      ::waitpid(child, nullptr, 0);
    }
  }
  Load(const Load&) = delete;
  Load& operator=(const Load&) = delete;

 private:
  std::vector<pid_t> fChildren;
};

void everyProcessor() {
  cpu_set_t set;
  CPU_ZERO(&set);
  for (unsigned cpu = 0; cpu < std::thread::hardware_concurrency(); ++cpu) CPU_SET(cpu, &set);
  ::sched_setaffinity(0, sizeof(set), &set);
}

/// What surrounds the robot while it is measured.
enum class Around { kNothing, kViewers, kPages, kLoad };

class Surroundings {
 public:
  Surroundings(Around around, Robot& robot) {
    if (around == Around::kViewers) follow("--watch", robot.address());
    if (around == Around::kPages) follow("--pages", std::to_string(robot.servePage()));
    if (around == Around::kLoad) {
      fLoad = std::make_unique<Load>(std::thread::hardware_concurrency());
    }
  }

 private:
  /// Another process of this program.
  void follow(const std::string& how, const std::string& where) {
    fWatchers = std::make_unique<Served>(std::vector<std::string>{"/proc/self/exe", how, where},
                                         "watching", 1);
    everyProcessor();
  }

  std::unique_ptr<Served> fWatchers;
  std::unique_ptr<Load> fLoad;
};

void tell(benchmark::State& state, std::vector<double>& milliseconds) {
  std::ranges::sort(milliseconds);
  state.counters["p50_ms"] = milliseconds[milliseconds.size() / 2];
  state.counters["p99_ms"] = milliseconds[milliseconds.size() * 99 / 100];
  state.counters["most_ms"] = milliseconds.back();
  state.counters["count"] = static_cast<double>(milliseconds.size());
}

/// Against the grid of 10 ms that begins at the call which woke motion (read here a moment before).
void tickLateness(benchmark::State& state, Around around) {
  everyProcessor();
  Robot robot;
  const Surroundings surroundings(around, robot);
  std::vector<double> lateness;
  float value = 0;
  for (auto _ : state) {
    value = 1 - value;
    const Time begin = std::chrono::steady_clock::now();
    robot.move(value, 1);
    // Looked for seldom, so that looking is no load beside what is measured.
    while (robot.read() != value) std::this_thread::sleep_for(std::chrono::milliseconds(50));
    const auto ticks = robot.takeTimes();
    for (Time due = begin + HB::MotionLoop::kTick; due < ticks.back();
         due += HB::MotionLoop::kTick) {
      // A tick that was left out is as late as the one that came in its place.
      const auto came = std::ranges::lower_bound(ticks, due);
      lateness.push_back(Milliseconds(*came - due).count());
    }
  }
  tell(state, lateness);
}
BENCHMARK_CAPTURE(tickLateness, alone, Around::kNothing)->Iterations(10)->UseRealTime();
BENCHMARK_CAPTURE(tickLateness, watchers, Around::kViewers)->Iterations(10)->UseRealTime();
BENCHMARK_CAPTURE(tickLateness, pages, Around::kPages)->Iterations(10)->UseRealTime();
BENCHMARK_CAPTURE(tickLateness, loaded, Around::kLoad)->Iterations(10)->UseRealTime();

/// From the call to the first changed value that a reader of the memory sees.
void commandToValue(benchmark::State& state) {
  everyProcessor();
  Robot robot;
  std::vector<double> times;
  float value = 0;
  for (auto _ : state) {
    const float before = value;
    value = 1 - value;
    const Time begin = std::chrono::steady_clock::now();
    robot.move(value, 0.05f);
    while (robot.read() == before) std::this_thread::yield();
    times.push_back(Milliseconds(std::chrono::steady_clock::now() - begin).count());
    while (robot.read() != value) std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  tell(state, times);
}
BENCHMARK(commandToValue)->Iterations(300)->UseRealTime();

}  // namespace
}  // namespace bench

int main(int argc, char** argv) {
  if (argc == 3 && std::strcmp(argv[1], "--watch") == 0) {
    bench::watch(argv[2]);
    return 0;
  }
  if (argc == 3 && std::strcmp(argv[1], "--pages") == 0) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    bench::watchAsPages(bench::kPages, std::stoi(argv[2]));
    return 0;
  }
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
