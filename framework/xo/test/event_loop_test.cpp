#include "framework/xo/event_loop.h"

#include <gtest/gtest.h>
#include <time.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "framework/xo/log.h"
#include "framework/xo/os.h"

namespace {

using std::chrono::hours;
using std::chrono::milliseconds;
using xo::Duration;
using xo::EventLoop;
using xo::ManualClock;

/// How often threads of that name have gone to sleep.
long sleepsBegun(const std::string& name) {
  long sleeps = 0;
  for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
    std::ifstream status(task.path() / "status");
    bool isOne = false;
    for (std::string line; std::getline(status, line);) {
      if (line == "Name:\t" + name) isOne = true;
      if (isOne && line.starts_with("voluntary_ctxt_switches:")) {
        sleeps += std::stol(line.substr(line.find('\t')));
      }
    }
  }
  return sleeps;
}

TEST(EventLoopPost, StartsWorkInTheOrderOfPosting) {
  ManualClock clock;
  EventLoop loop("test", 1);
  std::vector<int> order;
  for (int i = 0; i < 1000; ++i) loop.post([&order, i] { order.push_back(i); });
  clock.awaitIdle();
  ASSERT_EQ(order.size(), 1000u);
  for (int i = 0; i < 1000; ++i) EXPECT_EQ(order[static_cast<std::size_t>(i)], i);
}

TEST(EventLoopPost, LetsPiecesOverlapOnSeveralThreads) {
  std::promise<void> first;
  std::promise<void> second;
  EventLoop loop("test", 2);
  const auto waits = loop.async([&] {
    first.set_value();
    second.get_future().wait();
  });
  const auto answers = loop.async([&] {
    first.get_future().wait();
    second.set_value();
  });
  EXPECT_TRUE(waits.wait());  // one thread alone would never come to the second piece
  EXPECT_TRUE(answers.wait());
}

TEST(EventLoopPost, LogsWhatAPieceThrowsAndGoesOn) {
  std::vector<std::string> heard;
  const xo::log::Listener listener(xo::log::Level::kError, [&](const xo::log::Message& message) {
    heard.push_back(std::string(message.category) + ": " + std::string(message.text));
  });
  ManualClock clock;
  EventLoop loop("test", 1);
  std::atomic<bool> hasRun{false};
  loop.post([] { throw std::runtime_error("boom"); });
  loop.post([] { throw 7; });
  loop.post([&] { hasRun = true; });
  clock.awaitIdle();
  EXPECT_TRUE(hasRun);
  ASSERT_EQ(heard.size(), 2u);
  EXPECT_EQ(heard[0], "EventLoop: A posted task threw: boom");
  EXPECT_EQ(heard[1].rfind("EventLoop: A posted task threw: ", 0), 0u);
}

TEST(EventLoopPostAfter, RunsInTheOrderOfTimeAndThenOfPosting) {
  ManualClock clock;
  EventLoop loop("test", 1);
  std::vector<std::string> order;
  loop.postAfter(milliseconds(20), [&] { order.emplace_back("late"); });
  loop.postAfter(milliseconds(10), [&] { order.emplace_back("early"); });
  loop.postAfter(milliseconds(20), [&] { order.emplace_back("late, posted second"); });
  loop.postAfter(milliseconds(-5), [&] { order.emplace_back("now"); });
  clock.advance(milliseconds(19));
  EXPECT_EQ(order, (std::vector<std::string>{"now", "early"}));
  clock.advance(milliseconds(1));
  EXPECT_EQ(order, (std::vector<std::string>{"now", "early", "late", "late, posted second"}));
}

TEST(EventLoopAsync, GivesWhatItsTaskReturnsOrThrows) {
  ManualClock clock;
  EventLoop loop("test", 2);
  const auto value = loop.async([] { return 5; }, milliseconds(10));
  const auto error = loop.async([]() -> int { throw std::invalid_argument("bad"); });
  EXPECT_TRUE(value.isRunning());
  clock.advance(milliseconds(10));
  EXPECT_EQ(value.value(0), 5);
  EXPECT_EQ(error.errorText(), "bad");
}

