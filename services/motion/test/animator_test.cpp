#include "services/motion/src/animator.h"

#include <gmock/gmock.h>

#include <cmath>
#include <limits>
#include <map>

#include "framework/xo/clock.h"

namespace HB {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

constexpr Microseconds kSecond = 1'000'000;
constexpr Microseconds kBegin = 5'000'000'000;  // any instant
constexpr float kMax = std::numeric_limits<float>::max();

using Outputs = std::map<int, float>;

Outputs outputs(const Animator::Changes& changes) {
  Outputs all;
  for (std::size_t i = 0; i < changes.channels.size(); ++i) {
    EXPECT_TRUE(all.emplace(changes.channels[i], changes.values[i]).second) << "a channel twice";
  }
  EXPECT_EQ(changes.channels.size(), changes.values.size());
  return all;
}

class AnimatorTest : public testing::Test {
 protected:
  void add(int channel, std::vector<float> times, std::vector<float> values) {
    animator.add(channel, now, times, values);
  }
  Outputs immediate() { return outputs(animator.takeImmediate()); }
  Outputs at(double seconds) {
    now = kBegin + seconds * kSecond;
    return outputs(animator.advance(now));
  }
  Animator::State state(int channel) { return animator.state(channel, now); }

  Animator animator{std::vector<float>(4, 0.0f)};
  Microseconds now = kBegin;
};

TEST(SecondsToMicroseconds, AgreesWithTheDelaysOfTheFramework) {
  for (const float seconds : {0.0f, 0.7f, 0.0000004f, 1e-6f, 0.01f, 1.0f, 3600.1f, 1e9f}) {
    const std::chrono::duration<double, std::micro> delay = xo::secondsToDuration(seconds);
    EXPECT_EQ(secondsToMicroseconds(seconds), delay.count()) << seconds;
  }
}

TEST(SecondsToMicroseconds, GoesOnBeyondWhatADelayCanHold) {
  EXPECT_DOUBLE_EQ(secondsToMicroseconds(kMax), static_cast<double>(kMax) * 1e6);
  EXPECT_EQ(secondsToMicroseconds(std::numeric_limits<float>::denorm_min()), 0);
}

TEST_F(AnimatorTest, RestsAtFirst) {
  EXPECT_TRUE(animator.isResting());
  EXPECT_EQ(animator.nextChange(), std::numeric_limits<double>::infinity());
  EXPECT_THAT(at(1), IsEmpty());
}

TEST_F(AnimatorTest, MovesLinearlyAndReachesTheValueExactly) {
  add(1, {2}, {0.3f});
  EXPECT_THAT(immediate(), IsEmpty());
  EXPECT_THAT(at(0.5), ElementsAre(Pair(1, 0.075f)));
  EXPECT_THAT(at(1), ElementsAre(Pair(1, 0.15f)));
  EXPECT_THAT(at(2), ElementsAre(Pair(1, 0.3f)));
  EXPECT_TRUE(animator.isResting());
  EXPECT_THAT(at(3), IsEmpty());
}

TEST_F(AnimatorTest, ReachesTheValueWhenATickComesLate) {
  add(1, {0.1f, 0.2f}, {1, 0.6f});
  EXPECT_THAT(at(7), ElementsAre(Pair(1, 0.6f)));
  EXPECT_TRUE(animator.isResting());
}

TEST_F(AnimatorTest, GivesOutOnlyWhatChanged) {
  add(0, {1}, {1});
  add(1, {1}, {0});
  add(2, {1}, {0.5f});
  EXPECT_THAT(at(0.5), ElementsAre(Pair(0, 0.5f), Pair(2, 0.25f)));
  EXPECT_THAT(at(1), ElementsAre(Pair(0, 1.0f), Pair(2, 0.5f)));
}

TEST_F(AnimatorTest, TakesAValueAtTimeZeroAtOnce) {
  add(1, {0}, {0.5f});
  EXPECT_THAT(immediate(), ElementsAre(Pair(1, 0.5f)));
  EXPECT_TRUE(animator.isResting());
  EXPECT_THAT(immediate(), IsEmpty());
  add(1, {0}, {0.5f});
  EXPECT_THAT(immediate(), IsEmpty()) << "nothing changed";
}

TEST_F(AnimatorTest, TakesATimeBelowAMicrosecondAsZero) {
  add(1, {std::numeric_limits<float>::denorm_min(), 9e-7f}, {0.25f, 0.5f});
  EXPECT_THAT(immediate(), ElementsAre(Pair(1, 0.5f)));
}

TEST_F(AnimatorTest, MovesOnFromAValueAtTimeZero) {
  add(1, {0, 1}, {1, 0});
  EXPECT_THAT(immediate(), ElementsAre(Pair(1, 1.0f)));
  EXPECT_THAT(at(0.25), ElementsAre(Pair(1, 0.75f)));
}

TEST_F(AnimatorTest, LetsTheLastOfEqualTimesHold) {
  add(1, {0, 0, 1, 1, 1}, {0.1f, 0.25f, 0.5f, 0.6f, 1.25f});
  EXPECT_THAT(immediate(), ElementsAre(Pair(1, 0.25f)));
  EXPECT_THAT(at(0.5), ElementsAre(Pair(1, 0.75f)));
  EXPECT_THAT(at(1), ElementsAre(Pair(1, 1.0f)));
}

TEST_F(AnimatorTest, EndsAFadeByAValueAtOnce) {
  add(1, {1, 2}, {1, 0.5f});
  at(0.5);
  add(1, {0}, {0.2f});
  EXPECT_THAT(immediate(), ElementsAre(Pair(1, 0.2f)));
  EXPECT_TRUE(animator.isResting());
  EXPECT_THAT(at(2), IsEmpty());
}

TEST_F(AnimatorTest, StartsANewFadeFromTheValueAtThatInstant) {
  add(1, {1}, {1});
  at(0.3);
  now = kBegin + 0.5 * kSecond;  // between two ticks
  add(1, {0.25f}, {0});
  EXPECT_THAT(at(0.5), ElementsAre(Pair(1, 0.5f)));
  EXPECT_THAT(at(0.625), ElementsAre(Pair(1, 0.25f)));
}

TEST_F(AnimatorTest, ReplacesAFadeByOneThatEndsAtTheSameInstant) {
  add(1, {1}, {1});
  at(0.5);
  add(1, {0.5f}, {0});
  EXPECT_THAT(at(0.75), ElementsAre(Pair(1, 0.25f)));
}

TEST_F(AnimatorTest, ChainsCallsWithGrowingTimes) {
  add(1, {1}, {1});
  add(1, {1.5f}, {0});
  add(1, {3.5f}, {0.5f});
  EXPECT_THAT(at(0.5), ElementsAre(Pair(1, 0.5f)));
  EXPECT_THAT(at(1), ElementsAre(Pair(1, 1.0f)));
  EXPECT_THAT(at(1.25), ElementsAre(Pair(1, 0.5f)));
  EXPECT_THAT(at(1.5), ElementsAre(Pair(1, 0.0f)));
  EXPECT_THAT(at(2.5), ElementsAre(Pair(1, 0.25f)));
  EXPECT_THAT(at(4), ElementsAre(Pair(1, 0.5f)));
}

TEST_F(AnimatorTest, LetsALongerFadeFollowAShorterOneThatIsPending) {
  add(1, {0.2f}, {1});
  at(0.1);
  add(1, {1}, {0});  // until 1.1 s; keeps the one until 0.2 s
  EXPECT_THAT(at(0.2), ElementsAre(Pair(1, 1.0f)));
  EXPECT_THAT(at(0.65), ElementsAre(Pair(1, 0.5f)));
}

TEST_F(AnimatorTest, KeepsEarlierAndRemovesLaterKeyFrames) {
  add(1, {1, 2, 3}, {1, 0, 1});
  add(1, {2}, {0.5f});
  EXPECT_THAT(at(1), ElementsAre(Pair(1, 1.0f)));
  EXPECT_THAT(at(2), ElementsAre(Pair(1, 0.5f)));
  EXPECT_THAT(at(3), IsEmpty());
}

TEST_F(AnimatorTest, ForgetsKeyFramesThatPassedBetweenTicks) {
  add(1, {0.1f, 0.2f}, {1, 0.5f});
  now = kBegin + 0.3 * kSecond;  // no tick came
  add(1, {1}, {0});
  EXPECT_THAT(at(0.8), ElementsAre(Pair(1, 0.25f)));
}

TEST_F(AnimatorTest, GivesOutAValueThatWasReachedBetweenTicksAndThenHeld) {
  add(1, {0.105f}, {1});
  at(0.1);
  now = kBegin + 0.106 * kSecond;
  add(1, {5}, {1});
  EXPECT_LE(animator.nextChange(), now) << "the next tick has something to give out";
  EXPECT_THAT(at(0.11), ElementsAre(Pair(1, 1.0f)));
  EXPECT_GT(animator.nextChange(), kBegin + 5 * kSecond);
}

TEST_F(AnimatorTest, LimitsOutputsButNotTheWay) {
  add(1, {1, 2}, {2, -2});
  EXPECT_THAT(at(0.25), ElementsAre(Pair(1, 0.5f)));
  EXPECT_THAT(at(0.5), ElementsAre(Pair(1, 1.0f)));
  EXPECT_THAT(at(1), IsEmpty());
  EXPECT_THAT(at(1.375), ElementsAre(Pair(1, 0.5f)));
  EXPECT_THAT(at(1.75), ElementsAre(Pair(1, 0.0f)));
  EXPECT_FALSE(std::signbit(animator.state(1, now).now));
}

TEST_F(AnimatorTest, SurvivesTheLargestValuesAndTimes) {
  add(0, {1, 2}, {kMax, -kMax});
  add(1, {kMax}, {1});
  add(2, {1e30f, 2e30f}, {kMax, 0});
  add(3, {0, kMax}, {1, 0});
  EXPECT_THAT(immediate(), ElementsAre(Pair(3, 1.0f)));
  EXPECT_THAT(at(1), ElementsAre(Pair(0, 1.0f), Pair(1, testing::Gt(0.0f)), Pair(2, 1.0f)));
  EXPECT_THAT(at(2), testing::Contains(Pair(0, 0.0f)));
  EXPECT_EQ(state(0).asked, -kMax);
  EXPECT_EQ(state(3).now, 1.0f);
  EXPECT_FLOAT_EQ(state(1).secondsLeft, kMax);
}

TEST_F(AnimatorTest, MovesTowardsFarAwayKeyFramesOnTheirOwnLine) {
  add(1, {1e30f}, {1e30f});  // one a second
  EXPECT_THAT(at(0.5), ElementsAre(Pair(1, 0.5f)));
}

TEST_F(AnimatorTest, SleepsUntilTheNextKeyFrameWhileValuesAreHeld) {
  add(1, {0, 5, 6}, {0.5f, 0.5f, 1});
  immediate();
  EXPECT_EQ(animator.nextChange(), kBegin + 5 * kSecond);
  EXPECT_THAT(at(5), IsEmpty());
  EXPECT_LE(animator.nextChange(), now) << "moving now";
  at(6);
  EXPECT_TRUE(animator.isResting());
}

TEST_F(AnimatorTest, TellsApartWhatIsAskedWhatIsNowAndWhereItGoes) {
  add(1, {1, 2}, {0.5f, 1.5f});
  at(0.5);
  EXPECT_EQ(state(1).asked, 1.5f);
  EXPECT_EQ(state(1).now, 0.25f);
  EXPECT_EQ(state(1).target, 1.0f);
  EXPECT_EQ(state(1).secondsLeft, 1.5f);
  at(2);
  EXPECT_EQ(state(1).asked, 1.5f);
  EXPECT_EQ(state(1).now, 1.0f);
  EXPECT_EQ(state(1).target, 1.0f);
  EXPECT_EQ(state(1).secondsLeft, 0.0f);
}

TEST_F(AnimatorTest, TellsTheStateBetweenTicksToo) {
  add(1, {1, 2, 3}, {1, 0, 1});
  now = kBegin + 1.5 * kSecond;
  EXPECT_EQ(state(1).now, 0.5f);
  now = kBegin + 9 * kSecond;
  EXPECT_EQ(state(1).now, 1.0f);
  EXPECT_EQ(state(1).secondsLeft, 0.0f);
}

TEST_F(AnimatorTest, RepeatsEveryOutputOnDemand) {
  add(0, {0}, {1});
  add(1, {1}, {1});
  immediate();
  at(0.5);
  EXPECT_THAT(outputs(animator.takeAll()),
              ElementsAre(Pair(0, 1.0f), Pair(1, 0.5f), Pair(2, 0.0f), Pair(3, 0.0f)));
}

TEST_F(AnimatorTest, ChangesNothingForEmptyLists) {
  add(1, {1}, {1});
  add(1, {}, {});
  EXPECT_THAT(at(0.5), ElementsAre(Pair(1, 0.5f)));
}

TEST_F(AnimatorTest, NeverRunsOutOfRoomForAChainThatGoesOnForEver) {
  constexpr double kStep = 0.01;  // each call adds one key frame, 50 are pending
  for (int call = 0; call < 3 * static_cast<int>(Animator::kMaxPending); ++call) {
    const std::vector<float> time{0.5f};
    ASSERT_TRUE(animator.hasRoom(1, now, time)) << call;
    add(1, time, {static_cast<float>(call % 2)});
    at(kStep * call);
  }
}

TEST_F(AnimatorTest, TakesLongListsAndManyChannels) {
  constexpr int kFrames = 4096;
  constexpr int kChannels = 2000;
  Animator many(std::vector<float>(kChannels, 0.0f));
  std::vector<float> times;
  std::vector<float> values;
  for (int i = 1; i <= kFrames; ++i) {
    times.push_back(static_cast<float>(i) * 0.01f);
    values.push_back(static_cast<float>(i % 2));
  }
  for (int channel = 0; channel < kChannels; ++channel) many.add(channel, kBegin, times, values);
  EXPECT_EQ(outputs(many.advance(kBegin + secondsToMicroseconds(times[2]))).size(),
            static_cast<std::size_t>(kChannels));
  EXPECT_EQ(many.state(0, kBegin + secondsToMicroseconds(times[4])).now, 1.0f);
  many.advance(kBegin + 41 * kSecond);
  EXPECT_TRUE(many.isResting());
}

}  // namespace
}  // namespace HB
