// What the hand-driven clock knows about the process's threads: who is parked, until when, and who
// is busy. One for the whole process and never destroyed, because threads that wait in it outlive
// every test's clock. Private to this library.
#pragma once

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "framework/xo/clock.h"

namespace xo::detail {

/// Where one thread stands. Guarded by the board's mutex unless atomic.
struct ThreadRecord {
  ThreadRecord();
  ~ThreadRecord();
  ThreadRecord(const ThreadRecord&) = delete;
  ThreadRecord& operator=(const ThreadRecord&) = delete;
  static ThreadRecord& ofThisThread();

  const int kernelId;
  bool isOwn = false;               // the framework's own: counts from start to end
  bool isKnown = false;             // has waited on the hand-driven clock and not left since
  bool isParked = false;            // waits on the hand-driven clock and nobody has woken it
  bool isBlockedElsewhere = false;  // found blocked on something that is not this clock
  std::atomic<bool> waitsInRealTime{false};
  std::atomic<bool> waitsForWork{false};
};

/// Thread-safe. Its mutex is the innermost of all: nothing else is locked under it.
class ClockBoard {
 public:
  static ClockBoard& instance() noexcept;

  bool isInstalled() const noexcept { return fInstalled.load(std::memory_order_acquire); }
  int epoch() const noexcept { return fEpoch.load(std::memory_order_acquire); }
  TimePoint now() const noexcept {
    return TimePoint(Duration(fNow.load(std::memory_order_acquire)));
  }

  void install();
  void uninstall();
  bool waitUntil(std::unique_lock<std::mutex>& lock, std::condition_variable& wake,
                 TimePoint deadline);
  void notifyAll(std::condition_variable& wake) noexcept;
  // Counted with and without a hand-driven clock, so that one that comes between finds it right.
  void workBegins() noexcept;
  void workEnds() noexcept;
  void threadBegins() noexcept { fStarting.fetch_add(1); }
  void threadBegan() noexcept;
  void threadLeaves() noexcept;
  void markOwn() noexcept;

  void advance(Duration by);
  void awaitSleepers(int count);
  void awaitIdle();

 private:
  friend struct ThreadRecord;
  using Lock = std::unique_lock<std::mutex>;
  // One thread parked in waitUntil; stands on its stack.
  struct Sleeper {
    std::condition_variable* wake;
    TimePoint deadline;
    ThreadRecord* thread;
    bool isDue = false;
    bool isNotified = false;
  };

  void xChanged() noexcept;
  void xWake(Sleeper& sleeper) noexcept;
  void xRepeatNotifications() noexcept;
  bool xIsBusy(const ThreadRecord& thread) const;
  bool xIsSettled(bool ownThreadsOnly) const;
  void xSettle(Lock& lock);
  void xAwaitBriefly(Lock& lock);
  // The state of everybody who is busy, or "" when one of them is running.
  std::string xStandstill() const;
  void xMarkBlockedElsewhere();
  TimePoint xNextDeadline() const;

  std::mutex fMutex;
  std::condition_variable fChanged;
  std::set<ThreadRecord*> fThreads;
  std::vector<Sleeper*> fSleepers;
  std::size_t fChanges = 0;
  const ThreadRecord* fDriver = nullptr;  // the thread inside advance
  std::atomic<bool> fInstalled{false};
  std::atomic<int> fEpoch{0};
  std::atomic<Duration::rep> fNow{0};
  std::atomic<int> fQueuedWork{0};
  std::atomic<unsigned> fWorkEver{0};
  std::atomic<int> fStarting{0};  // threads that are not on the board yet
};

}  // namespace xo::detail
