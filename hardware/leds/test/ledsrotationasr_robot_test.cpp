// What the two rotations of the robot draw, and when.
#include <gmock/gmock.h>

#include <array>
#include <mutex>
#include <set>

#include "framework/xo/clock.h"
#include "framework/xo/os.h"
#include "hardware/leds/src/ledsrotationasr.h"
#include "hardware/leds/test/support/errors.h"
#include "hardware/leds/test/support/leds_access.h"
#include "hardware/leds/test/support/robot.h"
#include "hardware/leds/test/support/sleepless.h"
#include "hardware/leds/test/support/threads.h"

namespace HB::test {
namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Write = RecordingMotion::Write;

/// A robot with all eight eye positions and three ears, and the module's own rotations.
class RotationOfRobot : public ::testing::Test {
 protected:
  static RobotXml xml() {
    RobotXml xml;
    for (int position = 0; position < 8; ++position) {
      const std::string number = std::to_string(position);
      xml.rgbLed("Eye" + number, "FaceLeds FaceLed" + number,
                 "Face/Led/%/Left/" + std::to_string(45 * position) + "Deg");
    }
    for (int ear = 1; ear <= 3; ++ear) {
      const std::string number = std::to_string(ear);
      xml.led("Ear" + number, "EarLeds EarLed" + number, {{"Ears/Led/" + number, "blue"}});
    }
    return xml;
  }

  xo::ManualClock clock;
  Robot robot{xml()};
  LedsAccess in{robot.leds()};
  EyesRotationASR& eyes = *in.fEyesRotationASR();
  EarsRotationASR& ears = *in.fEarsRotationASR();

  /// Starts beside the test and lets its preparation's sleep pass; `sleepers` with it.
  void start(const std::string& method, int sleepers = 1) {
    Beside starting([&] { robot.call(method); });
    clock.awaitSleepers(sleepers);
    clock.advance(milliseconds(50));
    EXPECT_TRUE(starting.ends());
    clock.advance(milliseconds(0));
  }
  void startEyes() { start("_startEyesRotationASR"); }
  void startEars() { start("_startEarsRotationASR"); }

