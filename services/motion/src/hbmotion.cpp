#include "services/motion/src/hbmotion.h"

#include <cmath>
#include <stdexcept>
#include <utility>

#include "framework/sim/model.h"
#include "services/motion/src/memory_driver.h"

namespace HB {
namespace {

constexpr const char* kName = "HBMotion";

// The service, once it stands; throws when the wait for it is ended.
template <class P>
std::shared_ptr<P> awaitProxy(const HBBroker& broker, const std::string& service) {
  broker.getSession()->waitForService(service).value();
  return broker.getSpecialisedProxy<P>(service);
}

// What a driver can be taken to show when the memory holds `value`.
float startingValue(const HBValue& value) {
  const float number = value.toFloat();
  return std::isfinite(number) ? number : 0.0f;
}

[[noreturn]] void refuse(const std::string& method, const std::string& text) {
  throw std::invalid_argument("HBMotion: " + method + ": " + text);
}

[[noreturn]] void refuseKey(const std::string& method, std::size_t index, const std::string& key,
                            const std::string& text) {
  refuse(method, "key " + std::to_string(index) + ", '" + key + "': " + text);
}

std::string element(const char* list, std::size_t index, float value) {
  return std::string(list) + "[" + std::to_string(index) + "] is " + HBValue(value).toText();
}

// Throws unless the key frames of one key can be taken over.
void requireKeyFrames(std::size_t index, const std::string& key, const std::vector<float>& times,
                      const std::vector<float>& values) {
  const auto fail = [&](const std::string& text) { refuseKey("_animateLEDs", index, key, text); };
  if (times.size() != values.size()) {
    fail(std::to_string(times.size()) + " times, but " + std::to_string(values.size()) + " values");
  }
  float before = 0;
  for (std::size_t i = 0; i < times.size(); ++i) {
    if (!std::isfinite(times[i])) fail(element("times", i, times[i]) + ", not finite");
    if (times[i] < 0) fail(element("times", i, times[i]) + ", negative");
    if (times[i] < before) fail(element("times", i, times[i]) + ", less than the one before");
    if (!std::isfinite(values[i])) fail(element("values", i, values[i]) + ", not finite");
    before = times[i];
  }
}

}  // namespace

HBMotion::HBMotion(std::shared_ptr<HBBroker> broker)
    : HBModule(std::move(broker), kName),
      fMemory(awaitProxy<HBMemoryProxy>(*getParentBroker(), "HBMemory")),
      fKeys(xReadKeys()),
      fLoop(xMakeLoop()) {
  xPublish();
}

HBMotion::~HBMotion() { shutDown(); }

std::vector<std::string> HBMotion::xReadKeys() const {
  const auto robotModel = awaitProxy<HBProxy>(*getParentBroker(), "HBRobotModel");
  const Sim::Model model(robotModel->call<std::string>("getConfig"));
  std::vector<std::string> keys;
  for (const Sim::LEDActuator* led : model.ledActuators()) {
    keys.push_back("Device/SubDeviceList/" + led->name() + "/Actuator/Value");
  }
  return keys;
}

std::unique_ptr<MotionLoop> HBMotion::xMakeLoop() {
  std::vector<std::unique_ptr<LedDriver>> drivers;
  drivers.push_back(std::make_unique<MemoryDriver>(fMemory, fKeys.keys()));
  std::vector<float> values;
  values.reserve(fKeys.keys().size());
  for (const auto& key : fKeys.keys()) values.push_back(startingValue(fMemory->getData(key)));
  return std::make_unique<MotionLoop>(std::move(values), std::move(drivers), &ending());
}

void HBMotion::xPublish() {
  setModuleDescription(
      "Moves the robot's LEDs: takes key frames (what value to reach at what time) and writes the "
      "values between them to the LEDs 100 times a second while anything moves. What the LEDs show "
      "is in HBMemory under the same keys.");

  functionName(
      "_animateLEDs", kName,
      "Takes over key frames for LEDs; all keys of one call start from the same instant, "
      "that of the call, and appear in the same tick. An LED moves linearly from its value "
      "at that instant; a new key frame at time t removes that LED's pending ones at or "
      "after t and keeps the earlier ones, so an immediate value ends a fade, and calls "
      "with growing times form a chain (a longer fade thus follows a shorter one that is "
      "still pending). Key frames at time 0 have taken effect, in HBMemory too, when the "
      "call returns. When anything is refused (invalid_argument, with the key and the "
      "index), no LED changes.");
  addParam("keys",
           "Memory keys of LEDs, \"Device/SubDeviceList/\" and the device's name. A key may come "
           "twice: its entries are taken over one after another.");
  addParam("times",
           "For each key a list of times in seconds from the call: finite, not negative, not "
           "descending; resolved to a microsecond. Of equal times the last holds. An empty list "
           "leaves its LED as it is. An LED may have 65536 key frames pending.");
  addParam(
      "values",
      "For each key a list of values to be reached at those times: finite. What leaves for the "
      "LEDs is limited to 0..1.");
  addMethodExample("python",
                   "key = \"Device/SubDeviceList/ChestBoard/Led/Red/Actuator/Value\"\n"
                   "proxy._animateLEDs([key], [[0.5, 1.0]], [[1.0, 0.0]])");
  advertiseMethod(this, &HBMotion::animateLEDs);

  functionName("listLEDs", kName, "Lists the LEDs that can be moved.");
  setReturn("keys", "Their memory keys, ascending.");
  addMethodExample("python", "keys = proxy.listLEDs()");
  advertiseMethod(this, &HBMotion::listLEDs);

  functionName("getLEDStates", kName,
               "What was asked of LEDs, where they are and where they go, all at one instant.");
  addParam("keys", "From listLEDs. An unknown one is refused (invalid_argument).");
  setReturn("states",
            "For each key a list: the newest key frame's value as it was asked (not limited), the "
            "value now (0..1), the value after the last pending key frame (0..1), and the seconds "
            "until then (0 at rest). Before the first key frame all three are the value at start.");
  addMethodExample("python",
                   "asked, now, target, left = proxy.getLEDStates(proxy.listLEDs()[:1])[0]");
  advertiseMethod(this, &HBMotion::getLEDStates);

  functionName("getLEDOrigins", kName, "For which call LEDs were last written.");
  addParam("keys", "From listLEDs. An unknown one is refused (invalid_argument).");
  setReturn(
      "calls",
      "For each key the number of the call from outside the robot for which key frames of "
      "that LED were last taken over, as the robot's list of calls tells it; 0 when the robot "
      "did so by itself (a step of a blink), or never.");
  addMethodExample("python", "call = proxy.getLEDOrigins(proxy.listLEDs()[:1])[0]");
  advertiseMethod(this, &HBMotion::getLEDOrigins);
}

void HBMotion::animateLEDs(const std::vector<std::string>& keys,
                           const std::vector<std::vector<float>>& times,
                           const std::vector<std::vector<float>>& values) {
  if (keys.size() != times.size() || keys.size() != values.size()) {
    refuse("_animateLEDs", std::to_string(keys.size()) + " keys, but " +
                               std::to_string(times.size()) + " lists of times and " +
                               std::to_string(values.size()) + " lists of values");
  }
  std::vector<MotionLoop::Move> moves;
  moves.reserve(keys.size());
  int channel = KeyTable::kUnknown;
  for (std::size_t i = 0; i < keys.size(); ++i) {
    channel = fKeys.find(keys[i], channel);
    if (channel == KeyTable::kUnknown) refuseKey("_animateLEDs", i, keys[i], "no such LED");
    requireKeyFrames(i, keys[i], times[i], values[i]);
    moves.push_back({channel, times[i], values[i]});
  }
  if (moves.empty()) return;
  if (const auto full = fLoop->start(moves)) {
    refuseKey("_animateLEDs", *full, keys[*full],
              "more than " + std::to_string(Animator::kMaxPending) + " key frames pending");
  }
}

std::vector<std::string> HBMotion::listLEDs() const { return fKeys.keys(); }

std::vector<int> HBMotion::xFindChannels(const std::string& method,
                                         const std::vector<std::string>& keys) const {
  std::vector<int> channels;
  channels.reserve(keys.size());
  for (std::size_t i = 0; i < keys.size(); ++i) {
    channels.push_back(fKeys.find(keys[i]));
    if (channels.back() == KeyTable::kUnknown) refuseKey(method, i, keys[i], "no such LED");
  }
  return channels;
}

std::vector<std::vector<float>> HBMotion::getLEDStates(const std::vector<std::string>& keys) const {
  std::vector<std::vector<float>> states;
  states.reserve(keys.size());
  for (const Animator::State& state : fLoop->states(xFindChannels("getLEDStates", keys))) {
    states.push_back({state.asked, state.now, state.target, state.secondsLeft});
  }
  return states;
}

std::vector<int> HBMotion::getLEDOrigins(const std::vector<std::string>& keys) const {
  std::vector<int> calls;
  calls.reserve(keys.size());
  for (const std::uint64_t origin : fLoop->origins(xFindChannels("getLEDOrigins", keys))) {
    calls.push_back(static_cast<int>(origin));  // as small as whoever numbers calls makes them
  }
  return calls;
}

}  // namespace HB
