// The guard that an LED command keeps on its stack while it may use the eyes.
#pragma once

#include <boost/smart_ptr/shared_ptr.hpp>
#include <boost/thread/mutex.hpp>
#include <cstdint>
#include <string>

namespace HB {

class PassiveBlinking;

/// While at least one active guard of the process lives, passive blinking is paused: the first one
/// pauses it, the last one to go resumes it, in whichever order they end and on whichever thread.
///
/// Thread-safe. Lock order: `passiveBlinkingMutex`, then a lock of PassiveBlinking.
class [[nodiscard]] ScopedDisablePassiveBlinking {
 public:
  /// Active whatever the command does: for commands that always drive the eyes.
  explicit ScopedDisablePassiveBlinking(boost::shared_ptr<PassiveBlinking> passiveBlinking);
  /// Active only when `name` is a conflicting resource of passive blinking at this moment; inactive
  /// when the pointer is null.
  ScopedDisablePassiveBlinking(boost::shared_ptr<PassiveBlinking> passiveBlinking,
                               const std::string& name);
  ~ScopedDisablePassiveBlinking();
  ScopedDisablePassiveBlinking(const ScopedDisablePassiveBlinking&) = delete;
  ScopedDisablePassiveBlinking& operator=(const ScopedDisablePassiveBlinking&) = delete;

 private:
  friend class LedsAccess;

  /// Counts this guard if it is active and pauses for the first. `passiveBlinkingMutex` is held.
  void _pausePassiveBlinking();

  /// Active guards alive. Read and written under `passiveBlinkingMutex` only.
  static std::int32_t count;
  /// Held over each change of `count` and the pause or resume that goes with it, so that a pause
  /// and a resume never cross.
  static boost::mutex passiveBlinkingMutex;

  /// Kept alive by the guard; may be null.
  const boost::shared_ptr<PassiveBlinking> fPassiveBlinking;
  bool fActive;
};

}  // namespace HB
