// Passive blinking on a robot: every state, and what leads from one to the other.
#include <gmock/gmock.h>

#include "hardware/leds/test/support/blinking_robot.h"
#include "hardware/leds/test/support/errors.h"

namespace HB::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Guard = ScopedDisablePassiveBlinking;

TEST_F(PassiveBlinkingOfRobot, IsStoppedAtFirst) {
  EXPECT_EQ(running(), 0);
  EXPECT_EQ(paused(), 0);
  EXPECT_FALSE(takePendingWait());
  EXPECT_TRUE(LedsAccess::currentBlink(blinking).hasValue());
}

TEST_F(PassiveBlinkingOfRobot, StartBlinksAtOnceThroughAPauseThatArmsTheTimer) {
  blinking.start(-1);
  EXPECT_EQ(running(), 1);
  EXPECT_EQ(paused(), 0);
  EXPECT_THAT(logged(), ElementsAre(kStarting + "-1", kPause, kResume));
  EXPECT_TRUE(LedsAccess::currentBlink(blinking).isRunning());
  clock.awaitIdle();
  EXPECT_EQ(blinks(), 1);
  EXPECT_TRUE(takePendingWait());
}

TEST_F(PassiveBlinkingOfRobot, StartTwiceBlinksTwiceAndArmsOnce) {
  blinking.start(-1);
  blinking.start(-1);
  EXPECT_EQ(running(), 1);
  clock.awaitIdle();
  EXPECT_EQ(blinks(), 2);
  EXPECT_THAT(logged(),
              ElementsAre(kStarting + "-1", kPause, kResume, kStarting + "-1", kPause, kResume));
  EXPECT_TRUE(takePendingWait());
}

TEST_F(PassiveBlinkingOfRobot, StartWhilePausedRunsButBlinksOnlyAfterThePausesEnd) {
  {
    const Guard guard(in.fPassiveBlinking());
    blinking.start(-1);
    EXPECT_EQ(running(), 1);
    EXPECT_EQ(paused(), 1);
    EXPECT_FALSE(takePendingWait());
  }
  EXPECT_EQ(running(), 1);
  EXPECT_EQ(paused(), 0);
  clock.awaitIdle();
  EXPECT_EQ(blinks(), 0);
  EXPECT_TRUE(takePendingWait());
  expire(kExpired);
  clock.awaitIdle();
  EXPECT_EQ(blinks(), 1);
}

TEST_F(PassiveBlinkingOfRobot, StopWhenNeverStartedDoesAndLogsNothing) {
  blinking.stop();
  EXPECT_THAT(robot.log().lines(), IsEmpty());
  EXPECT_EQ(running(), 0);
}

TEST_F(PassiveBlinkingOfRobot, StopTwiceStopsOnce) {
  blinking.start(-1);
  stop();
  robot.forget();
  blinking.stop();
  EXPECT_THAT(robot.log().lines(), IsEmpty());
}

TEST_F(PassiveBlinkingOfRobot, StopCancelsTheBlinkWaitsForItsEndAndThenClearsRunning) {
  robot.motion().hold();
  blinking.start(-1);
  ASSERT_TRUE(robot.motion().awaitHeld(1));
  Beside stopping([&] { blinking.stop(); });
  EXPECT_TRUE(stopping.isKeptOut());
  EXPECT_EQ(running(), 1);
  EXPECT_EQ(logged().back(), kStopping);
  robot.motion().release();
  EXPECT_TRUE(stopping.ends());
  EXPECT_EQ(running(), 0);
  EXPECT_TRUE(LedsAccess::currentBlink(blinking).isCancelled());
  EXPECT_EQ(robot.motion().writes().size(), 1u);
  EXPECT_THAT(logged(), ElementsAre(kStarting + "-1", kPause, kResume, kStopping));
}

TEST_F(PassiveBlinkingOfRobot, StopWaitsWhileTheEyesAreHeldClosed) {
  blinking.start(-1);
  clock.awaitIdle();
  Beside stopping([&] { blinking.stop(); });
  EXPECT_TRUE(stopping.isKeptOut());
  EXPECT_EQ(running(), 1);
  clock.advance(std::chrono::milliseconds(149));
  EXPECT_TRUE(stopping.isKeptOut());
  clock.advance(std::chrono::milliseconds(1));
  EXPECT_TRUE(stopping.ends());
  EXPECT_EQ(running(), 0);
}

TEST_F(PassiveBlinkingOfRobot, StopLeavesThePendingWait) {
  blinking.start(-1);
  stop();
  EXPECT_TRUE(takePendingWait());
}

TEST_F(PassiveBlinkingOfRobot, StopAlsoStopsWhatIsPaused) {
  blinking.start(-1);
  const Guard guard(in.fPassiveBlinking());
  stop();
  EXPECT_EQ(running(), 0);
  EXPECT_EQ(paused(), 1);
}

TEST_F(PassiveBlinkingOfRobot, AWaitThatExpiresAfterStopIsSilentAndArmsNothing) {
  blinking.start(-1);
  stop();
  EXPECT_TRUE(takePendingWait());
  robot.forget();
  expire(kExpired);
  clock.awaitIdle();
  EXPECT_THAT(robot.journal().lines(), IsEmpty());
  EXPECT_FALSE(takePendingWait());
}

