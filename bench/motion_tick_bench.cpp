// What a tick of motion costs beside the plain interpolation loop over arrays of the same kinds,
// and what it costs to hand a movement over.
#include <benchmark/benchmark.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "framework/hb/hb_memory_proxy.h"
#include "framework/hb/module_factory.h"
#include "framework/xo/session.h"
#include "services/memory/src/hbmemory.h"
#include "services/motion/src/animator.h"
#include "services/motion/src/hbmotion.h"
#include "services/motion/src/memory_driver.h"

namespace {

using Lists = std::vector<std::vector<float>>;

constexpr HB::Microseconds kTick = 10'000;
constexpr HB::Microseconds kBegin = 1e12;
constexpr float kLegSeconds = 1000;  // long enough that no tick of a run ends many movements

std::string keyOf(std::size_t number) {
  return "Device/SubDeviceList/Face/Led/" + std::to_string(1'000'000 + number) + "/Actuator/Value";
}

/// Every channel moves between 0 and 1 for longer than any run lasts, and changes at every tick.
HB::Animator movingChannels(std::size_t count) {
  HB::Animator animator{std::vector<float>(count, 0.0f)};
  const std::size_t legs = count > 1000 ? 4 : 4096;
  std::vector<float> times;
  std::vector<float> values;
  for (std::size_t leg = 1; leg <= legs; ++leg) {
    times.push_back(static_cast<float>(leg) * kLegSeconds);
    values.push_back(static_cast<float>(leg % 2));
  }
  for (std::size_t c = 0; c < count; ++c) animator.add(static_cast<int>(c), kBegin, times, values);
  return animator;
}

void countPerChannel(benchmark::State& state) {
  state.counters["ns_per_channel"] = benchmark::Counter(
      static_cast<double>(state.range(0)) * 1e-9,
      benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

/// The arithmetic of a tick, every channel moving.
void tick(benchmark::State& state) {
  const auto count = static_cast<std::size_t>(state.range(0));
  HB::Animator animator = movingChannels(count);
  HB::Microseconds now = kBegin;
  for (auto _ : state) {
    const auto changes = animator.advance(now += kTick);
    if (changes.channels.size() != count) state.SkipWithError("not every channel changed");
    benchmark::DoNotOptimize(changes.values.data());
    benchmark::ClobberMemory();
  }
  countPerChannel(state);
}
BENCHMARK(tick)->Arg(100)->Arg(1'000'000);

/// The floor: the same interpolation over arrays of the same types, and nothing else.
void plainLoop(benchmark::State& state) {
  const auto count = static_cast<std::size_t>(state.range(0));
  std::vector<float> start(count, 0.0f);
  std::vector<double> slope(count, 1 / (kLegSeconds * 1e6));
  std::vector<double> since(count, kBegin);
  std::vector<float> output(count, 0.0f);
  HB::Microseconds now = kBegin;
  for (auto _ : state) {
    now += kTick;
    const float* __restrict from = start.data();
    const double* __restrict rate = slope.data();
    const double* __restrict begin = since.data();
    float* __restrict to = output.data();
    for (std::size_t i = 0; i < count; ++i) {
      to[i] = static_cast<float>(static_cast<double>(from[i]) + rate[i] * (now - begin[i]));
    }
    benchmark::DoNotOptimize(output.data());
    benchmark::ClobberMemory();
  }
  countPerChannel(state);
}
BENCHMARK(plainLoop)->Arg(100)->Arg(1'000'000);

/// A robot's memory with as many devices, made once.
class Memory {
 public:
  explicit Memory(std::size_t count) {
    HB::createModule<HB::HBMemory>(fBroker);
    std::vector<std::string> keys;
    for (std::size_t i = 0; i < count; ++i) keys.push_back(keyOf(i));
    fDriver = std::make_unique<HB::MemoryDriver>(
        fBroker->getSpecialisedProxy<HB::HBMemoryProxy>("HBMemory"), keys);
  }
  ~Memory() {
    fDriver.reset();
    fBroker->removeModule("HBMemory");
  }
  HB::MemoryDriver& driver() { return *fDriver; }

 private:
  std::shared_ptr<xo::Session> fSession = std::make_shared<xo::Session>();
  std::shared_ptr<HB::HBBroker> fBroker = HB::HBBroker::create(fSession);
  std::unique_ptr<HB::MemoryDriver> fDriver;
};

/// The whole tick: interpolated, written to the memory service, readable by everybody.
void tickIntoMemory(benchmark::State& state) {
  const auto count = static_cast<std::size_t>(state.range(0));
  static std::map<std::size_t, std::unique_ptr<Memory>> memories;
  auto& memory = memories[count];
  if (!memory) memory = std::make_unique<Memory>(count);
  HB::Animator animator = movingChannels(count);
  HB::Microseconds now = kBegin;
  for (auto _ : state) {
    const auto changes = animator.advance(now += kTick);
    memory->driver().write(changes.channels, changes.values);
  }
  countPerChannel(state);
}
BENCHMARK(tickIntoMemory)->Arg(100)->Arg(1'000'000);

/// Fades armed one by one while the earlier ones are pending, and ended by one tick.
void armAndEnd(benchmark::State& state) {
  const auto count = static_cast<std::size_t>(state.range(0));
  HB::Animator animator{std::vector<float>(count, 0.0f)};
  HB::Microseconds now = kBegin;
  float value = 0;
  for (auto _ : state) {
    value = 1 - value;
    const std::vector<float> times{1};
    const std::vector<float> values{value};
    for (std::size_t c = 0; c < count; ++c) animator.add(static_cast<int>(c), now, times, values);
    now += 1e6;
    if (animator.advance(now).channels.size() != count || !animator.isResting()) {
      state.SkipWithError("not every fade ended");
    }
  }
  countPerChannel(state);
}
BENCHMARK(armAndEnd)->Arg(1'000)->Arg(1'000'000);

/// The three services of a robot with as many devices.
class Robot {
 public:
  explicit Robot(std::size_t devices) {
    HB::createModule<HB::HBMemory>(fBroker);
    std::string model = "<robot name=\"Bench\"><leds><led short=\"One\">";
    for (std::size_t i = 0; i < devices; ++i) {
      model += "<device name=\"Face/Led/" + std::to_string(1'000'000 + i) + "\" color=\"red\"/>";
    }
    model += "</led></leds></robot>";
    xo::ObjectBuilder builder;
    builder.add(
        xo::makeMethod<std::string()>({"getConfig", "", {}, {}, {}}, [model] { return model; }));
    fModel = fSession->registerService("HBRobotModel", std::move(builder));
    HB::createModule<HB::HBMotion>(fBroker);
  }
  ~Robot() {
    fBroker->removeModule("HBMotion");
    fModel.reset();
    fBroker->removeModule("HBMemory");
  }
  xo::Object motion() const { return fSession->service("HBMotion").value(); }

 private:
  std::shared_ptr<xo::Session> fSession = std::make_shared<xo::Session>();
  std::shared_ptr<HB::HBBroker> fBroker = HB::HBBroker::create(fSession);
  std::unique_ptr<xo::Session::Registration> fModel;
};

/// One call of _animateLEDs with lists that stand ready, for as many devices: a fade that replaces
/// the one before (each ends earlier), or values at once that are in the memory when it returns.
void animateLEDs(benchmark::State& state, float seconds) {
  const auto devices = static_cast<std::size_t>(state.range(0));
  const Robot robot(devices);
  const xo::Object motion = robot.motion();
  std::vector<std::string> keys;
  for (std::size_t i = 0; i < devices; ++i) keys.push_back(keyOf(i));
  constexpr float kEarlier = 0.0625f;
  Lists times(devices, {seconds});
  Lists values(devices, {0.0f});
  float value = 0;
  for (auto _ : state) {
    value = 1 - value;
    for (auto& one : values) one[0] = value;
    if (seconds > 0) seconds -= kEarlier;
    for (auto& one : times) one[0] = seconds;
    motion.call("_animateLEDs", keys, times, values);
  }
}
BENCHMARK_CAPTURE(animateLEDs, fade, 1e6f)->Arg(1)->Arg(48);
BENCHMARK_CAPTURE(animateLEDs, atOnce, 0.0f)->Arg(1)->Arg(48);

}  // namespace
