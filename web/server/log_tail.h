// The end of the robot's log, for pages.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "framework/xo/log.h"

namespace web {

/// Keeps the last lines of the process's log while it lives. Thread-safe.
class LogTail {
 public:
  static constexpr std::size_t kLines = 500;
  static constexpr std::size_t kTextBytes = 4096;  ///< of one line; the rest is cut off

  struct Line {
    std::uint64_t number = 0;  ///< 1, 2, ... without gaps
    std::chrono::system_clock::time_point when;
    xo::log::Level level = xo::log::Level::kInfo;
    std::string category;
    std::string text;
  };

  /// Lines of that level and more urgent ones are kept.
  explicit LogTail(xo::log::Level level);

  /// What is kept of the lines after number `last`, ascending.
  std::vector<Line> after(std::uint64_t last) const;
  /// `wake` runs after each new line, on the thread that logs: it must be short and must not log.
  /// When the call returns the one before does not run and will not.
  void setWake(std::function<void()> wake);

 private:
  void take(const xo::log::Message& message);

  mutable std::mutex fMutex;  // guards all below
  std::deque<Line> fLines;
  std::uint64_t fLast = 0;
  std::function<void()> fWake;
  xo::log::Listener fListener;  // last: it begins to hear when everything stands
};

}  // namespace web
