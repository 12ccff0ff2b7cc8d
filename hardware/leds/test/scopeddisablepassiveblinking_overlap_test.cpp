// Guards that overlap: in every order of ending, on many threads, with commands that fail, and what
// they do to the pending wait of passive blinking.
#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <boost/smart_ptr/make_shared.hpp>
#include <functional>
#include <future>
#include <numeric>
#include <optional>
#include <random>

#include "hardware/leds/test/support/blinking_robot.h"
#include "hardware/leds/test/support/commands.h"
#include "hardware/leds/test/support/errors.h"

namespace HB::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Guard = ScopedDisablePassiveBlinking;
using Order = std::array<std::size_t, 8>;

Order inOrder() {
  Order order;
  std::iota(order.begin(), order.end(), 0u);
  return order;
}

class OverlappingGuards : public ::testing::Test {
 protected:
  Journal journal;
  RecordingLog log{journal};
  boost::shared_ptr<PassiveBlinking> blinking = boost::make_shared<PassiveBlinking>(nullptr);

  std::vector<std::string> logged() { return log.texts("PassiveBlinking"); }
  void expectHeld() {
    ASSERT_EQ(LedsAccess::paused(*blinking), 1);
    ASSERT_THAT(logged(), ElementsAre(kPause));
  }
  void expectFree() {
    ASSERT_EQ(LedsAccess::paused(*blinking), 0);
    ASSERT_EQ(LedsAccess::guardCount(), 0);
    ASSERT_THAT(logged(), ElementsAre(kPause, kResume));
  }
};

TEST_F(OverlappingGuards, PauseOnceAndResumeOnceInEveryOrderOfEndingOfEight) {
  Order order = inOrder();
  do {
    std::array<std::optional<Guard>, 8> guards;
    for (auto& guard : guards) guard.emplace(blinking);
    for (std::size_t i = 0; i + 1 < order.size(); ++i) guards.at(order.at(i)).reset();
    expectHeld();
    guards.at(order.back()).reset();
    expectFree();
    if (HasFatalFailure()) FAIL() << ::testing::PrintToString(order);
    log.clear();
    journal.clear();
  } while (std::next_permutation(order.begin(), order.end()));
}

TEST_F(OverlappingGuards, OfEightThreadsPauseOnceAndResumeOnceInWhicheverOrderTheyEnd) {
  std::mt19937 random(8);
  Order order = inOrder();
  for (int round = 0; round < 50; ++round, std::shuffle(order.begin(), order.end(), random)) {
    std::array<std::promise<void>, 8> released;
    std::atomic<int> inside{0};
    std::vector<Beside> threads;
    for (auto& release : released) {
      threads.emplace_back([&, end = release.get_future().share()] {
        const Guard guard(blinking);
        ++inside;
        end.wait();
      });
    }
    EXPECT_TRUE(becomesTrue([&] { return inside == 8; }));
    for (const std::size_t next : order) {
      expectHeld();
      released.at(next).set_value();
      EXPECT_TRUE(threads.at(next).ends());
    }
    expectFree();
    if (HasFatalFailure()) FAIL() << ::testing::PrintToString(order);
    log.clear();
  }
}

TEST_F(OverlappingGuards, OfEightThreadsThatAreUnwoundPauseOnceAndResumeOnce) {
  std::promise<void> thrown;
  const std::shared_future<void> now = thrown.get_future().share();
  std::atomic<int> inside{0};
  std::vector<Beside> threads;
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([&] {
      const Guard guard(blinking);
      ++inside;
      std::shared_future<void>(now).wait();
      throw std::runtime_error("unwound");
    });
  }
  EXPECT_TRUE(becomesTrue([&] { return inside == 8; }));
  expectHeld();
  thrown.set_value();
  for (auto& thread : threads) EXPECT_THROW(thread.get(), std::runtime_error);
  expectFree();
}

/// Ways for a command on the eyes to fail after it made its guard.
struct Failure {
  std::string name;
  std::function<void(HBLeds&)> run;
};

std::vector<Failure> failures() {
  return {
      {"intensity", [](HBLeds& leds) { leds.setAnyLedIntensity("FaceLeds", 2.0F); }},
      {"fade", [](HBLeds& leds) { leds.fade("Eye0", -1.0F, 1.0F); }},
      {"ratio", [](HBLeds& leds) { leds._setIntensityRatio("FaceLeds", 0.1F); }},
      {"device", [](HBLeds& leds) { leds.fadeRGB(small::kEye0Red, 1.0F, 0.0F, 0.0F, 1.0F); }},
      {"lists",
       [](HBLeds& leds) {
         leds.fadeListRGB("FaceLeds", HBValue::list({1}), HBValue::list({1, 2}));
       }},
      {"element",
       [](HBLeds& leds) {
         leds.fadeListRGB("FaceLeds", HBValue::list({0xFF0000, "x"}), HBValue::list({1, 1}));
       }},
      {"rotation", [](HBLeds& leds) { leds.rotateEyes(-1, 1.0F, 1.0F); }},
  };
}

