#include "framework/xo/clock.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <future>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "framework/xo/call.h"
#include "framework/xo/event_loop.h"
#include "framework/xo/os.h"

namespace {

using std::chrono::hours;
using std::chrono::microseconds;
using std::chrono::milliseconds;
using xo::Duration;
using xo::ManualClock;
using xo::secondsToDuration;
using xo::TimePoint;

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInf = std::numeric_limits<float>::infinity();

TEST(SecondsToDuration, MultipliesInSinglePrecisionAndDropsTheFraction) {
  EXPECT_EQ(secondsToDuration(0.7f), microseconds(700000));
  EXPECT_EQ(secondsToDuration(1.0f), microseconds(1000000));
  EXPECT_EQ(secondsToDuration(0.0000004f), microseconds(0));
  EXPECT_EQ(secondsToDuration(0.0000019f), microseconds(1));
  EXPECT_EQ(secondsToDuration(-0.0000019f), microseconds(-1));
  EXPECT_EQ(secondsToDuration(-0.5f), milliseconds(-500));
  EXPECT_EQ(secondsToDuration(-0.0f), microseconds(0));
}

TEST(SecondsToDuration, HasADefinedResultForEveryFloat) {
  EXPECT_EQ(secondsToDuration(kNan), Duration::zero());
  EXPECT_EQ(secondsToDuration(kInf), Duration::max());
  EXPECT_EQ(secondsToDuration(-kInf), Duration::min());
  EXPECT_EQ(secondsToDuration(std::numeric_limits<float>::max()), Duration::max());
  EXPECT_EQ(secondsToDuration(1e12f), Duration::max());  // fits microseconds, not nanoseconds
  EXPECT_EQ(secondsToDuration(-1e12f), Duration::min());
  EXPECT_EQ(secondsToDuration(9e9f), microseconds(8999999278940160));
  EXPECT_EQ(secondsToDuration(std::numeric_limits<float>::denorm_min()), Duration::zero());
}

TEST(After, SaturatesInBothDirections) {
  const TimePoint now = TimePoint(hours(1));
  EXPECT_EQ(xo::after(now, milliseconds(5)), now + milliseconds(5));
  EXPECT_EQ(xo::after(now, milliseconds(-5)), now - milliseconds(5));
  EXPECT_EQ(xo::after(now, Duration::max()), xo::kNever);
  EXPECT_EQ(xo::after(TimePoint(hours(-1)), Duration::min()), TimePoint::min());
}

TEST(RealClock, WaitsUntilTheDeadline) {
  std::mutex mutex;
  std::condition_variable wake;
  std::unique_lock lock(mutex);
  const TimePoint deadline = xo::clock().now() + milliseconds(2);
  while (xo::clock().waitUntil(lock, wake, deadline)) {
  }
  EXPECT_GE(xo::clock().now(), deadline);
  EXPECT_FALSE(xo::clock().waitUntil(lock, wake, deadline));
}

TEST(ManualClock, StandsStillUntilItIsAdvanced) {
  ManualClock clock;
  const TimePoint start = xo::clock().now();
  EXPECT_EQ(xo::clock().now(), start);
  EXPECT_EQ(clock.now(), start);
  clock.advance(hours(100));
  EXPECT_EQ(xo::clock().now(), start + hours(100));
  clock.advance(milliseconds(-5));
  EXPECT_EQ(xo::clock().now(), start + hours(100));
}

TEST(ManualClock, ExistsOnceAtATime) {
  const ManualClock clock;
  EXPECT_THROW(ManualClock(), std::logic_error);
}

TEST(ManualClock, GivesWayToTheRealClock) {
  { const ManualClock clock; }
  const TimePoint before = xo::clock().now();
  while (xo::clock().now() == before) {
  }
}

TEST(ManualClockAdvance, StopsAtEveryDeadlineInOrder) {
  ManualClock clock;
  const TimePoint start = clock.now();
  std::mutex mutex;
  std::vector<std::string> events;
  const auto sleepTwice = [&](const std::string& name, int first, int second) {
    for (const int pause : {first, second}) {
      xo::os::msleep(pause);
      const std::lock_guard lock(mutex);
      const auto at = std::chrono::duration_cast<milliseconds>(clock.now() - start);
      events.push_back(name + std::to_string(at.count()));
    }
  };
  std::thread a(sleepTwice, "a", 10, 25);
  std::thread b(sleepTwice, "b", 20, 5);
  clock.awaitSleepers(2);
  clock.advance(milliseconds(100));
  EXPECT_EQ(events, (std::vector<std::string>{"a10", "b20", "b25", "a35"}));
  a.join();
  b.join();
}

TEST(ManualClockAdvance, ReturnsWhenTheWokenAreParkedAgainOrGone) {
  for (int round = 0; round < 50; ++round) {
    ManualClock clock;
    std::atomic<int> steps{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
      threads.emplace_back([&] {
        for (int step = 0; step < 5; ++step) {
          xo::os::msleep(10);
          ++steps;
        }
      });
    }
    clock.awaitSleepers(8);
    for (int step = 1; step <= 5; ++step) {
      clock.advance(milliseconds(10));
      ASSERT_EQ(steps, 8 * step);
    }
    for (auto& thread : threads) thread.join();
  }
}

TEST(ManualClockAdvance, WaitsForThreadsThatAWokenOneNotifies) {
  for (int round = 0; round < 50; ++round) {
    ManualClock clock;
    const xo::Promise<int> promise;
    std::atomic<int> seen{0};
    std::thread waiting([&, future = promise.future()] { seen = future.value(); });
    std::thread answering([&] {
      xo::os::msleep(10);
      promise.setValue(7);
    });
    clock.awaitSleepers(1);
    // The waiting thread may not have come to its wait yet; then it does not block at all.
    clock.advance(milliseconds(10));
    answering.join();
    waiting.join();
    ASSERT_EQ(seen, 7);
  }
}

TEST(ManualClockAdvance, FollowsAChainOfFuturesToItsEnd) {
  ManualClock clock;
  std::atomic<int> answered{0};
  std::vector<std::thread> threads;
  std::vector<xo::Promise<void>> promises(4);
  for (std::size_t i = 1; i < promises.size(); ++i) {
    threads.emplace_back([&, i, before = promises[i - 1].future()] {
      before.wait(1000000);
      ++answered;
      promises[i].setValue();
    });
  }
  clock.awaitSleepers(3);  // all three wait with a time-out
  std::thread first([&] {
    xo::os::msleep(10);
    promises[0].setValue();
  });
  clock.awaitSleepers(4);
  clock.advance(milliseconds(10));
  EXPECT_EQ(answered, 3);
  for (auto& thread : threads) thread.join();
  first.join();
}

TEST(ManualClockAdvance, DoesNotWaitForAThreadBlockedOnSomethingElse) {
  ManualClock clock;
  std::promise<void> mayGo;
  std::thread blocked([&] {
    xo::os::msleep(10);
    mayGo.get_future().wait();  // no framework wait: the clock cannot know
  });
  clock.awaitSleepers(1);
  clock.advance(milliseconds(10));
  clock.advance(milliseconds(10));
  mayGo.set_value();
  blocked.join();
}

TEST(ManualClockAdvance, LetsAThreadGoWhoseOutermostCallHasEnded) {
  ManualClock clock;
  std::atomic<bool> isOver{false};
  std::atomic<int> turns{0};
  std::thread caller([&] {
    {
      const xo::CallScope scope(nullptr);
      xo::os::msleep(10);
    }
    while (!isOver) ++turns;  // busy, but no longer with the framework
  });
  clock.awaitSleepers(1);
  clock.advance(milliseconds(10));
  EXPECT_EQ(clock.now(), xo::clock().now());
  isOver = true;
  caller.join();
}

TEST(ManualClockAwaitSleepers, DoesNotCountTimelessWaits) {
  ManualClock clock;
  const xo::Promise<void> promise;
  std::thread timeless([future = promise.future()] { future.wait(); });
  std::thread sleeper([] { xo::os::msleep(10); });
  clock.awaitSleepers(1);
  clock.advance(milliseconds(10));
  sleeper.join();
  promise.setValue();
  timeless.join();
}

TEST(ManualClockAwaitIdle, ReturnsWhenEveryPostedStepIsTaken) {
  ManualClock clock;
  for (int round = 0; round < 200; ++round) {
    std::atomic<int> steps{0};
    for (int i = 0; i < 20; ++i) {
      xo::getEventLoop().post([&] {
        ++steps;
        xo::getEventLoop().post([&] { ++steps; });
      });
    }
    clock.awaitIdle();
    ASSERT_EQ(steps, 40);
  }
}

TEST(ManualClockAdvance, TakesTheStepsThatDelaysSetGoing) {
  for (int round = 0; round < 100; ++round) {
    ManualClock clock;
    std::atomic<int> steps{0};
    const auto chain = xo::getEventLoop()
                           .delay(milliseconds(10))
                           .andThen([&] { ++steps; })
                           .andThen([&] { return xo::getEventLoop().delay(milliseconds(10)); })
                           .andThen([&] { ++steps; });
    clock.advance(milliseconds(9));
    ASSERT_EQ(steps, 0);
    clock.advance(milliseconds(1));
    ASSERT_EQ(steps, 1);
    clock.advance(milliseconds(10));
    ASSERT_EQ(steps, 2);
    ASSERT_TRUE(chain.hasValue());
  }
}

TEST(ManualClock, LetsItsSleepersGoOnInRealTimeWhenItGoes) {
  auto clock = std::make_unique<ManualClock>();
  std::thread sleeper([] { xo::os::msleep(5); });
  clock->awaitSleepers(1);
  clock.reset();
  sleeper.join();
}

}  // namespace