TEST_F(PassiveBlinkingOfRobot, StartsAgainAfterStop) {
  blinking.start(-1);
  stop();
  robot.forget();
  blinking.start(-1);
  clock.awaitIdle();
  EXPECT_EQ(running(), 1);
  EXPECT_EQ(blinks(), 1);
}

TEST_F(PassiveBlinkingOfRobot, PauseCancelsTheWaitAndKeepsItRunning) {
  blinking.start(-1);
  blinking.pause();
  EXPECT_EQ(running(), 1);
  EXPECT_EQ(paused(), 1);
  EXPECT_FALSE(takePendingWait());
}

TEST_F(PassiveBlinkingOfRobot, AnExpiryThatComesDuringAPauseDoesNothing) {
  blinking.start(-1);
  clock.awaitIdle();
  blinking.pause();
  robot.forget();
  expire(kExpired);
  clock.awaitIdle();
  EXPECT_THAT(robot.journal().lines(), IsEmpty());
}

TEST_F(PassiveBlinkingOfRobot, ResumeArmsWhenRunning) {
  blinking.start(-1);
  blinking.pause();
  blinking.resume();
  EXPECT_EQ(paused(), 0);
  EXPECT_TRUE(takePendingWait());
}

TEST_F(PassiveBlinkingOfRobot, ResumeAgainSupersedesTheWait) {
  blinking.start(-1);
  blinking.resume();
  blinking.resume();
  EXPECT_TRUE(takePendingWait());
  EXPECT_FALSE(takePendingWait());
}

TEST_F(PassiveBlinkingOfRobot, ResumeArmsNothingWhenStopped) {
  blinking.pause();
  blinking.resume();
  EXPECT_EQ(paused(), 0);
  EXPECT_FALSE(takePendingWait());
}

TEST_F(PassiveBlinkingOfRobot, AnExpiryBlinksWhichPausesAndArmsInTurn) {
  blinking.start(-1);
  clock.awaitIdle();
  EXPECT_TRUE(takePendingWait());
  robot.forget();
  expire(kExpired);
  clock.awaitIdle();
  EXPECT_EQ(blinks(), 1);
  EXPECT_THAT(logged(), ElementsAre(kPause, kResume));
  EXPECT_TRUE(takePendingWait());
}

TEST_F(PassiveBlinkingOfRobot, AnAbortedWaitDoesNothing) {
  blinking.start(-1);
  clock.awaitIdle();
  robot.forget();
  expire(kAborted);
  clock.awaitIdle();
  EXPECT_THAT(robot.journal().lines(), IsEmpty());
}

TEST_F(PassiveBlinkingOfRobot, AnyOtherErrorOfAWaitCountsAsItsExpiry) {
  blinking.start(-1);
  clock.awaitIdle();
  robot.forget();
  expire(boost::asio::error::fault);
  clock.awaitIdle();
  EXPECT_EQ(blinks(), 1);
}

TEST_F(PassiveBlinkingOfRobot, DoesNotWaitForTheBlinkBefore) {
  robot.motion().hold();
  blinking.start(-1);
  ASSERT_TRUE(robot.motion().awaitHeld(1));
  Beside expiring([&] { LedsAccess::expire(blinking, kExpired); });
  EXPECT_TRUE(expiring.ends());
  ASSERT_TRUE(robot.motion().awaitHeld(2));
  robot.motion().release();
}

TEST_F(PassiveBlinkingOfRobot, IsControlledThroughThePublishedService) {
  robot.call("_setTimeBetweenTwoBlinks", 1000.0F, 2000.0F);
  EXPECT_EQ(LedsAccess::minimum(blinking), 1000);
  EXPECT_EQ(LedsAccess::maximum(blinking), 2000);
  robot.call("_startPassiveBlinking");
  EXPECT_EQ(running(), 1);
  clock.awaitIdle();
  EXPECT_EQ(blinks(), 1);
  driven(clock, [&] { robot.call("_stopPassiveBlinking"); });
  EXPECT_EQ(running(), 0);
  EXPECT_THAT(logged(), ElementsAre(kStarting + "-1", kPause, kResume, kStopping));
}

TEST_F(PassiveBlinkingOfRobot, RefusesShadowsThatAreNoColorsThroughThePublishedService) {
  for (const int shadow : {-1, -2, 0x1000000, 0x7FFFFFFF, -2147483647 - 1}) {
    EXPECT_EQ(invalidArgument([&] { robot.call("_startPassiveBlinking", shadow); }),
              "The color of eyeshadow should be in the range 0-16777215 (0xRRGGBB)");
  }
  EXPECT_EQ(running(), 0);
  EXPECT_THAT(robot.journal().lines(), IsEmpty());
}

TEST_F(PassiveBlinkingOfRobot, RefusesBadBoundsThroughThePublishedService) {
  constexpr const char* kText = "Could not set minimum and maximum between two blinks: Minimum (";
  EXPECT_EQ(invalidArgument([&] { robot.call("_setTimeBetweenTwoBlinks", -1.0F, 2.0F); }),
            std::string(kText) + "-1) should be higher than 0");
  EXPECT_EQ(invalidArgument([&] { robot.call("_setTimeBetweenTwoBlinks", 5.0F, 2.0F); }),
            std::string(kText) + "5) should be lower than maximum (2)");
  EXPECT_EQ(LedsAccess::minimum(blinking), kFarAway);
}
}  // namespace
}  // namespace HB::test
