// The blinks of passive blinking: on its thread, with a shadow, and those that fail.
#include <gmock/gmock.h>
#include <pthread.h>

#include <algorithm>
#include <array>
#include <mutex>
#include <shared_mutex>
#include <stdexcept>
#include <system_error>

#include "framework/xo/os.h"
#include "hardware/leds/test/support/blinking_robot.h"

namespace HB::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using xo::log::Level;
using Guard = ScopedDisablePassiveBlinking;

TEST_F(PassiveBlinkingOfRobot, TakesItsNamesFromStartAndFromItsFirstExpiry) {
  const auto nameOfThread = [this] {
    std::pair<std::string, std::string> name;
    LedsAccess::ioService(blinking).post([&] {
      std::array<char, 16> kernel{};
      pthread_getname_np(pthread_self(), kernel.data(), kernel.size());
      name = {xo::os::currentThreadName(), kernel.data()};
    });
    awaitThread();
    return name;
  };
  using Name = std::pair<std::string, std::string>;
  EXPECT_EQ(nameOfThread(), Name("PassiveBlinking.ioservice", "PassiveBlinking"));
  blinking.setTimeBetweenTwoBlinks(0, 0);
  blinking.pause();
  blinking.start(-1);
  blinking.resume();
  EXPECT_TRUE(becomesTrue([&] { return blinks() > 0; }));
  const Guard guard(in.fPassiveBlinking());
  EXPECT_EQ(nameOfThread(), Name("PassiveBlinking.timeout", "PassiveBlinking"));
}

/// With expiries that come at once, on the thread of passive blinking, in real time.
class RestlessBlinking : public ::testing::Test, public BlinkingOfRobot {
 protected:
  void SetUp() override { blinking.setTimeBetweenTwoBlinks(0, 0); }
};

TEST_F(RestlessBlinking, BlinksFollowEachOtherUntilTheStop) {
  blinking.start(-1);
  EXPECT_TRUE(becomesTrue([&] { return blinks() >= 4; }));
  blinking.stop();
  EXPECT_EQ(running(), 0);
  const auto lines = logged();
  EXPECT_EQ(lines.front(), kStarting + "-1");
  EXPECT_EQ(std::count(lines.begin(), lines.end(), kPause),
            std::count(lines.begin(), lines.end(), kResume));
  awaitThread();
  EXPECT_EQ(logged().back(), kStopping);
}

TEST_F(RestlessBlinking, AWaitThatExpiresWhileStopRunsIsSilent) {
  boost::unique_lock<boost::recursive_mutex> blink(LedsAccess::blinkMutex(blinking));
  blinking.pause();
  blinking.start(-1);
  blinking.resume();  // due at once; its handler waits for the blink lock
  blinking.stop();
  robot.forget();
  blink.unlock();
  awaitThread();
  EXPECT_THAT(robot.journal().lines(), IsEmpty());
}

TEST_F(RestlessBlinking, NoBlinkComesWhileAPauseLasts) {
  blinking.pause();
  blinking.start(-1);
  awaitThread();
  EXPECT_EQ(blinks(), 0);
  blinking.resume();
  EXPECT_TRUE(becomesTrue([&] { return blinks() >= 2; }));
  blinking.stop();
}

TEST_F(RestlessBlinking, EndsWithItsThreadWhenItsLoopFails) {
  LedsAccess::ioService(blinking).post([] { throw std::runtime_error("broken"); });
  const LogLine line{
      "PassiveBlinking", Level::kError,
      "An error occured while trying to run event loop for passive blinking: broken"};
  EXPECT_TRUE(becomesTrue([&] { return !robot.log().lines().empty(); }));
  EXPECT_THAT(robot.log().lines(), ElementsAre(line));
  blinking.start(-1);  // blinks, and arms a timer that nobody serves
  EXPECT_TRUE(becomesTrue([&] { return blinks() == 1; }));
  EXPECT_TRUE(takePendingWait());
  blinking.stop();
}

/// The service that draws blinks with a shadow.
class FakeSigns {
 public:
  explicit FakeSigns(xo::Session& session) {
    xo::ObjectBuilder builder;
    builder.add(xo::makeMethod<void(const std::string&)>({"triggerBit", "", {}, {}, {}},
                                                         [this](const std::string& bit) {
                                                           std::unique_lock lock(fMutex);
                                                           fBits.push_back(bit);
                                                           if (fThrows) throw 5;
                                                         }));
    fRegistration = session.registerService("HBSignsAndFeedback", std::move(builder));
  }
  std::vector<std::string> bits() {
    const std::scoped_lock lock(fMutex);
    return fBits;
  }
  /// Keeps calls from entering while it is held.
  std::unique_lock<std::mutex> block() { return std::unique_lock(fMutex); }
  void throwForeign() { fThrows = true; }

