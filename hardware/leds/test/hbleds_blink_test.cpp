// Blinks of the robot's eyes: how each is started, and what its caller sees of it.
#include <gmock/gmock.h>

#include <limits>

#include "framework/xo/event_loop.h"
#include "hardware/leds/test/support/blink_refusal.h"
#include "hardware/leds/test/support/driven.h"
#include "hardware/leds/test/support/errors.h"
#include "hardware/leds/test/support/leds_access.h"
#include "hardware/leds/test/support/robot.h"
#include "hardware/leds/test/support/script.h"

namespace HB::test {
namespace {

using std::chrono::milliseconds;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using xo::FutureState;
using xo::log::Level;

const LogLine kPaused{"PassiveBlinking", Level::kVerbose, "Pause passive blinking"};
const LogLine kResumed{"PassiveBlinking", Level::kVerbose, "Resume passive blinking"};

/// One blink as it is described, with that shadow colour.
Script blinkOf(HBLeds& leds, int shadow) {
  Script script(leds);
  const auto draw = [&](int position, int rgb) {
    const auto channel = [&](int shift) {
      return static_cast<float>((rgb >> shift & 255) / 255.0);
    };
    script.colors("FaceLed" + std::to_string(position),
                  {{channel(16), channel(8), channel(0), 0.05F}});
  };
  for (const int position : {0, 1}) draw(position, 0);
  draw(2, 0xFFFFFF);
  for (const int position : {3, 4, 5}) draw(position, 0);
  draw(6, shadow);
  draw(1, 0);
  script.sleep(150);
  for (const int position : {0, 1, 2, 3, 4, 5}) draw(position, 0xFFFFFF);
  for (const int position : {6, 7}) draw(position, shadow);
  script.sleep(50);
  return script;
}

class BlinkOf : public ::testing::Test {
 protected:
  xo::ManualClock clock;
  std::unique_ptr<Robot> robot =
      std::make_unique<Robot>(Surroundings::completeFromFile("models/vanto.xml"));
  HBLeds& leds = robot->leds();
  LedsAccess in{leds};
  const xo::TimePoint start = clock.now();