  /// One write for the whole group, each device to the value of its channel.
  Write face(const std::vector<std::string>& angles, std::array<std::vector<float>, 3> values,
             const std::vector<float>& times) {
    Write write;
    const std::array<const char*, 3> colors{"Red", "Green", "Blue"};
    for (const std::size_t color : {2u, 1u, 0u}) {
      for (const auto& angle : angles) {
        write.keys.push_back(small::kPrefix + "Face/Led/" + colors[color] + "/Left/" + angle +
                             "Deg/Actuator/Value");
        write.times.push_back(times);
        write.values.push_back(values[color]);
      }
    }
    return write;
  }
  const std::vector<std::string> kAllAngles{"0", "135", "180", "225", "270", "315", "45", "90"};
  Write step(int number) {
    return face({std::to_string(45 * number)}, {{{0, 0}, {1.0F / 3.0F, 0}, {1, 0}}}, {0.4F, 0.5F});
  }
  std::vector<Write> steps(int first, int count) {
    std::vector<Write> all;
    for (int i = 0; i < count; ++i) all.push_back(step((first + i) % 8));
    return all;
  }
};

TEST_F(RotationOfRobot, NeitherRunsAtFirst) {
  EXPECT_FALSE(LedsAccess::running(eyes) || LedsAccess::started(eyes));
  EXPECT_FALSE(LedsAccess::running(ears) || LedsAccess::started(ears));
  EXPECT_TRUE(LedsAccess::enabled(eyes) && LedsAccess::enabled(ears));
  clock.advance(std::chrono::seconds(1));
  EXPECT_THAT(robot.journal().lines(), IsEmpty());
}

TEST_F(RotationOfRobot, TheEyesFlashBlueForFiftyMillisecondsAndGoDark) {
  Beside starting([&] { eyes.start(); });
  clock.awaitSleepers(1);
  clock.advance(milliseconds(49));
  EXPECT_TRUE(starting.isKeptOut());
  EXPECT_EQ(robot.motion().onlyWrite(), face(kAllAngles, {{{0}, {1.0F / 3.0F}, {1}}}, {0.05F}));
  EXPECT_FALSE(LedsAccess::task(eyes).isRunning());
  clock.advance(milliseconds(1));
  EXPECT_TRUE(starting.ends());
  clock.advance(milliseconds(0));
  const auto writes = robot.motion().writes();
  ASSERT_EQ(writes.size(), 3u);
  EXPECT_EQ(writes[1], face(kAllAngles, {{{0}, {0}, {0}}}, {0}));
  EXPECT_EQ(writes[2], step(0));
  eyes.stop();
}

TEST_F(RotationOfRobot, TheEyesTakeAStepEveryHundredMillisecondsRoundAndRound) {
  startEyes();
  robot.forget();
  clock.advance(milliseconds(99));
  EXPECT_THAT(robot.motion().writes(), IsEmpty());
  clock.advance(milliseconds(1701));
  EXPECT_EQ(robot.motion().writes(), steps(1, 18));
  robot.call("_stopEyesRotationASR");
}

TEST_F(RotationOfRobot, TheEyesGoOnWhereTheyStopped) {
  startEyes();  // step 0
  clock.advance(milliseconds(400));
  robot.call("_stopEyesRotationASR");
  EXPECT_EQ(LedsAccess::step(eyes), 5);
  clock.advance(milliseconds(1000));
  robot.forget();
  startEyes();
  clock.advance(milliseconds(300));
  auto writes = robot.motion().writes();
  ASSERT_EQ(writes.size(), 6u);
  writes.erase(writes.begin(), writes.begin() + 2);  // the preparation
  EXPECT_EQ(writes, steps(5, 4));
  robot.call("_setEnabledEyesRotationASR", false);
  EXPECT_EQ(LedsAccess::step(eyes), 1);
}

TEST_F(RotationOfRobot, TheEarsLightUpWithinFiftyMilliseconds) {
  Beside starting([&] { ears.start(); });
  clock.awaitSleepers(1);
  clock.advance(milliseconds(49));
  EXPECT_TRUE(starting.isKeptOut());
  const auto write = robot.motion().onlyWrite();
  EXPECT_EQ(write.keys.size(), 3u);
  EXPECT_EQ(write.times, RecordingMotion::Lists(3, {0.05F}));
  EXPECT_EQ(write.values, RecordingMotion::Lists(3, {1.0F}));
  EXPECT_FALSE(LedsAccess::task(ears).isRunning());
  clock.advance(milliseconds(1));
  EXPECT_TRUE(starting.ends());
  Beside stopping([&] { ears.stop(); });
  EXPECT_TRUE(stopping.isKeptOut());  // behind the sweep
  clock.advance(milliseconds(400));
  EXPECT_TRUE(stopping.ends());
}

// Three ears: a sweep toward 270 degrees begins at the first, one toward 90 at the third; it takes
// three sleeps of 133 ms, and the next comes at once.
TEST_F(RotationOfRobot, TheEarsSweepBackAndForwardsInTurnAndGoOnWhereTheyStopped) {
  const auto sweepBegins = [&](const std::string& ear) {
    const Write lit{{small::kPrefix + "Ears/Led/" + ear + "/Actuator/Value"}, {{0}}, {{1}}};
    return robot.motion().onlyWrite() == lit;
  };
  const auto stop = [&] {
    Beside stopping([&] { robot.call("_stopEarsRotationASR"); });
    EXPECT_TRUE(stopping.isKeptOut());
    clock.advance(milliseconds(399));
    EXPECT_TRUE(stopping.ends());
  };
  startEars();
  EXPECT_EQ(LedsAccess::angle(ears), 270);
  for (const auto& [angle, ear] : {std::pair(90, "3"), std::pair(270, "1"), std::pair(90, "3")}) {
    clock.advance(milliseconds(398));
    robot.motion().clear();
    clock.advance(milliseconds(1));
    EXPECT_EQ(LedsAccess::angle(ears), angle);
    EXPECT_TRUE(sweepBegins(ear));
  }
  stop();
  EXPECT_EQ(LedsAccess::angle(ears), 90);
  startEars();
  EXPECT_EQ(LedsAccess::angle(ears), 270);
  stop();
}

TEST_F(RotationOfRobot, TicksOnAThreadOfItsName) {
  std::mutex mutex;
  std::set<std::string> names;
  startEyes();
  start("_startEarsRotationASR", 2);  // the eyes' task between its ticks is the other
  robot.motion().onWrite([&](std::size_t) {
    const std::scoped_lock lock(mutex);
    names.insert(xo::os::currentThreadName());
  });
  clock.advance(milliseconds(500));
  EXPECT_THAT(names, ElementsAre("EarsRotationASR", "EyesRotationASR"));
  robot.motion().onWrite({});
  eyes.stop();
  Beside stopping([&] { ears.stop(); });
  EXPECT_TRUE(stopping.isKeptOut());
  clock.advance(milliseconds(400));
  EXPECT_TRUE(stopping.ends());
}

TEST(RotationOfEars, TicksEveryFourHundredMicrosecondsWhereThereIsNothingToSweep) {
  xo::ManualClock clock;
  RobotXml xml;
  xml.led("Ear", "EarLeds", {{"Ears/Led/0Deg", "blue"}});  // a group, but no positions
  Robot robot(xml);
  EarsRotationASR& ears = *LedsAccess(robot.leds()).fEarsRotationASR();
  const Sleepless sleepless;
  ears.start();
  clock.advance(microseconds(0));
  for (const int angle : {270, 90, 270, 90}) {
    EXPECT_EQ(LedsAccess::angle(ears), angle);
    clock.advance(microseconds(399));
    EXPECT_EQ(LedsAccess::angle(ears), angle);
    clock.advance(microseconds(1));
  }
  ears.stop();
}

TEST(RotationOfEars, OfARobotWithoutEarsIsRefusedAndItsWishRemembered) {
  RobotXml xml;
  xml.rgbLed("Eye", "FaceLeds FaceLed0", "Face/Led/%/0Deg");
  Robot robot(xml);
  const EarsRotationASR& ears = *LedsAccess(robot.leds()).fEarsRotationASR();
  const std::string text =
      "HBLeds: fade: Could not parse 'EarLeds 'as a LED Device, RGB-LED or Group";
  EXPECT_EQ(invalidArgument([&] { robot.call("_startEarsRotationASR"); }), text);
  EXPECT_TRUE(LedsAccess::started(ears));
  EXPECT_FALSE(LedsAccess::running(ears));
  EXPECT_EQ(invalidArgument([&] { robot.call("_setEnabledEarsRotationASR", true); }), text);
  EXPECT_THAT(robot.motion().writes(), IsEmpty());
  robot.call("_stopEarsRotationASR");
  EXPECT_FALSE(LedsAccess::started(ears));
}

}  // namespace
}  // namespace HB::test
