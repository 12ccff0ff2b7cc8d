// What a colour command costs inside the process, down to a motion service that does nothing; and
// beside it the parts that it is made of.
#include <benchmark/benchmark.h>

#include <fstream>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "framework/hb/module_factory.h"
#include "framework/xo/session.h"
#include "hardware/leds/src/hbleds.h"

namespace HB {

/// The door that the module leaves open to its tests.
class LedsAccess {
 public:
  static std::size_t resolve(const HBLeds& leds, const std::string& name) {
    return leds.xGetDeviceNames(name).size();
  }
};

}  // namespace HB

namespace {

using Lists = std::vector<std::vector<float>>;

std::string readModel() {
  std::ifstream file(TAVRO_MODELS "/vanto.xml");
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

/// The LED service on a robot whose motion service takes every write and does nothing.
class Robot {
 public:
  Robot() {
    xo::ObjectBuilder memory;
    memory.add(xo::makeMethod<HB::HBValue(const std::string&)>(
        {"getData", "", {}, {}, {}}, [](const std::string&) { return HB::HBValue(0.0f); }));
    fMemory = fSession->registerService("HBMemory", std::move(memory));
    xo::ObjectBuilder motion;
    motion.add(xo::makeMethod<void(const std::vector<std::string>&, const Lists&, const Lists&)>(
        {"_animateLEDs", "", {}, {}, {}},
        [](const std::vector<std::string>& keys, const Lists&, const Lists&) {
          benchmark::DoNotOptimize(keys.data());
        }));
    fMotion = fSession->registerService("HBMotion", std::move(motion));
    xo::ObjectBuilder model;
    model.add(
        xo::makeMethod<std::string()>({"getConfig", "", {}, {}, {}}, [] { return readModel(); }));
    fModel = fSession->registerService("HBRobotModel", std::move(model));
    fModule = HB::createModule<HB::HBLeds>(fBroker);
  }
  ~Robot() { fBroker->removeModule("HBLeds"); }

  HB::HBLeds& leds() { return static_cast<HB::HBLeds&>(*fModule); }
  xo::Object service() const { return fSession->service("HBLeds").value(); }

 private:
  std::shared_ptr<xo::Session> fSession = std::make_shared<xo::Session>();
  std::shared_ptr<HB::HBBroker> fBroker = HB::HBBroker::create(fSession);
  std::unique_ptr<xo::Session::Registration> fMemory;
  std::unique_ptr<xo::Session::Registration> fMotion;
  std::unique_ptr<xo::Session::Registration> fModel;
  std::shared_ptr<HB::HBModule> fModule;
};

Robot& robot() {
  static Robot made;
  return made;
}

/// The whole command, called by name as another module would.
void fadeRGB(benchmark::State& state) {
  const auto leds = robot().service();
  const std::string group = "FaceLeds";
  for (auto _ : state) {
    benchmark::DoNotOptimize(leds.call<xo::Future<void>>("fadeRGB", group, 1.0f, 0.5f, 0.0f, 1.0f));
  }
  state.counters["devices"] = static_cast<double>(robot().leds().listGroup(group).size());
}
BENCHMARK(fadeRGB);

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