  std::size_t writes() { return robot->motion().writes().size(); }
  std::string differenceFrom(const Script& script) {
    return difference(script.writes(), timed(robot->motion(), start));
  }
};

TEST_F(BlinkOf, NoShadowIsDrawnInWhite) {
  const auto future = in.xBlinkOnce(-1);
  clock.advance(milliseconds(199));
  EXPECT_TRUE(future.isRunning());
  clock.advance(milliseconds(1));
  EXPECT_TRUE(future.hasValue());
  EXPECT_EQ(differenceFrom(blinkOf(leds, 0xFFFFFF)), "");
  EXPECT_EQ(writes(), 16u);
}

TEST_F(BlinkOf, AShadowLeavesItOnTheLastTwoPositions) {
  for (const int shadow : {0, 0x123456, 0xFFFFFF}) {
    robot->forget();
    const auto begun = clock.now();
    const auto future = in.xBlinkOnce(shadow);
    clock.advance(milliseconds(200));
    EXPECT_TRUE(future.hasValue());
    EXPECT_EQ(difference(blinkOf(leds, shadow).writes(), timed(robot->motion(), begun)), "");
  }
}

TEST_F(BlinkOf, AColorOutsideItsRangeIsRefusedAtOnce) {
  for (const int shadow :
       {-2, 0x1000000, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()}) {
    EXPECT_EQ(invalidArgument([&] { in.xBlinkOnce(shadow); }),
              "The color of eyeshadow should be in the range 0-16777215 (0xRRGGBB)");
  }
  clock.advance(milliseconds(1000));
  EXPECT_THAT(robot->journal().lines(), IsEmpty());
}

TEST_F(BlinkOf, AFaceWithoutLedsIsOverInTheSameTime) {
  RobotXml xml;
  xml.led("Brain", "BrainLeds", {{"Head/Led/Front", "white"}});
  robot.reset();
  robot = std::make_unique<Robot>(xml);
  const auto future = robot->leds().cancellableBlink();
  clock.advance(milliseconds(199));
  EXPECT_TRUE(future.isRunning());
  clock.advance(milliseconds(1));
  EXPECT_TRUE(future.hasValue());
  EXPECT_EQ(writes(), 0u);
}

TEST_F(BlinkOf, LedsThatRefuseGoesOn) {
  robot->motion().refuseAll("jammed");
  const auto future = leds.cancellableBlink();
  clock.advance(milliseconds(200));
  EXPECT_TRUE(future.hasValue());
  EXPECT_THAT(robot->log().texts("HBLeds", Level::kError), SizeIs(16));
  EXPECT_EQ(robot->log().texts("HBLeds").front(), "Exception in xSetGroupRGB: jammed");
}

TEST_F(BlinkOf, EachStepTakesTheLockSharedForItsWriteAlone) {
  std::unique_lock holder(in.fLedsMutex());
  const auto future = in.xBlinkOnce(-1);
  Beside draws([&] { becomesTrue([&] { return writes() > 0; }); });
  EXPECT_TRUE(draws.isKeptOut());
  std::vector<bool> sharedAlone;
  robot->motion().onWrite([&](std::size_t) {
    sharedAlone.push_back(canShare(in.fLedsMutex()) && !canExclude(in.fLedsMutex()));
  });
  holder.unlock();
  clock.awaitIdle();
  EXPECT_THAT(sharedAlone, ElementsAre(true, true, true, true, true, true, true, true));
  EXPECT_TRUE(canExclude(in.fLedsMutex()));  // while it waits
  clock.advance(milliseconds(200));
  EXPECT_TRUE(future.hasValue());
}

TEST_F(BlinkOf, CancellationEndsItBeforeItsNextStep) {
  const auto future = leds.cancellableBlink();
  future.cancel();
  clock.advance(milliseconds(1000));
  EXPECT_EQ(future.state(), FutureState::kCancelled);
  EXPECT_LE(writes(), 8u);
}

TEST_F(BlinkOf, TheModulePausesAndLocksOnlyWhileItIsLaunched) {
  const auto future = leds.cancellableBlink();
  EXPECT_EQ(LedsAccess::guardCount(), 0);
  EXPECT_THAT(robot->log().lines(), ElementsAre(kPaused, kResumed));
  EXPECT_TRUE(future.isRunning());
  Beside other([&] { leds.createGroup("Mine", {"EarLed1"}); });
  EXPECT_TRUE(other.ends());
  clock.advance(milliseconds(200));
  EXPECT_EQ(differenceFrom(blinkOf(leds, 0xFFFFFF)), "");
  EXPECT_THAT(robot->log().lines(), ElementsAre(kPaused, kResumed));
}

TEST_F(BlinkOf, TheModuleIsLaunchedUnderTheLock) {
  std::unique_lock holder(in.fLedsMutex());
  Beside starts([&] { leds.cancellableBlink(); });
  EXPECT_TRUE(starts.isKeptOut());
  EXPECT_EQ(LedsAccess::guardCount(), 1);
  holder.unlock();
  EXPECT_TRUE(starts.ends());
  EXPECT_EQ(LedsAccess::guardCount(), 0);
}

TEST_F(BlinkOf, AnErrorAtItsStartIsLoggedAndBecomesAFailedFuture) {
  const BlinkRefusal refusal(std::make_exception_ptr(std::out_of_range("no eyes")));
  const auto future = leds.cancellableBlink();
  EXPECT_EQ(future.errorText(), "An error occured during blink");
  EXPECT_THAT(robot->log().texts("HBLeds", Level::kError),
              ElementsAre("An error occured during blink: no eyes"));
  EXPECT_EQ(LedsAccess::guardCount(), 0);
  EXPECT_TRUE(canExclude(in.fLedsMutex()));
}

TEST_F(BlinkOf, AnyOtherErrorAtItsStartBecomesTheSameWithoutALine) {
  const BlinkRefusal refusal(std::make_exception_ptr(7));
  const auto future = leds.cancellableBlink();
  EXPECT_EQ(future.errorText(), "An error occured during blink");
  EXPECT_THAT(robot->log().texts("HBLeds"), IsEmpty());
  EXPECT_EQ(LedsAccess::guardCount(), 0);
}

TEST_F(BlinkOf, ACallerWhoWaitsReturnsWhenItIsOver) {
  Beside running([&] { leds.blink(); });
  ASSERT_TRUE(becomesTrue([&] { return writes() == 8; }));
  clock.advance(milliseconds(199));
  EXPECT_TRUE(running.isKeptOut());
  clock.advance(milliseconds(1));
  EXPECT_TRUE(running.ends());
  EXPECT_EQ(writes(), 16u);
}

TEST_F(BlinkOf, ACallerWhoWaitsIsNotToldThatItFailed) {
  const BlinkRefusal refusal(std::make_exception_ptr(std::runtime_error("no eyes")));
  EXPECT_NO_THROW(leds.blink());
  EXPECT_NO_THROW(robot->call("_blink"));
}

TEST_F(BlinkOf, PinkShadowReturnsAtOnceAndPausesNothing) {
  leds.blinkWithShadow();
  EXPECT_THAT(robot->log().lines(), IsEmpty());
  clock.advance(milliseconds(200));
  EXPECT_EQ(differenceFrom(blinkOf(leds, 0xFF007F)), "");
  EXPECT_THAT(robot->log().lines(), IsEmpty());
}

TEST_F(BlinkOf, TenAtOnceDoesNotDelayAFadesFuture) {
  for (int i = 0; i < 10; ++i) leds.blinkWithShadow();
  clock.awaitIdle();
  const auto fade = leds.fade("EarLeds", 0.5F, 0.05F);
  clock.advance(milliseconds(50));
  EXPECT_TRUE(fade.hasValue());
  clock.advance(milliseconds(100));
  const auto second = leds.fade("EarLeds", 0.5F, 0.01F);
  clock.advance(milliseconds(10));
  EXPECT_TRUE(second.hasValue());
  clock.advance(milliseconds(40));
  EXPECT_EQ(writes(), 162u);
}

TEST_F(BlinkOf, ARobotThatIsTakenAwayEndsWithIt) {
  for (const int sinceMs : {0, 100, 150, 199}) {
    if (!robot) robot = std::make_unique<Robot>(Surroundings::completeFromFile("models/vanto.xml"));
    const auto future = robot->leds().cancellableBlink();
    robot->leds().blinkWithShadow();
    clock.advance(milliseconds(sinceMs));
    robot.reset();
    EXPECT_EQ(future.state(), FutureState::kError) << sinceMs;
    clock.advance(milliseconds(1000));
  }
}

TEST_F(BlinkOf, ARobotThatIsTakenAwayAtAnyMomentLeavesNothingBehind) {
  for (int round = 0; round < 50; ++round) {
    if (!robot) robot = std::make_unique<Robot>();
    const auto future = robot->leds().cancellableBlink();
    for (int i = 0; i < round * 20; ++i) robot->motion().writes();  // somewhere in its first steps
    robot.reset();
    EXPECT_TRUE(future.isFinished());
  }
}

TEST_F(BlinkOf, ACallerWhoWaitsIsReleasedWhenTheRobotIsTakenAway) {
  const auto service = robot->service();
  Beside running([&] { service.call("_blink"); });
  ASSERT_TRUE(becomesTrue([&] { return writes() == 8; }));
  Beside unloading([&] { robot.reset(); });
  EXPECT_TRUE(becomesTrue([&] { return !service.isAlive(); }));
  clock.advance(milliseconds(200));
  EXPECT_TRUE(running.ends());
  EXPECT_NO_THROW(running.get());
  EXPECT_TRUE(unloading.ends());
}

}  // namespace
}  // namespace HB::test
