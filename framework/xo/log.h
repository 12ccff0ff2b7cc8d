// The process's log: categories that modules keep, one level per process, listeners for whoever
// shows or records messages. Written synchronously, so that no sink outlives a module that logs.
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <string>
#include <string_view>

namespace xo::log {

/// In order of urgency; a level shows itself and everything more urgent.
enum class Level : int {
  kSilent = 0,
  kFatal = 1,
  kError = 2,
  kWarning = 3,
  kInfo = 4,
  kVerbose = 5,
  kDebug = 6
};

/// "error", "verbose", ...
std::string_view levelName(Level level) noexcept;
/// The level of that name. Errors: `std::invalid_argument` that lists the names.
Level levelFromName(std::string_view name);

struct Message {
  std::chrono::system_clock::time_point time;
  Level level;
  std::string_view category;  // valid during the callback only, as `text`
  std::string_view text;
};

/// A named source of messages. Made once and kept by whoever logs; its name must outlive it (a
/// string literal). Thread-safe. Listeners run on the calling thread.
class Category {
 public:
  explicit Category(std::string_view name) noexcept : fName(name) {}

  std::string_view name() const noexcept { return fName; }
  /// True when somebody listens at `level`: lets a caller skip building a text.
  bool isOn(Level level) const noexcept;
  /// Hands the text to every listener of that level. Never throws.
  void write(Level level, std::string_view text) const noexcept;

  void error(std::string_view text) const noexcept { write(Level::kError, text); }
  void warning(std::string_view text) const noexcept { write(Level::kWarning, text); }
  void info(std::string_view text) const noexcept { write(Level::kInfo, text); }
  void verbose(std::string_view text) const noexcept { write(Level::kVerbose, text); }
  void debug(std::string_view text) const noexcept { write(Level::kDebug, text); }

 private:
  std::string_view fName;
};

/// Hears messages while it lives. The callback runs on the thread that logs, one message at a time;
/// it must not log itself. After the destructor returned no callback runs.
class [[nodiscard]] Listener {
 public:
  using Callback = std::function<void(const Message&)>;
  Listener(Level level, Callback callback);
  ~Listener();
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;
  /// From the next message on.
  void setLevel(Level level);

 private:
  int fId;
};

}  // namespace xo::log
