#include "framework/xo/clock.h"

#include <cmath>
#include <cstdint>
#include <limits>

#include "framework/xo/clock_board.h"

namespace xo {
namespace {

using detail::ClockBoard;
using detail::ThreadRecord;

// While the calling thread waits in real time.
class RealWait {
 public:
  explicit RealWait(ThreadRecord& thread) noexcept : fThread(thread) {
    fThread.waitsInRealTime.store(true);
  }
  ~RealWait() { fThread.waitsInRealTime.store(false); }
  RealWait(const RealWait&) = delete;
  RealWait& operator=(const RealWait&) = delete;

 private:
  ThreadRecord& fThread;
};

// The machine's steady clock, or the hand-driven one while it stands. Decided anew at each call, so
// that nobody keeps hold of a clock that a test takes away.
class ProcessClock final : public Clock {
 public:
  TimePoint now() const noexcept override {
    return fBoard.isInstalled() ? fBoard.now() : std::chrono::steady_clock::now();
  }

  bool waitUntil(std::unique_lock<std::mutex>& lock, std::condition_variable& wake,
                 TimePoint deadline) override {
    if (fBoard.isInstalled()) return fBoard.waitUntil(lock, wake, deadline);
    const RealWait mark(ThreadRecord::ofThisThread());
    if (deadline == kNever) {
      wake.wait(lock);
      return true;
    }
    return wake.wait_until(lock, deadline) == std::cv_status::no_timeout;
  }

  void notifyAll(std::condition_variable& wake) noexcept override {
    if (fBoard.isInstalled()) {
      fBoard.notifyAll(wake);
    } else {
      wake.notify_all();
    }
  }
  void workBegins() noexcept override { fBoard.workBegins(); }
  void workEnds() noexcept override { fBoard.workEnds(); }
  void threadBegins() noexcept override { fBoard.threadBegins(); }
  void threadBegan() noexcept override { fBoard.threadBegan(); }
  void threadLeaves() noexcept override {
    if (fBoard.isInstalled()) fBoard.threadLeaves();
  }

 private:
  ClockBoard& fBoard = ClockBoard::instance();
};

}  // namespace

Duration secondsToDuration(float seconds) noexcept {
  constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();
  constexpr std::int64_t kNanosecondsPerMicrosecond = 1000;
  if (std::isnan(seconds)) return Duration::zero();
  const float microseconds = seconds * 1'000'000.0f;  // single precision: 0.7 s is 700000 exactly
  constexpr float kBound = 9223372036854775808.0f;    // 2^63
  if (microseconds >= kBound) return Duration::max();
  if (microseconds < -kBound) return Duration::min();
  const auto whole = static_cast<std::int64_t>(microseconds);
  if (whole > kMost / kNanosecondsPerMicrosecond) return Duration::max();
  if (whole < -kMost / kNanosecondsPerMicrosecond) return Duration::min();
  return Duration(whole * kNanosecondsPerMicrosecond);
}

TimePoint after(TimePoint from, Duration delay) noexcept {
  Duration::rep sum = 0;
  if (!__builtin_add_overflow(from.time_since_epoch().count(), delay.count(), &sum)) {
    return TimePoint(Duration(sum));
  }
  return delay > Duration::zero() ? kNever : TimePoint::min();
}

Clock& clock() noexcept {
  static ProcessClock* const instance = new ProcessClock;  // threads wait in it to the very end
  return *instance;
}

namespace detail {

void markFrameworkThread() noexcept { ClockBoard::instance().markOwn(); }

bool waitForWork(std::unique_lock<std::mutex>& lock, std::condition_variable& wake,
                 TimePoint deadline) {
  ThreadRecord& thread = ThreadRecord::ofThisThread();
  thread.waitsForWork.store(true);
  const bool result = clock().waitUntil(lock, wake, deadline);
  thread.waitsForWork.store(false);
  return result;
}

int clockEpoch() noexcept { return ClockBoard::instance().epoch(); }

}  // namespace detail
}  // namespace xo