TEST(EventLoopAsync, DoesNotStartWhenCancelledBefore) {
  ManualClock clock;
  EventLoop loop("test", 2);
  std::atomic<bool> hasRun{false};
  const auto future = loop.async([&] { hasRun = true; }, milliseconds(10));
  future.cancel();
  clock.advance(milliseconds(10));
  EXPECT_TRUE(future.isCancelled());
  EXPECT_FALSE(hasRun);
}

TEST(EventLoopAsync, RunsAlthoughItsFutureIsDropped) {
  ManualClock clock;
  EventLoop loop("test", 1);
  std::atomic<bool> hasRun{false};
  loop.async([&] { hasRun = true; }, milliseconds(10));
  clock.advance(milliseconds(10));
  EXPECT_TRUE(hasRun);
}

TEST(EventLoopDelay, IsReadyAfterItsTime) {
  ManualClock clock;
  EventLoop loop("test", 2);
  const auto future = loop.delay(milliseconds(100));
  const auto atOnce = loop.delay(Duration::zero());
  const auto negative = loop.delay(milliseconds(-100));
  clock.advance(milliseconds(99));
  EXPECT_TRUE(atOnce.hasValue());
  EXPECT_TRUE(negative.hasValue());
  EXPECT_TRUE(future.isRunning());
  EXPECT_EQ(loop.pendingDelays(), 1u);
  clock.advance(milliseconds(1));
  EXPECT_TRUE(future.hasValue());
  EXPECT_EQ(loop.pendingDelays(), 0u);
}

TEST(EventLoopDelay, NeverComesWhenItIsTooLong) {
  ManualClock clock;
  EventLoop loop("test", 1);
  const auto future = loop.delay(Duration::max());
  clock.advance(hours(24 * 365));
  EXPECT_TRUE(future.isRunning());
  future.cancel();
  EXPECT_TRUE(future.isCancelled());
}

TEST(EventLoopDelay, EndsAsCancelledAtOnceAndFreesItsTimer) {
  const ManualClock clock;  // nobody drives it
  EventLoop loop("test", 1);
  const auto future = loop.delay(hours(1));
  future.cancel();
  EXPECT_TRUE(future.isCancelled());
  EXPECT_EQ(loop.pendingDelays(), 0u);
}

TEST(EventLoopDelay, FreesItsTimerWhenTheLastCopyIsDropped) {
  const ManualClock clock;
  EventLoop loop("test", 1);
  auto future = std::make_unique<xo::Future<void>>(loop.delay(hours(1)));
  auto copy = std::make_unique<xo::Future<void>>(*future);
  future.reset();
  EXPECT_EQ(loop.pendingDelays(), 1u);
  copy.reset();
  EXPECT_EQ(loop.pendingDelays(), 0u);
}

TEST(EventLoopDelay, LivesOnForAContinuationWhoseFutureIsDropped) {
  ManualClock clock;
  EventLoop loop("test", 2);
  std::atomic<bool> hasRun{false};
  loop.delay(milliseconds(10)).andThen([&] { hasRun = true; });
  EXPECT_EQ(loop.pendingDelays(), 1u);
  clock.advance(milliseconds(10));
  clock.awaitIdle();
  EXPECT_TRUE(hasRun);
}

TEST(EventLoopDelay, EndsAmongAHundredThousandThatPend) {
  ManualClock clock;
  EventLoop loop("test", 2);
  constexpr int kCount = 100000;
  std::vector<xo::Future<void>> futures;
  futures.reserve(kCount);
  for (int i = 0; i < kCount; ++i) futures.push_back(loop.delay(hours(1) + milliseconds(i % 1000)));
  const auto early = loop.delay(milliseconds(1));
  EXPECT_EQ(loop.pendingDelays(), 100001u);
  clock.advance(milliseconds(1));
  EXPECT_TRUE(early.hasValue());
  futures.clear();
  EXPECT_EQ(loop.pendingDelays(), 0u);
}

TEST(EventLoopDelay, EndsInTimeAfterADroppedOneThatWouldHaveEndedBefore) {
  ManualClock clock;
  EventLoop loop("test", 2);
  (void)loop.delay(milliseconds(10));  // somebody still waits for its time
  const auto kept = loop.delay(milliseconds(20));
  clock.advance(milliseconds(19));
  EXPECT_FALSE(kept.isFinished());
  clock.advance(milliseconds(1));
  EXPECT_TRUE(kept.hasValue());
}

