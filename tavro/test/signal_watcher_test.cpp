#include "tavro/signal_watcher.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <condition_variable>
#include <csignal>
#include <mutex>
#include <vector>

namespace tavro {
namespace {

TEST(SignalWatcher, CountsTheSignalsThatItHears) {
  SignalWatcher::blockSignals();
  std::mutex mutex;
  std::condition_variable changed;
  std::vector<int> counts;
  const SignalWatcher watcher([&](int count) {
    const std::lock_guard lock(mutex);
    counts.push_back(count);
    changed.notify_all();
  });
  for (const int signal : {SIGINT, SIGTERM}) {
    kill(getpid(), signal);
    std::unique_lock lock(mutex);
    const auto before = signal == SIGINT ? 1U : 2U;
    ASSERT_TRUE(
        changed.wait_for(lock, std::chrono::seconds(10), [&] { return counts.size() == before; }));
  }
  EXPECT_EQ(counts, (std::vector<int>{1, 2}));
}

TEST(SignalWatcher, EndsWithoutASignal) {
  const SignalWatcher watcher([](int) { FAIL(); });
}

}  // namespace
}  // namespace tavro
