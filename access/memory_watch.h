// Follows keys of the robot's memory for one viewer, at the viewer's pace and at most once a tick,
// however often they change. A viewer never holds up the robot.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "access/access.h"

namespace door {

/// Shortest time between two batches of one watch.
inline constexpr std::chrono::milliseconds kWatchTick{20};

/// What a part of a batch may take of memory. A value that is larger alone is told as the invalid
/// value, which the memory never holds.
inline constexpr int kWatchPartBytes = 256 * 1024;

/// Hands over a first batch with every matching key (perhaps empty), then batches of what changed.
/// A large batch comes in parts, each of them as the memory is when it comes. Each part comes only
/// after a `next()`, the first too: what changes meanwhile is merged, so that a slow viewer costs
/// no more than the part it is busy with. Nothing runs while nothing changes.
///
///     delivering --next()--> waiting --change--> scheduled --tick--> delivering
///         |                  (a change meanwhile is remembered)          ^
///         +--next(), the batch goes on--> scheduled --at once------------+
///
/// Thread-safe. Parts come on the process's event loop, one at a time.
class MemoryWatch {
 public:
  struct Viewer {
    std::function<void(HB::MemoryChanges part)> part;
    /// The memory is gone; nothing follows. On the event loop.
    std::function<void(const std::string& why)> ended;
  };

  /// Errors: Refused when there is no memory, or it cannot be followed (as one that another process
  /// lends), or the pattern is too long.
  MemoryWatch(const Access& access, const std::string& pattern, Viewer viewer);
  /// When it returns no callback runs and none will. Not from inside a callback.
  ~MemoryWatch();
  MemoryWatch(const MemoryWatch&) = delete;
  MemoryWatch& operator=(const MemoryWatch&) = delete;

  /// The viewer is ready for what comes next. Callable from inside `part`.
  void next();

  /// Ticks so far at which a change was due and the viewer was not ready: batches that it missed,
  /// whose news came merged into a later one.
  std::uint64_t dropped() const;

 private:
  struct State;
  std::shared_ptr<State> fState;
};

}  // namespace door