TEST(EventLoopDelay, WakesNobodyAfterADroppedOneThatWouldHaveEndedBefore) {
  EventLoop loop("quiet", 2);
  const auto isAsleep = [&] {
    (void)loop.delay(hours(1));
    return sleepsBegun("quiet") > 2;
  };
  while (!isAsleep()) std::this_thread::yield();  // until one waits for an hour to pass
  const auto before = sleepsBegun("quiet");
  for (int i = 0; i < 1000; ++i) {
    (void)loop.delay(hours(2));
    std::this_thread::yield();  // whoever is woken gets to run
  }
  EXPECT_LT(sleepsBegun("quiet"), before + 10);
}

TEST(EventLoop, NamesItsThreads) {
  EventLoop loop("a rather long name", 1);
  EXPECT_EQ(loop.async([] { return xo::os::currentThreadName(); }).value(), "a rather long name");
  EXPECT_EQ(xo::getEventLoop().async([] { return xo::os::currentThreadName(); }).value(),
            "EventLoop");
}

TEST(EventLoop, WaitsAtItsEndForWhatRunsAndDropsTheRest) {
  const ManualClock clock;
  auto loop = std::make_unique<EventLoop>("test", 1);
  std::promise<void> hasStarted;
  const auto running = loop->async([&, raw = loop.get()] {
    hasStarted.set_value();
    while (!raw->async([] {}).hasError()) {  // until the end has begun: it refuses work from then
    }
    return 1;
  });
  const auto queued = loop->async([] { return 2; });
  const auto delayed = loop->async([] { return 3; }, hours(1));
  const auto pending = loop->delay(hours(1));
  hasStarted.get_future().wait();
  loop.reset();
  EXPECT_EQ(running.value(0), 1);
  for (const auto& dropped : {queued.errorText(), delayed.errorText(), pending.errorText()}) {
    EXPECT_EQ(dropped, "The promise was dropped without an answer");
  }
}

TEST(EventLoop, WorksWhileAllItsThreadsButOneSleep) {
  ManualClock clock;
  EventLoop loop("test", 2);
  std::atomic<bool> hasSlept{false};
  loop.post([&] {
    xo::os::msleep(100);
    hasSlept = true;
  });
  clock.awaitSleepers(1);
  std::atomic<int> steps{0};
  loop.postAfter(milliseconds(10), [&] { ++steps; });
  loop.post([&] { ++steps; });
  clock.advance(milliseconds(10));
  EXPECT_EQ(steps, 2);
  EXPECT_FALSE(hasSlept);
  clock.advance(milliseconds(90));
  EXPECT_TRUE(hasSlept);
}

TEST(EventLoop, TakesDelaysFromManyThreads) {
  ManualClock clock;
  EventLoop loop("test", 3);
  std::atomic<int> steps{0};
  std::vector<std::thread> threads;
  for (int part = 0; part < 4; ++part) {
    threads.emplace_back([&, part] {
      for (int i = 0; i < 100; ++i) {
        loop.postAfter(milliseconds(1 + (i * 7 + part) % 50), [&] { ++steps; });
        loop.post([&] { ++steps; });
        loop.delay(milliseconds(i)).cancel();
      }
    });
  }
  for (auto& thread : threads) thread.join();
  clock.advance(milliseconds(50));
  EXPECT_EQ(steps, 800);
}

TEST(EventLoop, KeepsTimeWithoutAHandDrivenClock) {
  EventLoop loop("test", 2);
  const auto before = std::chrono::steady_clock::now();
  EXPECT_TRUE(loop.delay(milliseconds(3)).wait());
  EXPECT_GE(std::chrono::steady_clock::now() - before, milliseconds(3));
}

TEST(EventLoop, SleepsWhileNothingIsDue) {
  EventLoop loop("test", 2);
  const auto pending = loop.delay(hours(1));
  // Both threads are asleep when their own processor time stands still.
  const auto ticks = [&] {
    timespec used{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
    return used.tv_sec * 1000000000 + used.tv_nsec;
  };
  EXPECT_TRUE(loop.delay(milliseconds(1)).wait());
  const auto before = ticks();
  EXPECT_TRUE(loop.delay(milliseconds(30)).wait());
  EXPECT_LT(ticks() - before, 25000000);
}

}  // namespace
