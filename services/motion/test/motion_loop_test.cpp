#include "services/motion/src/motion_loop.h"

#include <gmock/gmock.h>

#include <atomic>
#include <map>
#include <stdexcept>
#include <string>

#include "framework/xo/log.h"

namespace HB {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

// Keeps what it is given and when.
struct Record {
  struct Write {
    xo::Duration at;
    std::map<int, float> values;
  };
  std::vector<Write> writes;
  std::map<int, float> shown;
  bool isBroken = false;
};

class RecordingDriver final : public LedDriver {
 public:
  RecordingDriver(Record& record, xo::TimePoint begin) : fRecord(record), fBegin(begin) {}
  std::string name() const override { return "recording"; }
  void write(const std::vector<int>& channels, const std::vector<float>& values) override {
    if (fRecord.isBroken) throw std::runtime_error("unplugged");
    Record::Write write{xo::clock().now() - fBegin, {}};
    for (std::size_t i = 0; i < channels.size(); ++i) {
      write.values[channels[i]] = fRecord.shown[channels[i]] = values[i];
    }
    fRecord.writes.push_back(write);
  }

 private:
  Record& fRecord;
  const xo::TimePoint fBegin;
};

class MotionLoopTest : public testing::Test {
 protected:
  static std::vector<std::unique_ptr<LedDriver>> one(std::unique_ptr<LedDriver> driver) {
    std::vector<std::unique_ptr<LedDriver>> list;
    list.push_back(std::move(driver));
    return list;
  }
  void start(int channel, std::vector<float> times, std::vector<float> values) {
    const MotionLoop::Move move{channel, times, values};
    loop.start({&move, 1});
  }
  std::vector<xo::Duration> instants() const {
    std::vector<xo::Duration> all;
    for (const auto& write : record.writes) all.push_back(write.at);
    return all;
  }

