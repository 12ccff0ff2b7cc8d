// Hears every log message down to verbose while it lives, keeps it, and notes it in a journal as
// "CATEGORY level: text".
#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "framework/xo/log.h"
#include "hardware/leds/test/support/journal.h"

namespace HB::test {

struct LogLine {
  std::string category;
  xo::log::Level level;
  std::string text;
  bool operator==(const LogLine&) const = default;
};

/// So that a failed expectation shows the line.
void PrintTo(const LogLine& line, std::ostream* out);

/// Thread-safe.
class RecordingLog {
 public:
  explicit RecordingLog(Journal& journal);

  /// Lines of the two categories of the module, "HBLeds" and "PassiveBlinking", in order.
  std::vector<LogLine> lines() const;
  /// The texts of those of `category`, or of `category` at `level`.
  std::vector<std::string> texts(const std::string& category) const;
  std::vector<std::string> texts(const std::string& category, xo::log::Level level) const;
  void clear();

  /// Runs `hook` on the logging thread for each later line of the module; it must not log.
  void onLine(std::function<void(const LogLine&)> hook);

 private:
  void hear(const xo::log::Message& message);

  Journal& fJournal;
  mutable std::mutex fMutex;
  std::vector<LogLine> fLines;
  std::function<void(const LogLine&)> fHook;
  xo::log::Listener fListener;  // last: it calls into the others
};

}  // namespace HB::test
