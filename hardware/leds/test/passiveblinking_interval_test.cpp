// The interval between two passive blinks: the law, the bounds, and how a draw arms the timer.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <limits>
#include <random>
#include <set>

#include "hardware/leds/test/support/errors.h"
#include "hardware/leds/test/support/leds_access.h"
#include "hardware/leds/test/support/robot.h"
#include "hardware/leds/test/support/threads.h"

namespace HB::test {
namespace {

constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr std::int32_t kMost = std::numeric_limits<std::int32_t>::max();
constexpr std::int32_t kLeast = std::numeric_limits<std::int32_t>::min();

struct Law {
  float min;
  float max;
  int first;  // seconds
  int count;  // first, first + 1, ... this many
};

class SecondsToNextBlink : public ::testing::TestWithParam<Law> {};

TEST_P(SecondsToNextBlink, AreTheTruncatedMinimumPlusTheDrawModuloTheSpan) {
  const Law& law = GetParam();
  std::mt19937 random(20);
  std::uniform_int_distribution<int> draws(0, RAND_MAX);
  std::set<int> seen;
  for (int i = 0; i < 10000; ++i) {
    const int draw = draws(random);
    const int seconds = secondsToNextBlink(law.min, law.max, draw);
    ASSERT_EQ(seconds, law.first + draw % law.count) << draw;
    seen.insert(seconds);
  }
  EXPECT_EQ(seen.size(), static_cast<std::size_t>(law.count));
}

INSTANTIATE_TEST_SUITE_P(Laws, SecondsToNextBlink,
                         ::testing::Values(Law{1, 7, 1, 7}, Law{3, 3, 3, 1}, Law{0.5F, 1.2F, 0, 1},
                                           Law{2.5F, 4, 2, 2}, Law{0, 0, 0, 1},
                                           Law{0.9F, 2.8F, 0, 2}, Law{0, 59, 0, 60}));

struct Odd {
  float min;
  float max;
  std::int32_t draw;
  std::int32_t seconds;
};

TEST(SecondsToNextBlinkOfOddBounds, NeverDivideByZeroOrOverflow) {
  const Odd kOdd[] = {
      {kNaN, kNaN, 5, 0},
      {kNaN, 7, 5, 0},
      {3, kNaN, 5, 3},
      {kNaN, kInfinity, kMost, 0},
      {kInfinity, kInfinity, 5, kMost},
      {0, kInfinity, 5, 5},
      {0, kInfinity, kMost, 0},
      {5, kInfinity, kMost - 1, kMost},
      {3e9F, 3e9F, 0, kMost},
      {3e9F, 3e9F, kMost, kMost},
      {0, 3e9F, kMost - 1, kMost - 1},
      {2147483520.0F, 2147483520.0F, kMost, 2147483520},
      {2147483648.0F, 2147483648.0F, 1, kMost},
      {0, std::numeric_limits<float>::max(), 9, 9},
      {std::numeric_limits<float>::denorm_min(), 1, 3, 1},
      // No bounds and no draws that are ever stored or drawn; defined all the same.
      {7, 1, 5, 7},
      {-kInfinity, 0, 3, kLeast + 3},
      {-3e9F, -3e9F, kLeast, kLeast},
      {1, 7, -1, 0},
      {1, 7, kLeast, -1},
  };
  for (const Odd& odd : kOdd) {
    EXPECT_EQ(secondsToNextBlink(odd.min, odd.max, odd.draw), odd.seconds)
        << odd.min << ' ' << odd.max << ' ' << odd.draw;
  }
}

TEST(SecondsToNextBlinkOfOddBounds, AreNeverLessThanTheTruncatedMinimum) {
  for (const float min : {0.0F, 0.5F, 1.0F, 86400.0F, 16777217.0F, 2147483520.0F}) {
    for (const float more : {0.0F, 0.4F, 6.0F, 1e6F, 1e9F, 3e9F, kInfinity}) {
      for (const std::int32_t draw : {0, 1, 6, 7, 1000000, kMost - 1, kMost}) {
        ASSERT_GE(secondsToNextBlink(min, min + more, draw), static_cast<std::int32_t>(min));
      }
    }
  }
}

class Bounds : public ::testing::Test {
 protected:
  PassiveBlinking blinking{nullptr};