  xo::ManualClock clock;
  Record record;
  xo::Ending ending;
  MotionLoop loop{std::vector<float>(3, 0.0f),
                  one(std::make_unique<RecordingDriver>(record, clock.now())), &ending};
};

TEST_F(MotionLoopTest, WritesValuesAtTimeZeroBeforeTheCallReturnsAndDoesNotTick) {
  start(1, {0}, {0.5f});
  EXPECT_THAT(record.shown, ElementsAre(Pair(1, 0.5f)));
  clock.advance(seconds(1));
  EXPECT_EQ(record.writes.size(), 1u);
}

TEST_F(MotionLoopTest, TicksEveryTenMillisecondsFromTheCallOnAndThenSleeps) {
  clock.advance(milliseconds(3));
  start(1, {0.03f}, {0.3f});
  clock.advance(seconds(5));
  EXPECT_THAT(instants(), ElementsAre(milliseconds(13), milliseconds(23), milliseconds(33)));
  EXPECT_EQ(record.shown[1], 0.3f);
}

TEST_F(MotionLoopTest, KeepsItsGridWhileAnythingMoves) {
  start(1, {0.02f}, {1});
  clock.advance(milliseconds(15));
  start(2, {0.02f}, {1});
  clock.advance(seconds(1));
  EXPECT_THAT(instants(),
              ElementsAre(milliseconds(10), milliseconds(20), milliseconds(30), milliseconds(40)));
}

TEST_F(MotionLoopTest, BeginsANewGridAfterItSlept) {
  start(1, {0.01f}, {1});
  clock.advance(milliseconds(17));
  start(1, {0.01f}, {0});
  clock.advance(seconds(1));
  EXPECT_THAT(instants(), ElementsAre(milliseconds(10), milliseconds(27)));
}

TEST_F(MotionLoopTest, SleepsWhileAValueIsHeld) {
  start(1, {0, 2, 2.01f}, {1, 1, 0});
  clock.advance(seconds(5));
  EXPECT_THAT(instants(), ElementsAre(milliseconds(0), milliseconds(2010)));
  EXPECT_EQ(record.shown[1], 0.0f);
}

TEST_F(MotionLoopTest, IsWokenFromAHeldValueByAnewMovement) {
  start(1, {0, 2}, {1, 1});
  clock.advance(milliseconds(15));
  start(2, {0.01f}, {1});
  clock.advance(milliseconds(30));
  EXPECT_THAT(instants(), ElementsAre(milliseconds(0), milliseconds(20), milliseconds(30)));
}

TEST_F(MotionLoopTest, SleepsForEverOverKeyFramesBeyondItsClock) {
  start(1, {0, 1e30f}, {1, 1});
  clock.advance(seconds(100));
  EXPECT_EQ(record.writes.size(), 1u);
  start(2, {0.01f}, {1});
  clock.advance(seconds(1));
  EXPECT_EQ(record.shown[2], 1.0f);
}

TEST_F(MotionLoopTest, ShowsAllChannelsOfACallInTheSameTick) {
  const std::vector<float> time{1};
  const std::vector<float> value{1};
  const std::vector<MotionLoop::Move> moves{{0, time, value}, {1, time, value}, {2, time, value}};
  loop.start(moves);
  clock.advance(seconds(2));
  ASSERT_EQ(record.writes.size(), 100u);
  for (const auto& write : record.writes) {
    EXPECT_EQ(write.values.size(), 3u);
    EXPECT_EQ(write.values.at(0), write.values.at(2));
  }
  EXPECT_EQ(record.shown[1], 1.0f);
}

TEST_F(MotionLoopTest, SupersedesAFadeByAValueAtOnceWithoutAnotherTick) {
  start(1, {1}, {1});
  clock.advance(milliseconds(500));
  const auto ticks = record.writes.size();
  start(1, {0}, {0.25f});
  clock.advance(seconds(1));
  EXPECT_EQ(record.shown[1], 0.25f);
  EXPECT_EQ(record.writes.size(), ticks + 1);
}

TEST_F(MotionLoopTest, TellsStatesAtOneInstant) {
  start(1, {1}, {2});
  start(2, {0}, {0.5f});
  clock.advance(milliseconds(255));
  const std::vector<int> channels{2, 1};
  const auto states = loop.states(channels);
  EXPECT_EQ(states[0].now, 0.5f);
  EXPECT_EQ(states[1].now, 0.51f);
  EXPECT_EQ(states[1].asked, 2.0f);
  EXPECT_EQ(states[1].target, 1.0f);
  EXPECT_FLOAT_EQ(states[1].secondsLeft, 0.745f);
}

TEST_F(MotionLoopTest, GoesOnWhenADriverFailsAndRepeatsEverythingAfterwards) {
  std::vector<std::string> errors;
  const xo::log::Listener listener(xo::log::Level::kError,
                                   [&](const auto& message) { errors.emplace_back(message.text); });
  record.isBroken = true;
  start(1, {0, 0.05f}, {0.5f, 1});
  clock.advance(milliseconds(20));
  EXPECT_THAT(errors, ElementsAre("LED driver recording failed: unplugged"));
  EXPECT_THAT(record.shown, IsEmpty());
  start(2, {0}, {0.75f});
  record.isBroken = false;
  clock.advance(milliseconds(10));
  EXPECT_THAT(record.shown, ElementsAre(Pair(0, 0.0f), Pair(1, 0.8f), Pair(2, 0.75f)));
  record.isBroken = true;
  clock.advance(milliseconds(20));
  EXPECT_EQ(errors.size(), 2u) << "once per failure";
}

TEST_F(MotionLoopTest, NeverShowsAnOlderValueAfterANewerOne) {
  // The tick races calls; each call's value at time 0 must stand until the next.
  std::atomic<bool> done{false};
  std::thread driver([&] {
    while (!done) clock.advance(milliseconds(10));
  });
  int lost = 0;
  for (int i = 0; i < 200; ++i) {
    start(0, {10}, {1});
    const float value = static_cast<float>(i % 7) / 8.0f;
    start(0, {0}, {value});
    const std::vector<int> channel{0};
    if (loop.states(channel).front().now != value) ++lost;
  }
  done = true;
  driver.join();
  EXPECT_EQ(lost, 0);
  EXPECT_EQ(record.shown[0], static_cast<float>(199 % 7) / 8.0f);
}

}  // namespace
}  // namespace HB
