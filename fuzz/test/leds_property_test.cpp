// Any calls of the LED service, whatever their arguments: what must hold holds. A failure shows the
// calls, cut down to those that it takes, and the seed; RC_PARAMS="seed=N" repeats it.
#include <gtest/gtest.h>  // before rapidcheck, which needs it
#include <rapidcheck.h>
#include <rapidcheck/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "fuzz/alarm.h"
#include "fuzz/leds_robot.h"

namespace fuzz {
namespace {

using Input = std::vector<std::uint8_t>;

constexpr int kMostCalls = 16;
constexpr std::size_t kBytesOfCall = 24;
constexpr std::chrono::seconds kLongest{60};

/// What each call is made from. Bytes of the whole range from the first case on.
rc::Gen<std::vector<Input>> inputs() {
  const auto byte = rc::gen::resize(rc::kNominalSize, rc::gen::inRange<int>(0, 256));
  const auto call = rc::gen::container<Input>(kBytesOfCall, rc::gen::cast<std::uint8_t>(byte));
  return rc::gen::resize(kMostCalls, rc::gen::container<std::vector<Input>>(call));
}

void keepWhatMustHold(const std::string& model) {
  static Watchdog watchdog(kLongest);
  watchdog.begin("a sequence of calls on " + model);
  LedsRobot robot(model);
  const CallMaker maker = robot.callMaker();
  for (const auto& input : *inputs()) {
    Bytes bytes(input);
    const Call call = maker.next(bytes);
    RC_LOG() << textOf(call) << '\n';
    robot.call(call);
  }
  robot.settle();
  watchdog.end();
  RC_ASSERT(robot.fault() == "");
}

RC_GTEST_PROP(AnyCalls, KeepWhatMustHoldOnARobotWithEverything, ()) {
  keepWhatMustHold("models/vanto.xml");
}

RC_GTEST_PROP(AnyCalls, KeepWhatMustHoldOnARobotWithDimmedEars, ()) {
  keepWhatMustHold("models/lirae.xml");
}

RC_GTEST_PROP(AnyCalls, KeepWhatMustHoldOnARobotOfOneLed, ()) {
  keepWhatMustHold("models/minimal.xml");
}

}  // namespace
}  // namespace fuzz
