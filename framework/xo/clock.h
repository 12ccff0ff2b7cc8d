// The process-wide clock through which every framework sleep, delay, time-out and tick goes, and
// the hand-driven one that tests put in its place.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace xo {

using Duration = std::chrono::nanoseconds;
using TimePoint = std::chrono::time_point<std::chrono::steady_clock, Duration>;

/// A deadline that never comes.
inline constexpr TimePoint kNever = TimePoint::max();

/// Seconds as a duration; NaN gives zero, what does not fit the nearest representable duration.
/// The fraction of a microsecond is dropped.
Duration secondsToDuration(float seconds) noexcept;

/// `from + delay` without overflow: too far is `kNever`.
TimePoint after(TimePoint from, Duration delay) noexcept;

/// Thread-safe.
class Clock {
 public:
  virtual ~Clock() = default;
  virtual TimePoint now() const noexcept = 0;
  /// Parks the calling thread on `wake` until it is notified (or wakes spuriously) or `deadline`
  /// has come. `lock` is held before and after. Returns false once the deadline has come.
  virtual bool waitUntil(std::unique_lock<std::mutex>& lock, std::condition_variable& wake,
                         TimePoint deadline) = 0;
  /// Wakes everybody who is parked on `wake`. Rather than the condition's own notification, lets a
  /// hand-driven clock count the woken threads as busy from this instant on. Call it with the lock
  /// held that the sleepers wait with, or where `wake` cannot go away meanwhile.
  virtual void notifyAll(std::condition_variable& wake) noexcept { wake.notify_all(); }
  /// Work that is queued for another thread and not finished: keeps a hand-driven clock from
  /// believing that everybody is parked. `workEnds` may come as soon as a thread that the clock
  /// counts has taken the work (see `detail::markFrameworkThread`).
  virtual void workBegins() noexcept {}
  virtual void workEnds() noexcept {}
  /// A thread of the framework is on its way: from before its start to its own first step (or to
  /// the failure of its start). However long the machine takes, a hand-driven clock waits for it.
  virtual void threadBegins() noexcept {}
  virtual void threadBegan() noexcept {}
  /// The calling thread leaves the framework (its outermost call ended): a hand-driven clock no
  /// longer waits for it.
  virtual void threadLeaves() noexcept {}
};

/// The process's clock: the machine's steady clock unless a ManualClock stands.
Clock& clock() noexcept;

/// A clock that stands still until `advance`. While one exists it is the process's clock: create it
/// before the first sleep or delay of the test, destroy it when nothing waits on it any more (who
/// still does goes on in real time). It starts at the real time of its creation. One at a time: a
/// second throws `std::logic_error`.
class ManualClock final : public Clock {
 public:
  ManualClock();
  ~ManualClock() override;
  ManualClock(const ManualClock&) = delete;
  ManualClock& operator=(const ManualClock&) = delete;

  TimePoint now() const noexcept override;
  bool waitUntil(std::unique_lock<std::mutex>& lock, std::condition_variable& wake,
                 TimePoint deadline) override;
  void notifyAll(std::condition_variable& wake) noexcept override;
  void workBegins() noexcept override;
  void workEnds() noexcept override;
  void threadBegins() noexcept override;
  void threadBegan() noexcept override;
  void threadLeaves() noexcept override;

  /// Moves time forward, stopping at every deadline on the way; at each, wakes its sleepers and
  /// returns to moving when all that they set going is parked again or gone. A thread that blocks
  /// on something else than this clock (a lock that a sleeper holds, a join) for about a tenth of a
  /// real second counts as parked. Call from a thread that is not itself a sleeper. Errors:
  /// `std::runtime_error` when somebody keeps busy for 10 real seconds.
  void advance(Duration by);
  /// Blocks until at least `count` threads are parked with a deadline (in real time: up to 10 s,
  /// then throws `std::runtime_error`): "the animation has reached its sleep". An event loop that
  /// waits for its next delay does not count, a task of the loop that sleeps does.
  void awaitSleepers(int count);
  /// Blocks until no work is queued or running (a step that sleeps on this clock counts as done):
  /// all posted steps have been taken. Errors as `advance`.
  void awaitIdle();
};

namespace detail {

/// The calling thread is the framework's own, from now to its end: a hand-driven clock counts it
/// as busy whenever it is not parked.
void markFrameworkThread() noexcept;

/// `waitUntil` of a thread that waits for work to come due: nobody's sleep.
bool waitForWork(std::unique_lock<std::mutex>& lock, std::condition_variable& wake,
                 TimePoint deadline);

/// Changes whenever a hand-driven clock comes or goes.
int clockEpoch() noexcept;

}  // namespace detail

}  // namespace xo