 private:
  std::mutex fMutex;
  std::vector<std::string> fBits;
  bool fThrows = false;
  std::unique_ptr<xo::Session::Registration> fRegistration;
};

class BlinkingWithShadow : public PassiveBlinkingOfRobot {
 protected:
  FakeSigns signs{*robot.surroundings().session};
};

TEST_F(BlinkingWithShadow, UsesTheShadowForTheFirstBlinkOnly) {
  blinking.start(0xFF007F);
  EXPECT_THAT(signs.bits(), ElementsAre("BlinkWithShadow"));
  EXPECT_EQ(robot.motion().writes().size(), 0u);
  EXPECT_THAT(logged(), ElementsAre(kStarting + "16711807", kPause, kResume));
  EXPECT_TRUE(takePendingWait());
  expire(kExpired);
  clock.awaitIdle();
  EXPECT_EQ(signs.bits().size(), 1u);
  EXPECT_EQ(blinks(), 1);
}

TEST_F(BlinkingWithShadow, TakesEveryColorThroughThePublishedService) {
  robot.call("_startPassiveBlinking", 0);
  robot.call("_startPassiveBlinking", 0xFFFFFF);
  EXPECT_EQ(signs.bits().size(), 2u);
  EXPECT_THAT(logged(), ElementsAre(kStarting + "0", kPause, kResume, kStarting + "16777215",
                                    kPause, kResume));
}

TEST_F(BlinkingWithShadow, DoesNotAskForItWhilePaused) {
  const Guard guard(in.fPassiveBlinking());
  blinking.start(0xFF);
  EXPECT_THAT(signs.bits(), IsEmpty());
  EXPECT_EQ(running(), 1);
}

TEST_F(BlinkingWithShadow, KeepsStopWaitingForItsBlinkButNotPauses) {
  auto held = signs.block();
  Beside starting([&] { blinking.start(0xFF); });
  EXPECT_TRUE(becomesTrue([&] { return running() == 1; }));
  Beside stopping([&] { blinking.stop(); });
  Beside pausing([&] {
    blinking.pause();
    blinking.resume();
  });
  EXPECT_TRUE(pausing.ends());
  EXPECT_TRUE(stopping.isKeptOut());
  held.unlock();
  EXPECT_TRUE(starting.ends());
  EXPECT_TRUE(stopping.ends());
  EXPECT_EQ(running(), 0);
}

TEST_F(BlinkingWithShadow, OutlivesAForeignExceptionOfTheService) {
  signs.throwForeign();
  blinking.start(0xFF);
  EXPECT_THAT(robot.log().texts("HBLeds", Level::kError),
              ElementsAre("An error occured during blink: unknown exception"));
  EXPECT_EQ(running(), 1);
  EXPECT_TRUE(takePendingWait());
}

// A thread that holds the LEDs' lock exclusively is refused a shared one: a std::system_error.
class FailingBlink : public PassiveBlinkingOfRobot {
 protected:
  std::unique_lock<std::shared_mutex> deadlock{in.fLedsMutex()};
  const std::string kWhy = std::system_error(EDEADLK, std::generic_category()).what();
};

TEST_F(FailingBlink, WithAShadowIsLoggedAndPassiveBlinkingRunsOn) {
  blinking.start(0xFF);
  EXPECT_THAT(robot.log().texts("PassiveBlinking", Level::kError),
              ElementsAre("An error occured during passive blinking: " + kWhy));
  EXPECT_EQ(running(), 1);
  EXPECT_EQ(paused(), 0);
  EXPECT_TRUE(takePendingWait());
}

TEST_F(FailingBlink, WithoutShadowIsLoggedAndPassiveBlinkingRunsOn) {
  blinking.start(-1);
  EXPECT_THAT(robot.log().texts("HBLeds", Level::kError),
              ElementsAre("An error occured during blink: " + kWhy));
  EXPECT_EQ(LedsAccess::currentBlink(blinking).errorText(), "An error occured during blink");
  EXPECT_EQ(running(), 1);
  EXPECT_TRUE(takePendingWait());
  blinking.stop();  // has nothing to wait for
  EXPECT_EQ(running(), 0);
}

TEST_F(FailingBlink, AtAnExpiryIsLoggedAndArmsTheNext) {
  blinking.pause();
  blinking.start(-1);
  blinking.resume();
  EXPECT_TRUE(takePendingWait());
  LedsAccess::expire(blinking, kExpired);  // on this thread, which is refused the lock
  EXPECT_EQ(robot.log().texts("HBLeds", Level::kError).size(), 1u);
  EXPECT_EQ(running(), 1);
  EXPECT_TRUE(takePendingWait());
}

}  // namespace
}  // namespace HB::test
