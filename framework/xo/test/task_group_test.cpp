#include "framework/xo/task_group.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "framework/xo/event_loop.h"
#include "framework/xo/log.h"
#include "framework/xo/os.h"

namespace {

using std::chrono::hours;
using std::chrono::milliseconds;
using xo::Ending;
using xo::ManualClock;
using xo::TaskGroup;

TEST(TaskGroupPost, RunsATaskOnTheEventLoop) {
  ManualClock clock;
  TaskGroup tasks(nullptr);
  std::string thread;
  tasks.post([&] { thread = xo::os::currentThreadName(); });
  clock.awaitIdle();
  EXPECT_EQ(thread, "EventLoop");
}

TEST(TaskGroupPost, RunsATaskOnceItsDelayIsOver) {
  ManualClock clock;
  TaskGroup tasks(nullptr);
  std::atomic<int> runs{0};
  tasks.post([&] { ++runs; }, milliseconds(150));
  clock.advance(milliseconds(149));
  EXPECT_EQ(runs, 0);
  clock.advance(milliseconds(1));
  EXPECT_EQ(runs, 1);
  clock.advance(hours(1));
  EXPECT_EQ(runs, 1);
}

TEST(TaskGroupPost, LetsATaskPostTheNextOne) {
  ManualClock clock;
  TaskGroup tasks(nullptr);
  std::vector<int> order;
  tasks.post([&] {
    order.push_back(1);
    tasks.post([&] {
      order.push_back(2);
      tasks.post([&] { order.push_back(3); }, milliseconds(10));
    });
  });
  clock.awaitIdle();
  EXPECT_EQ(order, (std::vector<int>{1, 2}));
  clock.advance(milliseconds(10));
  EXPECT_EQ(order, (std::vector<int>{1, 2, 3}));
}

TEST(TaskGroupPost, LogsWhatATaskThrowsAndGoesOn) {
  std::vector<std::string> heard;
  const xo::log::Listener listener(xo::log::Level::kError, [&](const xo::log::Message& message) {
    heard.push_back(std::string(message.category) + ": " + std::string(message.text));
  });
  ManualClock clock;
  TaskGroup tasks(nullptr);
  tasks.post([] { throw std::runtime_error("boom"); });
  clock.awaitIdle();
  std::atomic<bool> hasRun{false};
  tasks.post([&] { hasRun = true; });
  clock.awaitIdle();
  EXPECT_EQ(heard, std::vector<std::string>{"TaskGroup: A task failed: boom"});
  EXPECT_TRUE(hasRun);
}

TEST(TaskGroupPost, DestroysATaskAtOnceWhenTheGroupIsClosed) {
  TaskGroup tasks(nullptr);
  tasks.close();
  const auto captured = std::make_shared<int>();
  tasks.post([captured] { ADD_FAILURE(); });
  tasks.post([captured] { ADD_FAILURE(); }, milliseconds(1));
  EXPECT_EQ(captured.use_count(), 1);
}

TEST(TaskGroupPost, DestroysATaskAfterItHasRun) {
  ManualClock clock;
  TaskGroup tasks(nullptr);
  const auto captured = std::make_shared<int>();
  tasks.post([captured] {});
  clock.awaitIdle();
  EXPECT_EQ(captured.use_count(), 1);
}

TEST(TaskGroupEnding, IsInForceDuringATask) {
  ManualClock clock;
  Ending ending;
  TaskGroup tasks(&ending);
  Ending* seen = nullptr;
  tasks.post([&] { seen = xo::CallScope::currentEnding(); });
  clock.awaitIdle();
  EXPECT_EQ(seen, &ending);
}

TEST(TaskGroupEnding, EndsTheSleepOfATask) {
  ManualClock clock;
  Ending ending;
  TaskGroup tasks(&ending);
  std::atomic<bool> isAwake{false};
  tasks.post([&] {
    xo::os::msleep(3'600'000);
    isAwake = true;
  });
  clock.awaitSleepers(1);
  ending.raise();
  tasks.close();
  EXPECT_TRUE(isAwake);
}

TEST(TaskGroupEnding, DestroysWhatHasNotStarted) {
  ManualClock clock;
  Ending ending;
  TaskGroup tasks(&ending);
  const auto captured = std::make_shared<int>();
  tasks.post([captured] { ADD_FAILURE(); }, milliseconds(1));
  ending.raise();
  EXPECT_EQ(captured.use_count(), 1);
  clock.advance(milliseconds(1));
}

TEST(TaskGroupEnding, RefusesNewTasksAndEntries) {
  ManualClock clock;
  Ending ending;
  TaskGroup tasks(&ending);
  ending.raise();
  const auto captured = std::make_shared<int>();
  tasks.post([captured] { ADD_FAILURE(); });
  EXPECT_EQ(captured.use_count(), 1);
  EXPECT_FALSE(tasks.enter());
  clock.awaitIdle();
}

TEST(TaskGroupEnding, MayComeAfterTheGroup) {
  Ending ending;
  { const TaskGroup tasks(&ending); }
  ending.raise();
}

TEST(TaskGroupClose, DestroysWhatHasNotStarted) {
  ManualClock clock;
  std::optional<TaskGroup> tasks(std::in_place, nullptr);
  const auto captured = std::make_shared<int>();
  for (int i = 1; i <= 10; ++i) {
    tasks->post([captured] { ADD_FAILURE(); }, milliseconds(i));
  }
  EXPECT_EQ(captured.use_count(), 11);
  tasks->close();
  EXPECT_EQ(captured.use_count(), 1);
  clock.advance(milliseconds(5));
  tasks.reset();
  clock.advance(hours(1));  // the loop still has the numbers of the rest
}

TEST(TaskGroupClose, HappensInTheDestructor) {
  ManualClock clock;
  const auto captured = std::make_shared<int>();
  {
    TaskGroup tasks(nullptr);
    tasks.post([captured] { ADD_FAILURE(); }, milliseconds(1));
  }
  EXPECT_EQ(captured.use_count(), 1);
  clock.advance(milliseconds(1));
}

/// Counts when the last copy of a task goes, after a moment in which others could overtake it.
struct SlowToGo {
  explicit SlowToGo(std::atomic<bool>& hasGone) : gone(hasGone) {}
  ~SlowToGo() {
    for (int i = 0; i < 1000; ++i) std::this_thread::yield();
    gone = true;
  }
  std::atomic<bool>& gone;
};

TEST(TaskGroupClose, WaitsForWhatRunsAndForItsDestruction) {
  TaskGroup tasks(nullptr);
  std::atomic<bool> hasStarted{false};
  std::atomic<bool> mayEnd{false};
  std::atomic<bool> hasGone{false};
  std::atomic<bool> isClosed{false};
  tasks.post([&, slow = std::make_shared<SlowToGo>(hasGone)] {
    hasStarted = true;
    while (!mayEnd) std::this_thread::yield();
  });
  while (!hasStarted) std::this_thread::yield();
  std::thread closer([&] {
    tasks.close();
    EXPECT_TRUE(mayEnd);
    EXPECT_TRUE(hasGone);
    isClosed = true;
  });
  while (tasks.enter()) std::this_thread::yield();  // it has begun to close
  EXPECT_FALSE(isClosed);
  mayEnd = true;
  closer.join();
}

TEST(TaskGroupClose, LetsTheTasksThatItDestroysPost) {
  struct Poster {
    explicit Poster(TaskGroup* given) : tasks(given) {}
    TaskGroup* tasks;
    ~Poster() {
      if (tasks != nullptr) tasks->post([] { ADD_FAILURE(); });
    }
  };
  ManualClock clock;
  TaskGroup tasks(nullptr);
  tasks.post([poster = std::make_shared<Poster>(&tasks)] { ADD_FAILURE(); }, milliseconds(1));
  tasks.close();
  clock.advance(milliseconds(1));
}

TEST(TaskGroupClose, IsHarmlessWhenRepeated) {
  TaskGroup tasks(nullptr);
  tasks.close();
  tasks.close();
}

TEST(TaskGroupEnter, GivesATokenUntilTheGroupIsClosed) {
  TaskGroup tasks(nullptr);
  EXPECT_TRUE(tasks.enter());
  tasks.close();
  EXPECT_FALSE(tasks.enter());
}

TEST(TaskGroupEnter, KeepsCloseWaiting) {
  TaskGroup tasks(nullptr);
  std::atomic<bool> hasLeft{false};
  auto token = std::make_unique<xo::Gate::Token>(tasks.enter());
  std::thread closer([&] {
    tasks.close();
    EXPECT_TRUE(hasLeft);
  });
  while (tasks.enter()) std::this_thread::yield();
  hasLeft = true;
  token.reset();
  closer.join();
}

TEST(TaskGroupClose, LeavesNothingRunningWhateverIsPostedMeanwhile) {
  for (int round = 0; round < 50; ++round) {
    std::atomic<bool> isClosed{false};
    std::atomic<int> lateRuns{0};
    const auto captured = std::make_shared<int>();
    TaskGroup tasks(nullptr);
    std::vector<std::thread> posters;
    for (int t = 0; t < 2; ++t) {
      posters.emplace_back([&] {
        for (int i = 0; i < 50; ++i) {
          tasks.post([&isClosed, &lateRuns, captured] {
            if (isClosed) ++lateRuns;
          });
        }
      });
    }
    if (round % 2 != 0) std::this_thread::yield();
    tasks.close();
    isClosed = true;
    for (auto& poster : posters) poster.join();
    EXPECT_EQ(lateRuns, 0);
    EXPECT_EQ(captured.use_count(), 1);
  }
}

TEST(TaskGroup, ClosingEndsWhatATaskThatRunsWaitsFor) {
  auto tasks = std::make_unique<xo::TaskGroup>(nullptr);
  auto promise = std::make_unique<xo::Promise<void>>();
  const auto future = promise->future();
  std::promise<void> hasBegun;
  tasks->post([&] {
    hasBegun.set_value();
    future.wait();  // of a task that never starts
  });
  tasks->post([kept = std::shared_ptr(std::move(promise))] {}, std::chrono::hours(1));
  hasBegun.get_future().wait();
  tasks->close();
  EXPECT_TRUE(future.hasError());
}

}  // namespace
