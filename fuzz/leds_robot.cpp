#include "fuzz/leds_robot.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <iterator>
#include <map>
#include <stdexcept>
#include <thread>
#include <utility>

#include "framework/hb/module_factory.h"
#include "framework/xo/os.h"
#include "fuzz/harness.h"
#include "fuzz/inventory.h"
#include "hardware/leds/test/support/leds_access.h"
#include "services/memory/src/hbmemory.h"
#include "services/motion/src/hbmotion.h"

namespace fuzz {
namespace {

using HB::HBValue;
using Floats = std::vector<float>;
using Strings = std::vector<std::string>;

constexpr std::chrono::milliseconds kPatience{500};
constexpr std::chrono::milliseconds kLongStep{5};
constexpr std::chrono::seconds kLongestWait{3};

const std::string& textOfFile(const std::string& path) {
  static std::map<std::string, std::string> texts;
  std::string& text = texts[path];
  if (text.empty()) {
    std::ifstream file(path);
    text.assign(std::istreambuf_iterator<char>(file), {});
    if (text.empty()) throw std::runtime_error("Could not read " + path);
  }
  return text;
}

xo::MethodDoc named(const char* name) { return {name, "", {}, {}, {}}; }

xo::ObjectBuilder robotModel(const std::string& text) {
  xo::ObjectBuilder builder;
  builder.add(xo::makeMethod<std::string()>(named("getConfig"), [text] { return text; }));
  return builder;
}

}  // namespace

LedsRobot::LedsRobot(const std::string& model) : fPatience(kPatience, [this] { xAskToStop(); }) {
  const std::string& text = textOfFile(model);
  fMemoryModule = HB::createModule<HB::HBMemory>(HB::HBBroker::create(fMemorySession));
  for (const auto& session : {fMotionSession, fLedsSession}) {
    xOfferMemory(*session, fRegistrations.emplace_back());
    fRegistrations.push_back(session->registerService("HBRobotModel", robotModel(text)));
  }
  fMotionModule = HB::createModule<HB::HBMotion>(HB::HBBroker::create(fMotionSession));
  xOfferAround();
  fModule = HB::createModule<HB::HBLeds>(HB::HBBroker::create(fLedsSession));
  fLeds = static_cast<HB::HBLeds*>(fModule.get());
  fService = fLedsSession->find("HBLeds");
}

LedsRobot::~LedsRobot() {
  // As a host unloads them, the last first.
  for (auto* module : {&fModule, &fMotionModule, &fMemoryModule}) {
    (*module)->ending().raise();
    const auto broker = (*module)->getParentBroker();
    broker->removeModule((*module)->getName());
    module->reset();
  }
}

void LedsRobot::xOfferMemory(xo::Session& session,
                             std::unique_ptr<xo::Session::Registration>& place) {
  const HB::HBMemoryProxy memory("HBMemory", fMemorySession->find("HBMemory"));
  xo::ObjectBuilder builder;
  builder.add(xo::makeMethod<HBValue(const std::string&)>(
      named("getData"), [memory](const std::string& key) { return memory.getData(key); }));
  builder.add(xo::makeMethod<std::vector<int>(const Strings&)>(
      named("floatHandles"), [memory](const Strings& keys) { return memory.floatHandles(keys); }));
  builder.add(xo::makeMethod<void(const std::vector<int>&, const Floats&)>(
      named("writeFloats"), [this, memory](const std::vector<int>& handles, const Floats& values) {
        xLookAt(handles, values);
        memory.writeFloats(handles, values);
      }));
  place = session.registerService("HBMemory", std::move(builder));
}

void LedsRobot::xOfferAround() {
  xo::ObjectBuilder motion;
  using Lists = std::vector<Floats>;
  motion.add(xo::makeMethod<void(const Strings&, const Lists&, const Lists&)>(
      named("_animateLEDs"), [this](const Strings& keys, const Lists& times, const Lists& values) {
        xPassOn(keys, times, values);
      }));
  fRegistrations.push_back(fLedsSession->registerService("HBMotion", std::move(motion)));
  xo::ObjectBuilder signs;
  signs.add(xo::makeMethod<void(const std::string&)>(
      named("triggerBit"), [session = fLedsSession.get()](const std::string&) {
        session->find("HBLeds").call("_blinkWithShadow");
      }));
  fRegistrations.push_back(fLedsSession->registerService("HBSignsAndFeedback", std::move(signs)));
}

/// The last step before the LEDs.
void LedsRobot::xLookAt(const std::vector<int>& handles, Floats values) {
  if (isPlanted("calls") && !values.empty() && values.front() == 1) values.front() = std::nanf("");
  if (handles.size() != values.size()) xFault("a write of lists that differ in length");
  for (const float value : values) {
    if (std::isfinite(value) && value >= 0 && value <= 1) continue;
    xFault("the value " + HBValue(value).toText() + " has reached a driver");
  }
}

void LedsRobot::xPassOn(const Strings& keys, std::vector<Floats> times,
                        const std::vector<Floats>& values) {
  if (++fWrites > kMostWrites) xAskToStop();
  // What is not finite goes on as it is: motion must refuse it.
  for (auto& list : times) {
    for (float& time : list) {
      if (std::isfinite(time)) time = std::min(time, kLongestTime);
    }
  }
  fMotionSession->find("HBMotion").call("_animateLEDs", keys, times, values);
}

CallMaker LedsRobot::callMaker() const {
  HB::LedsAccess in(*fLeds);
  Strings names = fService.call<Strings>("listGroups");
  for (const auto& [name, devices] : in.fLedNameToDevices()) names.push_back(name);
  for (const auto& [name, info] : in.fDeviceInfos()) names.push_back(name);
  return {fService.describe(), std::move(names)};
}

void LedsRobot::call(const Call& call) {
  if (fIsEnded) return;
  xDrive([&] {
    fService.callDynamic(call.method, call.args);
    // A call that never ends: what the watchdog is for.
    while (isPlanted("hang")) std::this_thread::sleep_for(std::chrono::seconds(1));
  });
  // Intervals that may be 0 s are allowed and mean blinks without end, in real time: no input would
  // get anywhere then.
  if (call.method == "_setTimeBetweenTwoBlinks") fLeds->setTimeBetweenTwoBlinks(1, 7);
  xAdvance(kBetweenCalls);
}

void LedsRobot::settle() {
  xDrive([&] {
    for (const char* still :
         {"_stopEyesRotationASR", "_stopEarsRotationASR", "_stopPassiveBlinking"}) {
      fService.call(still);
    }
  });
  // A blink with its shadow, and the fades that are under way.
  xAdvance(std::chrono::seconds(5));
  HB::LedsAccess in(*fLeds);
  if (HB::LedsAccess::guardCount() != 0) xFault("something still pauses passive blinking");
  if (HB::LedsAccess::paused(*in.fPassiveBlinking()) != 0) xFault("passive blinking is paused");
  if (const auto wrong = inventoryFault(*fLeds); !wrong.empty()) xFault(wrong);
}

void LedsRobot::xDrive(const std::function<void()>& action) {
  xo::StopFlag stop;
  {
    const std::lock_guard lock(fMutex);
    fStop = &stop;
  }
  fWrites = 0;
  fCaller.begin([&] {
    const xo::CallScope scope(nullptr, &stop);
    try {
      action();
    } catch (const std::exception&) {  // what calls answer
    } catch (...) {
      xFault("what a call threw is no std::exception");
    }
  });
  fPatience.set();
  fCaller.settle();  // most calls end at once
  const xo::TimePoint start = fClock.now();
  const auto realStart = std::chrono::steady_clock::now();
  // As far at a time as takes little of ours: a rotation ticks 2,500 times a second on a robot that
  // has no ears, and sleeps may last for days.
  xo::Duration step = std::chrono::milliseconds(100);
  while (fCaller.isBusy()) {
    const auto before = std::chrono::steady_clock::now();
    xAdvance(step);
    fCaller.settle();
    const auto now = std::chrono::steady_clock::now();
    step = now - before > kLongStep
               ? std::max<xo::Duration>(step / 2, std::chrono::milliseconds(10))
               : std::min<xo::Duration>(step * 2, std::chrono::hours(25));
    const xo::Duration taken = fClock.now() - start;
    if (taken > kLongestCall) xAskToStop();
    const bool isOver = taken > kLongestSleep || now - realStart > kLongestWait;
    if (fCaller.isBusy() && (isOver || fWrites > 4 * kMostWrites)) {
      fIsEnded = true;
      fModule->ending().raise();
    }
  }
  fPatience.clear();
  const std::lock_guard lock(fMutex);
  fStop = nullptr;
}

void LedsRobot::xAdvance(xo::Duration by) {
  try {
    fClock.advance(by);
  } catch (const std::runtime_error&) {
    // Somebody has been busy for ten real seconds: the watchdog tells when that goes on.
  }
}

void LedsRobot::xAskToStop() {
  const std::lock_guard lock(fMutex);
  if (fStop != nullptr) fStop->raise();
}

void LedsRobot::xFault(const std::string& text) {
  const std::lock_guard lock(fMutex);
  if (fFault.empty()) fFault = text;
}

std::string LedsRobot::fault() const {
  const std::lock_guard lock(fMutex);
  return fFault;
}

}  // namespace fuzz
