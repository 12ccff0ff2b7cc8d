// The process-wide clock through which every framework sleep, delay, time-out and tick goes, and
// the hand-driven one that tests put in its place.
#pragma once

#include <chrono>
#include <condition_variable>
#include <memory>
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
  /// Work that is queued for another thread and not finished: keeps a hand-driven clock from
  /// believing that everybody is parked. No-ops on the real clock.
  virtual void workBegins() noexcept {}
  virtual void workEnds() noexcept {}
  /// The calling thread leaves the framework (its outermost call ended): a hand-driven clock no
  /// longer waits for it.
  virtual void threadLeaves() noexcept {}
};

/// The process's clock: the machine's steady clock unless a ManualClock stands.
Clock& clock() noexcept;

/// A clock that stands still until `advance`. While one exists it is the process's clock: create it
/// before the first sleep or delay of the test, destroy it when nothing waits on it any more.
/// One at a time.
class ManualClock final : public Clock {
 public:
  ManualClock();
  ~ManualClock() override;
  ManualClock(const ManualClock&) = delete;
  ManualClock& operator=(const ManualClock&) = delete;

  TimePoint now() const noexcept override;
  bool waitUntil(std::unique_lock<std::mutex>& lock, std::condition_variable& wake,
                 TimePoint deadline) override;
  void workBegins() noexcept override;
  void workEnds() noexcept override;
  void threadLeaves() noexcept override;

  /// Moves time forward, stopping at every deadline on the way; at each, wakes its sleepers and
  /// returns to moving when all that they set going is parked again or gone. Call from a thread
  /// that is not itself a sleeper.
  void advance(Duration by);
  /// Blocks until at least `count` threads are parked with a deadline (in real time: up to 10 s,
  /// then throws `std::runtime_error`): "the animation has reached its sleep".
  void awaitSleepers(int count);
  /// Blocks until no work is queued or running: all posted steps have been taken.
  void awaitIdle();

 private:
  struct Sleeper;
  struct State;
  std::unique_ptr<State> fState;
};

}  // namespace xo
