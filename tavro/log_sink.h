// The robot's log as people read it.
#pragma once

#include <memory>
#include <string>

#include "framework/xo/log.h"

namespace spdlog::sinks {
class sink;
}

namespace tavro {

/// Writes the process's log to a sink while it lives: time, level, category, text; one message a
/// line. Verbose and debug messages tell their thread too, by its whole name. Synchronous, on the
/// thread that logs.
class LogSink {
 public:
  /// To standard error, with colours when that is a terminal and NO_COLOR is not set.
  explicit LogSink(xo::log::Level level);
  LogSink(xo::log::Level level, std::shared_ptr<spdlog::sinks::sink> sink);
  ~LogSink();
  LogSink(const LogSink&) = delete;
  LogSink& operator=(const LogSink&) = delete;

 private:
  void xWrite(const xo::log::Message& message) const;

  const std::shared_ptr<spdlog::sinks::sink> fSink;
  xo::log::Listener fListener;
};

/// `text` with line breaks and other control characters spelled out ("\n", "\x1b"), so that a
/// client's text can neither forge a line nor drive the terminal.
std::string printable(std::string_view text);

}  // namespace tavro
