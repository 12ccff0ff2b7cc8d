// Threads for work that may block.
#include "framework/xo/worker_pool.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <future>
#include <latch>
#include <memory>
#include <thread>
#include <vector>

namespace xo {
namespace {

TEST(WorkerPool, RunsAsManyPiecesAtOnceAsItMayHaveThreads) {
  std::latch running(3);
  WorkerPool pool("Worker", 3);
  std::array<std::promise<void>, 3> done;
  for (auto& one : done) {
    pool.post([&running, &one] {
      running.arrive_and_wait();  // for ever, if they ran one after another
      one.set_value();
    });
  }
  for (auto& one : done) one.get_future().wait();
}

TEST(WorkerPool, StartsWorkInTheOrderOfItsPostingWithOneThread) {
  std::vector<int> order;
  std::promise<void> last;
  WorkerPool pool("Worker", 1);
  for (int i = 0; i < 100; ++i) {
    pool.post([&order, i] { order.push_back(i); });
  }
  pool.post([&last] { last.set_value(); });
  last.get_future().wait();
  ASSERT_EQ(order.size(), 100u);
  EXPECT_TRUE(std::ranges::is_sorted(order));
}

TEST(WorkerPool, EndingWaitsForWhatRunsAndDropsTheRest) {
  std::promise<void> hasBegun;
  std::promise<void> mayEnd;
  std::atomic<bool> hasEnded = false;
  bool hasRunLater = false;
  auto pool = std::make_unique<WorkerPool>("Worker", 1);
  pool->post([&] {
    hasBegun.set_value();
    mayEnd.get_future().wait();
    hasEnded = true;
  });
  const auto held = std::make_shared<int>(0);
  pool->post([&hasRunLater, held] { hasRunLater = true; });
  hasBegun.get_future().wait();
  std::thread ender([&] { pool.reset(); });
  while (held.use_count() > 1) std::this_thread::yield();  // dropped while the first still runs
  EXPECT_FALSE(hasEnded);
  mayEnd.set_value();
  ender.join();
  EXPECT_TRUE(hasEnded);
  EXPECT_FALSE(hasRunLater);
}

TEST(WorkerPool, APieceIsDestroyedBeforeItsThreadTakesTheNext) {
  std::promise<bool> isGone;
  WorkerPool pool("Worker", 1);
  auto held = std::make_shared<int>(0);
  const std::weak_ptr<int> watched = held;
  pool.post([held = std::move(held)] {});
  pool.post([&] { isGone.set_value(watched.expired()); });
  EXPECT_TRUE(isGone.get_future().get());
}

}  // namespace
}  // namespace xo
