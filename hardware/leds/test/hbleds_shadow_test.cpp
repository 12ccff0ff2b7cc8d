// The blink that another service draws.
#include <gmock/gmock.h>

#include "framework/xo/event_loop.h"
#include "hardware/leds/test/support/driven.h"
#include "hardware/leds/test/support/leds_access.h"
#include "hardware/leds/test/support/robot.h"

namespace HB::test {
namespace {

using std::chrono::milliseconds;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using xo::log::Level;

/// "HBSignsAndFeedback" as far as the module knows it. Notes each call as "signs: BIT".
class FakeSigns {
 public:
  FakeSigns(
      xo::Session& session, Journal& journal, std::function<void()> onTrigger = [] {}) {
    xo::ObjectBuilder builder;
    builder.add(xo::makeMethod<void(const std::string&)>(
        {"triggerBit", "", {}, {}, {}}, [&journal, onTrigger](const std::string& bit) {
          journal.add("signs: " + bit);
          onTrigger();
        }));
    fRegistration = session.registerService("HBSignsAndFeedback", std::move(builder));
  }

 private:
  std::unique_ptr<xo::Session::Registration> fRegistration;
};

class BlinkWithColor : public ::testing::Test {
 protected:
  Robot robot;
  LedsAccess in{robot.leds()};

  std::unique_ptr<FakeSigns> signs(std::function<void()> onTrigger = [] {}) {
    return std::make_unique<FakeSigns>(*robot.surroundings().session, robot.journal(),
                                       std::move(onTrigger));
  }
};

TEST_F(BlinkWithColor, AsksForTheSignWhateverTheColor) {
  const auto service = signs();
  for (const int color : {0, 255, -1, 0x1000000}) {
    robot.forget();
    robot.leds().blink(color);
    EXPECT_THAT(
        robot.journal().lines(),
        ElementsAre("PassiveBlinking verbose: Pause passive blinking", "signs: BlinkWithShadow",
                    "PassiveBlinking verbose: Resume passive blinking"));
  }
}

TEST_F(BlinkWithColor, PausesAndLocksSharedWhileItIsDrawn) {
  const auto service = signs([this] {
    EXPECT_EQ(LedsAccess::guardCount(), 1);
    EXPECT_TRUE(canShare(in.fLedsMutex()));
    EXPECT_FALSE(canExclude(in.fLedsMutex()));
  });
  robot.leds().blink(255);
  EXPECT_EQ(robot.journal().count("signs: BlinkWithShadow"), 1u);
  EXPECT_EQ(LedsAccess::guardCount(), 0);
  EXPECT_TRUE(canExclude(in.fLedsMutex()));
}

TEST_F(BlinkWithColor, MayBeDrawnThroughThisVeryModule) {
  xo::ManualClock clock;
  const auto service = signs([this] { robot.call("_blinkWithShadow"); });
  robot.leds().blink(255);
  clock.advance(milliseconds(200));
  EXPECT_THAT(robot.motion().writes(), SizeIs(5));  // of two positions
}

TEST_F(BlinkWithColor, LogsThatTheServiceFailedAndReturns) {
  const auto service = signs([] { throw std::out_of_range("no such sign"); });
  robot.leds().blink(255);
  EXPECT_THAT(robot.log().texts("HBLeds", Level::kError),
              ElementsAre("An error occured during blink: no such sign"));
  EXPECT_EQ(LedsAccess::guardCount(), 0);
}

TEST_F(BlinkWithColor, LogsThatTheServiceHasNoObject) {
  const auto announced = robot.surroundings().session->announceService(
      "HBSignsAndFeedback", xo::makeReadyFuture(xo::Object()));
  robot.leds().blink(255);
  EXPECT_THAT(robot.log().texts("HBLeds", Level::kError),
              ElementsAre("An error occured during blink: This object is null"));
}

TEST_F(BlinkWithColor, WaitsAMinuteForTheService) {
  xo::ManualClock clock;
  const auto before = xo::getEventLoop().pendingDelays();
  Beside running([&] { robot.leds().blink(255); });
  ASSERT_TRUE(becomesTrue([&] { return xo::getEventLoop().pendingDelays() > before; }));
  EXPECT_TRUE(canShare(in.fLedsMutex()));
  EXPECT_FALSE(canExclude(in.fLedsMutex()));
  EXPECT_EQ(LedsAccess::guardCount(), 1);
  clock.advance(milliseconds(59'999));
  EXPECT_TRUE(running.isKeptOut());
  EXPECT_THAT(robot.log().texts("HBLeds"), IsEmpty());
  clock.advance(milliseconds(1));
  EXPECT_TRUE(running.ends());
  EXPECT_NO_THROW(running.get());
  EXPECT_THAT(robot.log().texts("HBLeds", Level::kError),
              ElementsAre("An error occured during blink: The service HBSignsAndFeedback did not "
                          "come within the time allowed"));
}

TEST_F(BlinkWithColor, GoesOnAsSoonAsTheServiceComes) {
  xo::ManualClock clock;
  const auto before = xo::getEventLoop().pendingDelays();
  Beside running([&] { robot.leds().blink(255); });
  ASSERT_TRUE(becomesTrue([&] { return xo::getEventLoop().pendingDelays() > before; }));
  clock.advance(milliseconds(30'000));
  const auto service = signs();
  EXPECT_TRUE(running.ends());
  EXPECT_EQ(robot.journal().count("signs: BlinkWithShadow"), 1u);
  EXPECT_THAT(robot.log().texts("HBLeds"), IsEmpty());
}

TEST(BlinkWithoutItsService, EndsAtOnceWhenTheModuleIsTakenAway) {
  xo::ManualClock clock;
  auto robot = std::make_unique<Robot>();
  const auto service = robot->service();
  const auto before = xo::getEventLoop().pendingDelays();
  Beside running([&] { service.call("_blink", 255); });
  ASSERT_TRUE(becomesTrue([&] { return xo::getEventLoop().pendingDelays() > before; }));
  robot.reset();
  EXPECT_TRUE(running.ends());
  EXPECT_NO_THROW(running.get());
  EXPECT_EQ(LedsAccess::guardCount(), 0);
}

}  // namespace
}  // namespace HB::test
