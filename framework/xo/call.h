// Who is being served on this thread: the running call's id, its stop flag, its origin, and the
// module that owns it. Plain thread-bound records on the stack, linked outwards; making one costs a
// few instructions.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>

#include "framework/xo/clock.h"

namespace xo {

/// A module's end, announced: from `raise()` on, framework sleeps and session waits made in its
/// name end at once and its calls see a stop request. Made by whoever loads the module; outlives
/// every CallScope that names it. Thread-safe.
class Ending {
 public:
  Ending() = default;
  ~Ending();  // raises
  Ending(const Ending&) = delete;
  Ending& operator=(const Ending&) = delete;

  /// Runs the callbacks on this thread. Raising again does nothing.
  void raise();
  bool isRaised() const noexcept { return fRaised.load(std::memory_order_acquire); }
  /// Sleeps until `deadline` of the process's clock; returns true when `raise()` ended it early.
  bool sleepUntil(TimePoint deadline);

  /// Runs `callback` when raised, at once if it was. Returns a number for `removeCallback`.
  int onRaise(std::function<void()> callback);
  /// When it returns the callback does not run and will not. Not from inside the callback.
  void removeCallback(int number);

  /// Told by every framework wait that really blocks a thread working in this name, so that a
  /// loader learns that the module it loads waits for somebody else.
  void waitBegins() noexcept;
  void waitEnds() noexcept;
  bool isWaiting() const noexcept { return fWaiting.load(std::memory_order_acquire) > 0; }

 private:
  std::atomic<bool> fRaised{false};
  std::atomic<int> fWaiting{0};
  std::mutex fMutex;
  std::condition_variable fWake;
  std::map<int, std::function<void()>> fCallbacks;
  int fNextNumber = 1;
  int fRunning = 0;
};

/// A flag that a client, a lost connection or `stop(id)` raises. Thread-safe.
class StopFlag {
 public:
  void raise() noexcept { fRaised.store(true, std::memory_order_release); }
  bool isRaised() const noexcept { return fRaised.load(std::memory_order_acquire); }

 private:
  std::atomic<bool> fRaised{false};
};

/// Marks the calling thread as serving one call until it is destroyed. Scopes nest: a call made
/// from within a call inherits the outer one's stop request.
class [[nodiscard]] CallScope {
 public:
  /// `ending` and `stop` may be null (the outer scope's then stay in force); both outlive the
  /// scope. `origin` tells where the call came from, in the words of whoever let it in; 0 is the
  /// outer scope's.
  explicit CallScope(Ending* ending, StopFlag* stop = nullptr, std::uint64_t origin = 0) noexcept;
  ~CallScope();
  CallScope(const CallScope&) = delete;
  CallScope& operator=(const CallScope&) = delete;

  /// The innermost scope of this thread, or null.
  static CallScope* current() noexcept;
  /// The owner in whose name this thread works, or null.
  static Ending* currentEnding() noexcept;
  /// The origin of what this thread does; 0 for the process's own doing. Work that a call leaves to
  /// other threads is of no origin.
  static std::uint64_t currentOrigin() noexcept;

  /// This call's id: positive, unique in the process; drawn at first use, on the call's own thread.
  int id();
  /// Raised for this call, for one that it is part of, or by its owner's end.
  bool isStopRequested() const noexcept;

  /// Raises the flag of the running call with that id, from any thread; false when none runs.
  static bool requestStop(int id);
  /// Whether the running call with that id was asked to stop; false for an unknown id. Cheap on the
  /// call's own thread.
  static bool isStopRequested(int id);

 private:
  CallScope* const fOuter;
  Ending* const fEnding;
  StopFlag* const fStop;
  const std::uint64_t fOrigin;
  StopFlag fOwnStop;
  int fId = 0;
};

}  // namespace xo