class GuardOfWait : public ::testing::Test, public BlinkingOfRobot {
 protected:
  using Time = boost::posix_time::ptime;

  void SetUp() override {
    blinking.pause();
    blinking.setTimeBetweenTwoBlinks(kFarAway, kFarAway);
    blinking.start(-1);
    blinking.resume();
    armed = expiry();
    blinking.setTimeBetweenTwoBlinks(2 * kFarAway, 2 * kFarAway);
    robot.forget();
  }
  Time expiry() {
    const boost::mutex::scoped_lock lock(LedsAccess::timerMutex(blinking));
    return LedsAccess::timer(blinking).expires_at();
  }
  /// Whether a new interval was drawn since the beginning.
  bool isDrawnAnew() { return expiry() - armed > boost::posix_time::seconds(1000); }

  Time armed;
};

TEST_F(GuardOfWait, IsLeftUntouchedByCommandsOnChestEarsAndFeet) {
  for (const auto& command : commands()) {
    for (const std::string name : {"ChestLeds", "EarLeds", "EarLed1", "FeetLeds", "BrainLeds"}) {
      command.run(robot.leds(), name);
      EXPECT_EQ(expiry(), armed) << command.name << ' ' << name;
    }
  }
  EXPECT_THAT(logged(), IsEmpty());
  EXPECT_TRUE(takePendingWait());
}

TEST_F(GuardOfWait, IsDrawnAnewAfterACommandOnTheEyes) {
  robot.leds().on("AllLeds");
  EXPECT_TRUE(isDrawnAnew());
  EXPECT_THAT(logged(), ElementsAre(kPause, kResume));
  EXPECT_TRUE(takePendingWait());
}

TEST_F(GuardOfWait, IsCancelledWhileACommandOnTheEyesRuns) {
  robot.motion().hold();
  Beside running([&] { robot.leds().on("FaceLeds"); });
  ASSERT_TRUE(robot.motion().awaitHeld(1));
  EXPECT_FALSE(takePendingWait());
  robot.motion().release();
  EXPECT_TRUE(running.ends());
  EXPECT_TRUE(takePendingWait());
}

TEST_F(GuardOfWait, IsDrawnAnewAfterACommandThatFailed) {
  for (const auto& failure : failures()) {
    blinking.pause();
    blinking.resume();
    armed = expiry() - boost::posix_time::seconds(2000);
    robot.forget();
    EXPECT_THROW(failure.run(robot.leds()), std::invalid_argument) << failure.name;
    EXPECT_TRUE(isDrawnAnew()) << failure.name;
    EXPECT_THAT(logged(), ElementsAre(kPause, kResume)) << failure.name;
    EXPECT_EQ(LedsAccess::guardCount(), 0);
  }
}

TEST_F(GuardOfWait, IsPausedOnceAndResumedOnceByEightCommandsWithOneThatFailsAmongThem) {
  for (const auto& failure : failures()) {
    robot.forget();
    robot.motion().hold();
    std::vector<Beside> running;
    int sent = 0;
    for (const auto& command : commands()) {
      if (!command.sends || sent == 8) continue;
      ++sent;
      running.emplace_back([this, command] { command.run(robot.leds(), "FaceLeds"); });
    }
    ASSERT_TRUE(robot.motion().awaitHeld(8));
    Beside failing([&] { EXPECT_THROW(failure.run(robot.leds()), std::invalid_argument); });
    // Those that fail before they write end at once; the other is held with the rest.
    EXPECT_TRUE(failure.name == "element" ? robot.motion().awaitHeld(9) : failing.ends());
    EXPECT_THAT(logged(), ElementsAre(kPause));
    EXPECT_FALSE(takePendingWait());
    robot.motion().release();
    for (auto& command : running) EXPECT_TRUE(command.ends());
    EXPECT_TRUE(failing.ends());
    EXPECT_THAT(logged(), ElementsAre(kPause, kResume)) << failure.name;
    EXPECT_TRUE(takePendingWait());
  }
}

}  // namespace
}  // namespace HB::test
