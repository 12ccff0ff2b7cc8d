// Motion in time: an animator, the lock that guards it, the drivers it feeds and the thread that
// ticks while something moves. Owned by HBMotion.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <thread>
#include <vector>

#include "framework/xo/call.h"
#include "framework/xo/clock.h"
#include "services/motion/src/animator.h"
#include "services/motion/src/led_driver.h"

namespace HB {

/// Thread-safe. Its thread "MotionTick" lives as long as it does:
///
///     asleep --a key frame is pending--> ticking every 10 ms --none is pending--> asleep
///
/// The grid of ticks begins at the call that woke it. While all that is pending keeps its value, it
/// sleeps until the next key frame.
///
/// One lock, `fMutex`, guards the animator and is held while drivers write: so outputs leave in the
/// order in which they hold, and no older value follows a newer one. Drivers promise to be short
/// and not to call motion; the memory's locks come after this one, and its subscribers' wakes,
/// which run on the writing thread, must call no service.
class MotionLoop {
 public:
  static constexpr xo::Duration kTick = std::chrono::milliseconds(10);

  /// Key frames of one channel, as `Animator::add` takes them.
  struct Move {
    int channel;
    std::span<const float> times;
    std::span<const float> values;
  };

  /// One channel for each value, which drivers are taken to show already. `ending` outlives it.
  MotionLoop(std::vector<float> values, std::vector<std::unique_ptr<LedDriver>> drivers,
             xo::Ending* ending);
  /// Ends the thread; what moves stays where it is.
  ~MotionLoop();
  MotionLoop(const MotionLoop&) = delete;
  MotionLoop& operator=(const MotionLoop&) = delete;

  /// All moves start at the same instant, one after another if they share a channel. Key frames at
  /// time 0 have reached the drivers when it returns. When a channel would have too many key frames
  /// pending (`Animator::kMaxPending`), nothing starts and the index of its move is returned.
  /// What starts is remembered as begun by the calling thread's `xo::CallScope::currentOrigin`.
  std::optional<std::size_t> start(std::span<const Move> moves);

  /// In the order of `channels`, all at the same instant.
  std::vector<Animator::State> states(std::span<const int> channels) const;
  /// Where each channel's newest moves came from; 0 before the first.
  std::vector<std::uint64_t> origins(std::span<const int> channels) const;

 private:
  struct Output {
    std::unique_ptr<LedDriver> driver;
    bool hasFailed = false;
  };

  static Microseconds xMicroseconds(xo::TimePoint instant) noexcept;
  void xRun();
  // All under fMutex.
  xo::TimePoint xNextTick(xo::TimePoint now);
  void xWrite(Animator::Changes changes);
  void xWriteTo(Output& output, Animator::Changes changes);

  mutable std::mutex fMutex;
  std::condition_variable fWake;
  Animator fAnimator;
  std::vector<std::uint64_t> fOrigins;  // by channel
  std::vector<Output> fOutputs;
  bool fHasFailed = false;           // some driver, at the last write
  xo::TimePoint fGrid{};             // where the grid of ticks began
  xo::TimePoint fTick = xo::kNever;  // the next one; kNever while asleep
  bool fIsEnding = false;
  std::thread fThread;
};

}  // namespace HB