  void expectBounds(float minimum, float maximum) {
    EXPECT_EQ(LedsAccess::minimum(blinking), minimum);
    EXPECT_EQ(LedsAccess::maximum(blinking), maximum);
  }
};

TEST_F(Bounds, AreOneAndSevenSecondsAtFirst) { expectBounds(1, 7); }

TEST_F(Bounds, AreStoredAsGiven) {
  blinking.setTimeBetweenTwoBlinks(0.5F, 1.25F);
  expectBounds(0.5F, 1.25F);
}

TEST_F(Bounds, MayBeZeroAndMayBeEqual) {
  blinking.setTimeBetweenTwoBlinks(0, 0);
  expectBounds(0, 0);
  blinking.setTimeBetweenTwoBlinks(3, 3);
  expectBounds(3, 3);
}

TEST_F(Bounds, BelowZeroAreRefusedInTheseWordsAndChangeNothing) {
  constexpr const char* kText = "Could not set minimum and maximum between two blinks: Minimum (";
  const auto refusal = [&](float minimum, float maximum) {
    return invalidArgument([&] { blinking.setTimeBetweenTwoBlinks(minimum, maximum); });
  };
  EXPECT_EQ(refusal(-1, 2), std::string(kText) + "-1) should be higher than 0");
  EXPECT_EQ(refusal(-0.5F, 2), std::string(kText) + "-0.5) should be higher than 0");
  EXPECT_EQ(refusal(-1, -2), std::string(kText) + "-1) should be higher than 0");
  EXPECT_EQ(refusal(-kInfinity, 2), std::string(kText) + "-inf) should be higher than 0");
  EXPECT_EQ(refusal(-1234567.0F, 2), std::string(kText) + "-1.23457e+06) should be higher than 0");
  expectBounds(1, 7);
}

TEST_F(Bounds, InTheWrongOrderAreRefusedInTheseWordsAndChangeNothing) {
  constexpr const char* kText = "Could not set minimum and maximum between two blinks: Minimum (";
  const auto refusal = [&](float minimum, float maximum) {
    return invalidArgument([&] { blinking.setTimeBetweenTwoBlinks(minimum, maximum); });
  };
  EXPECT_EQ(refusal(5, 2), std::string(kText) + "5) should be lower than maximum (2)");
  EXPECT_EQ(refusal(0.25F, -1), std::string(kText) + "0.25) should be lower than maximum (-1)");
  EXPECT_EQ(refusal(kInfinity, 2), std::string(kText) + "inf) should be lower than maximum (2)");
  expectBounds(1, 7);
}

TEST_F(Bounds, ThatAreNoNumbersPassBothChecks) {
  blinking.setTimeBetweenTwoBlinks(kNaN, 2);
  EXPECT_TRUE(std::isnan(LedsAccess::minimum(blinking)));
  blinking.setTimeBetweenTwoBlinks(2, kNaN);
  EXPECT_TRUE(std::isnan(LedsAccess::maximum(blinking)));
}

TEST_F(Bounds, AreStoredUnderTheTimerLock) {
  boost::unique_lock<boost::mutex> timer(LedsAccess::timerMutex(blinking));
  Beside set([&] { blinking.setTimeBetweenTwoBlinks(2, 3); });
  Beside refused(
      [&] { EXPECT_THROW(blinking.setTimeBetweenTwoBlinks(-1, 3), std::invalid_argument); });
  EXPECT_TRUE(set.isKeptOut());
  EXPECT_TRUE(refused.ends());
  timer.unlock();
  EXPECT_TRUE(set.ends());
}

/// A robot whose passive blinking runs without having blinked: it was started in a pause.
class Interval : public ::testing::Test {
 protected:
  using Time = boost::posix_time::ptime;

  Robot robot;
  LedsAccess in{robot.leds()};
  PassiveBlinking& blinking = *in.fPassiveBlinking();

  void SetUp() override {
    blinking.pause();
    blinking.start(-1);
  }
  Time expiry() {
    const boost::mutex::scoped_lock lock(LedsAccess::timerMutex(blinking));
    return LedsAccess::timer(blinking).expires_at();
  }
  static Time now() { return boost::posix_time::microsec_clock::universal_time(); }
  static auto seconds(int count) { return boost::posix_time::seconds(count); }
  /// Whether the last `resume`, between `before` and `after`, armed the timer `count` seconds on.
  bool isArmed(Time before, Time after, int count) {
    return before + seconds(count) <= expiry() && expiry() <= after + seconds(count);
  }
};

TEST_F(Interval, IsDrawnFromTheLibraryByTheLawAtEachResume) {
  blinking.setTimeBetweenTwoBlinks(1000, 5000);
  for (unsigned seed = 1; seed <= 20; ++seed) {
    std::srand(seed);
    const int expected = 1000 + std::rand() % 4001;
    std::srand(seed);
    blinking.pause();
    const Time before = now();
    blinking.resume();
    EXPECT_TRUE(isArmed(before, now(), expected)) << expected;
  }
}

TEST_F(Interval, OfBoundsBeyondAnIntIsTheLongestOne) {
  blinking.setTimeBetweenTwoBlinks(kInfinity, kInfinity);
  const Time before = now();
  blinking.resume();
  EXPECT_TRUE(isArmed(before, now(), kMost));
}

TEST_F(Interval, KeepsItsExpiryWhenTheBoundsChange) {
  blinking.setTimeBetweenTwoBlinks(1000, 1000);
  blinking.resume();
  const Time armed = expiry();
  blinking.setTimeBetweenTwoBlinks(4000, 4000);
  EXPECT_EQ(expiry(), armed);
  const Time before = now();
  blinking.resume();
  EXPECT_TRUE(isArmed(before, now(), 4000));
}

}  // namespace
}  // namespace HB::test
