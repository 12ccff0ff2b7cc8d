#include "framework/xo/periodic_task.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "framework/xo/call.h"
#include "framework/xo/clock.h"
#include "framework/xo/log.h"
#include "framework/xo/os.h"

namespace {

using std::chrono::milliseconds;
using xo::ManualClock;
using xo::PeriodicTask;

// A task of 10 ms that notes when it ticks, in milliseconds since its making.
struct Ticker {
  explicit Ticker(std::function<void()> during = [] {}) {
    task.setName("ticker");
    task.setUsPeriod(10000);
    task.setCallback([this, during = std::move(during)] {
      const auto at = std::chrono::duration_cast<milliseconds>(xo::clock().now() - start);
      times.push_back(static_cast<int>(at.count()));
      during();
    });
  }
  const xo::TimePoint start = xo::clock().now();
  std::vector<int> times;  // read it while the clock stands and the task is parked
  PeriodicTask task;
};

TEST(PeriodicTask, TicksAtOnceWhenImmediateAndThenAtEveryPeriod) {
  ManualClock clock;
  Ticker ticker;
  EXPECT_FALSE(ticker.task.isRunning());
  ticker.task.start(true);
  EXPECT_TRUE(ticker.task.isRunning());
  clock.advance(milliseconds(0));
  EXPECT_EQ(ticker.times, (std::vector<int>{0}));
  clock.advance(milliseconds(35));
  EXPECT_EQ(ticker.times, (std::vector<int>{0, 10, 20, 30}));
}

TEST(PeriodicTask, WaitsOnePeriodWhenNotImmediate) {
  ManualClock clock;
  Ticker ticker;
  ticker.task.start(false);
  clock.advance(milliseconds(9));
  EXPECT_TRUE(ticker.times.empty());
  clock.advance(milliseconds(11));
  EXPECT_EQ(ticker.times, (std::vector<int>{10, 20}));
}

TEST(PeriodicTask, StartsOnceHoweverOftenItIsStarted) {
  ManualClock clock;
  Ticker ticker;
  ticker.task.start(true);
  clock.advance(milliseconds(5));
  ticker.task.start(true);
  clock.advance(milliseconds(5));
  EXPECT_EQ(ticker.times, (std::vector<int>{0, 10}));
}

TEST(PeriodicTask, KeepsToItsGridAndSkipsWhatFellIntoAnOverlongTick) {
  ManualClock clock;
  int number = 0;
  Ticker ticker([&] {
    if (number++ == 1) xo::os::msleep(35);  // from 10 to 45: 20 and 30 are skipped, 40 comes late
  });
  ticker.task.start(true);
  clock.advance(milliseconds(70));
  EXPECT_EQ(ticker.times, (std::vector<int>{0, 10, 45, 50, 60, 70}));
}

TEST(PeriodicTask, FollowsBackToBackWhenEveryTickIsLongerThanThePeriod) {
  ManualClock clock;
  Ticker ticker([] { xo::os::msleep(20); });
  ticker.task.setUsPeriod(400);
  ticker.task.start(true);
  clock.advance(milliseconds(60));
  EXPECT_EQ(ticker.times, (std::vector<int>{0, 20, 40, 60}));
  std::thread driver([&] {
    while (ticker.task.isRunning()) std::this_thread::yield();  // else one more tick would begin
    clock.advance(milliseconds(20));
  });
  ticker.task.stop();
  driver.join();
}

TEST(PeriodicTaskStop, FromOutsideEndsTheTicks) {
  ManualClock clock;
  Ticker ticker;
  ticker.task.start(true);
  clock.advance(milliseconds(10));
  ticker.task.stop();
  ticker.task.stop();
  EXPECT_FALSE(ticker.task.isRunning());
  clock.advance(milliseconds(50));
  EXPECT_EQ(ticker.times, (std::vector<int>{0, 10}));
}

TEST(PeriodicTaskStop, FromOutsideWaitsForTheRunningTick) {
  ManualClock clock;
  std::atomic<bool> isInside{false};
  Ticker ticker([&] {
    isInside = true;
    xo::os::msleep(5);
    isInside = false;
  });
  ticker.task.start(true);
  clock.awaitSleepers(1);
  EXPECT_TRUE(isInside);
  std::thread stopper([&] {
    ticker.task.stop();
    EXPECT_FALSE(isInside);
  });
  while (ticker.task.isRunning()) std::this_thread::yield();
  EXPECT_TRUE(isInside);
  clock.advance(milliseconds(5));
  stopper.join();
  EXPECT_EQ(ticker.times.size(), 1u);
}

TEST(PeriodicTaskStop, FromInsideMakesThatTickTheLast) {
  ManualClock clock;
  PeriodicTask* task = nullptr;
  Ticker ticker([&] { task->stop(); });
  task = &ticker.task;
  ticker.task.start(true);
  clock.advance(milliseconds(50));
  EXPECT_EQ(ticker.times, (std::vector<int>{0}));
  EXPECT_FALSE(ticker.task.isRunning());
}

TEST(PeriodicTaskStop, FromOutsideWaitsForATickThatStoppedItself) {
  ManualClock clock;
  PeriodicTask* task = nullptr;
  std::atomic<bool> isInside{true};
  Ticker ticker([&] {
    task->stop();
    xo::os::msleep(5);
    isInside = false;
  });
  task = &ticker.task;
  ticker.task.start(true);
  clock.awaitSleepers(1);
  std::thread stopper([&] {
    task->stop();
    EXPECT_FALSE(isInside);
  });
  clock.advance(milliseconds(5));
  stopper.join();
}

TEST(PeriodicTaskStart, WorksAgainAfterAStopFromOutsideAndFromInside) {
  ManualClock clock;
  PeriodicTask* task = nullptr;
  bool stopsItself = true;
  Ticker ticker([&] {
    if (stopsItself) task->stop();
  });
  task = &ticker.task;
  task->start(true);
  clock.advance(milliseconds(15));
  stopsItself = false;
  task->start(true);
  clock.advance(milliseconds(12));
  task->stop();
  clock.advance(milliseconds(5));
  task->start(false);
  clock.advance(milliseconds(10));
  EXPECT_EQ(ticker.times, (std::vector<int>{0, 15, 25, 42}));
}

TEST(PeriodicTaskStart, DuringTheLastTickRunsOnWithoutOverlap) {
  ManualClock clock;
  PeriodicTask* task = nullptr;
  std::atomic<int> inside{0};
  int number = 0;
  Ticker ticker([&] {
    EXPECT_EQ(++inside, 1);
    if (number++ == 0) {
      task->stop();
      xo::os::msleep(5);
    }
    --inside;
  });
  task = &ticker.task;
  task->start(true);
  clock.awaitSleepers(1);
  EXPECT_FALSE(task->isRunning());
  task->start(true);
  EXPECT_TRUE(task->isRunning());
  clock.advance(milliseconds(26));
  EXPECT_EQ(ticker.times, (std::vector<int>{0, 5, 15, 25}));
}

TEST(PeriodicTaskStart, FromInsideAfterAStopFromInsideBeginsANewGrid) {
  ManualClock clock;
  PeriodicTask* task = nullptr;
  int number = 0;
  Ticker ticker([&] {
    if (number++ != 0) return;
    task->stop();
    task->setUsPeriod(3000);
    task->start(false);
  });
  task = &ticker.task;
  task->start(true);
  clock.advance(milliseconds(7));
  EXPECT_EQ(ticker.times, (std::vector<int>{0, 3, 6}));
}

TEST(PeriodicTaskDestruction, StopsAndWaits) {
  ManualClock clock;
  std::atomic<int> ticks{0};
  {
    PeriodicTask task;
    task.setUsPeriod(1000);
    task.setCallback([&] { ++ticks; });
    task.start(true);
    clock.advance(milliseconds(3));
  }
  clock.advance(milliseconds(10));
  EXPECT_EQ(ticks, 4);
}

TEST(PeriodicTaskTick, IsLoggedWhenItThrowsAndTheTaskGoesOn) {
  std::vector<std::string> heard;
  const xo::log::Listener listener(xo::log::Level::kError, [&](const xo::log::Message& message) {
    heard.push_back(std::string(message.category) + ": " + std::string(message.text));
  });
  ManualClock clock;
  Ticker ticker([] { throw std::runtime_error("boom"); });
  ticker.task.start(true);
  clock.advance(milliseconds(10));
  EXPECT_EQ(ticker.times.size(), 2u);
  EXPECT_EQ(heard, std::vector<std::string>(2, "PeriodicTask: A tick of ticker threw: boom"));
}

TEST(PeriodicTaskTick, RunsOnAThreadOfItsOwnNamedAsGiven) {
  ManualClock clock;
  std::string name;
  std::thread::id thread;
  Ticker ticker([&] {
    name = xo::os::currentThreadName();
    thread = std::this_thread::get_id();
  });
  ticker.task.setName("EyesRotationASR.periodic");
  ticker.task.start(true);
  clock.advance(milliseconds(1));
  EXPECT_EQ(name, "EyesRotationASR.periodic");
  EXPECT_NE(thread, std::this_thread::get_id());
}

TEST(PeriodicTaskTick, RunsAsPartOfTheModuleThatStartedTheTask) {
  ManualClock clock;
  xo::Ending ending;
  xo::Ending* seen = nullptr;
  Ticker ticker([&] {
    seen = xo::CallScope::currentEnding();
    xo::os::msleep(1000000);
  });
  {
    const xo::CallScope scope(&ending);
    ticker.task.start(true);
  }
  clock.awaitSleepers(1);
  EXPECT_EQ(seen, &ending);
  ending.raise();  // its sleeps end at once, so that stopping it needs nobody to drive the clock
  ticker.task.stop();
}

TEST(PeriodicTask, RefusesAPeriodBelowOneMicrosecondAndAMissingCallback) {
  PeriodicTask task;
  EXPECT_THROW(task.setUsPeriod(0), std::invalid_argument);
  EXPECT_THROW(task.setUsPeriod(-1), std::invalid_argument);
  EXPECT_THROW(task.start(true), std::logic_error);
  task.setCallback(nullptr);
  EXPECT_THROW(task.start(true), std::logic_error);
  EXPECT_FALSE(task.isRunning());
  task.stop();
}

TEST(PeriodicTask, TakesTheLongestPeriod) {
  ManualClock clock;
  Ticker ticker;
  ticker.task.setUsPeriod(std::numeric_limits<std::int64_t>::max());
  ticker.task.start(true);
  clock.advance(std::chrono::hours(1000));
  EXPECT_EQ(ticker.times, (std::vector<int>{0}));
}

TEST(PeriodicTaskCallback, IsReleasedByTheTimeStopReturns) {
  for (int round = 0; round < 100; ++round) {
    const auto token = std::make_shared<int>(1);
    PeriodicTask task;
    task.setUsPeriod(1);
    task.setCallback([token] {});
    task.start(true);
    task.stop();
    task.setCallback([] {});
    EXPECT_EQ(token.use_count(), 1);
  }
}

TEST(PeriodicTask, SurvivesStartsAndStopsFromManyThreads) {
  PeriodicTask task;
  std::atomic<int> inside{0};
  task.setName("contended");
  task.setUsPeriod(1);
  task.setCallback([&] {
    EXPECT_EQ(++inside, 1);
    --inside;
  });
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int round = 0; round < 100; ++round) {
        task.start(true);
        task.stop();
      }
    });
  }
  for (auto& thread : threads) thread.join();
  task.stop();
  EXPECT_EQ(inside, 0);
}

}  // namespace
