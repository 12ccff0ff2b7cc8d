// What a colour command costs inside the process, down to motion's key frames; and beside it the
// parts that it is made of.
#include <benchmark/benchmark.h>

#include <chrono>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "bench/whole_robot.h"

namespace HB {

/// The door that the module leaves open to its tests.
class LedsAccess {
 public:
  static std::size_t resolve(const HBLeds& leds, const std::string& name) {
    return leds.xGetDeviceNames(name).size();
  }
};

}  // namespace HB

namespace bench {
namespace {

LedsRobot& robot() {
  static LedsRobot made(readModel("vanto.xml"));
  return made;
}

/// The whole command, called by name as another module would. Its future is let go of, the way of
/// most callers. All fades end at one instant, so that each replaces the one before.
void fadeRGB(benchmark::State& state) {
  const WholeRobot whole;
  const auto leds = whole.services.find("HBLeds");
  const std::string group = "FaceLeds";
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(1000);
  for (auto _ : state) {
    const std::chrono::duration<float> left = end - std::chrono::steady_clock::now();
    benchmark::DoNotOptimize(
        leds.call<xo::Future<void>>("fadeRGB", group, 1.0f, 0.5f, 0.0f, left.count()));
  }
  state.counters["devices"] = static_cast<double>(robot().leds().listGroup(group).size());
}
BENCHMARK(fadeRGB);

/// The same as far as the LED service goes.
void fadeRGBToMotionsDoor(benchmark::State& state) {
  const auto leds = robot().service();
  const std::string group = "FaceLeds";
  for (auto _ : state) {
    benchmark::DoNotOptimize(leds.call<xo::Future<void>>("fadeRGB", group, 1.0f, 0.5f, 0.0f, 1.0f));
  }
}
BENCHMARK(fadeRGBToMotionsDoor);

/// The least that a write to the same devices can cost: its three lists, built and dropped.
void threeListsAlone(benchmark::State& state) {
  const auto devices = robot().leds().listGroup("FaceLeds");
  const std::string prefix = "Device/SubDeviceList/";
  for (auto _ : state) {
    std::vector<std::string> keys;
    Lists times;
    Lists values;
    keys.reserve(devices.size());
    times.reserve(devices.size());
    values.reserve(devices.size());
    for (const auto& device : devices) {
      keys.push_back(prefix + device);
      times.push_back({1.0f});
      values.push_back({0.5f});
    }
    benchmark::DoNotOptimize(keys.data());
    benchmark::DoNotOptimize(times.data());
    benchmark::DoNotOptimize(values.data());
  }
  state.counters["devices"] = static_cast<double>(devices.size());
}
BENCHMARK(threeListsAlone);

/// From a name to its set of devices, copied.
template <class Pick>
void resolve(benchmark::State& state, Pick pick) {
  const std::string name = pick();
  std::size_t devices = 0;
  for (auto _ : state) {
    devices = HB::LedsAccess::resolve(robot().leds(), name);
    benchmark::DoNotOptimize(devices);
  }
  state.counters["devices"] = static_cast<double>(devices);
}
BENCHMARK_CAPTURE(resolve, group, [] { return "FaceLeds"; });
BENCHMARK_CAPTURE(resolve, smallGroup, [] { return "FaceLed3"; });
BENCHMARK_CAPTURE(resolve, led, [] { return robot().leds().listLEDs().front(); });
BENCHMARK_CAPTURE(resolve, device, [] { return robot().leds().listGroup("FaceLeds").front(); });

constexpr int kMethods = 35;
std::string methodName(int number) { return "aMethodOfTheService" + std::to_string(number); }

/// A call by name and C++ types through a service's table.
void objectCallByName(benchmark::State& state) {
  xo::ObjectBuilder builder;
  for (int i = 0; i < kMethods; ++i) {
    builder.add(xo::makeMethod<float(const std::string&, const float&)>(
        {methodName(i), "", {}, {}, {}}, [](const std::string& text, const float& number) {
          return number + static_cast<float>(text.size());
        }));
  }
  xo::ObjectOwner owner(std::move(builder), nullptr);
  const auto object = owner.object();
  const auto name = methodName(kMethods / 2);
  const std::string text = "FaceLeds";
  for (auto _ : state) {
    benchmark::DoNotOptimize(object.call<float>(name, text, 1.0f));
  }
}
BENCHMARK(objectCallByName);

class Operation {
 public:
  virtual ~Operation() = default;
  virtual float run(const std::string& text, float number) const {
    return number + static_cast<float>(text.size());
  }
};

/// What it would cost without a framework: a map of names to virtual functions.
void virtualCallThroughMap(benchmark::State& state) {
  std::map<std::string, std::unique_ptr<Operation>, std::less<>> table;
  for (int i = 0; i < kMethods; ++i) table[methodName(i)] = std::make_unique<Operation>();
  const auto name = methodName(kMethods / 2);
  const std::string text = "FaceLeds";
  for (auto _ : state) {
    std::string_view key = name;
    benchmark::DoNotOptimize(key);  // else the look-up is done once, before the loop
    const Operation* operation = table.find(key)->second.get();
    benchmark::DoNotOptimize(operation);  // else its type is known and nothing is called
    benchmark::DoNotOptimize(operation->run(text, 1.0f));
  }
}
BENCHMARK(virtualCallThroughMap);

}  // namespace
}  // namespace bench
