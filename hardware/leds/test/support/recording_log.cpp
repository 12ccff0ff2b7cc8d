#include "hardware/leds/test/support/recording_log.h"

#include <ostream>
#include <utility>

namespace HB::test {

void PrintTo(const LogLine& line, std::ostream* out) {
  *out << line.category << ' ' << xo::log::levelName(line.level) << ": " << line.text;
}

RecordingLog::RecordingLog(Journal& journal)
    : fJournal(journal),
      fListener(xo::log::Level::kVerbose, [this](const xo::log::Message& heard) { hear(heard); }) {}

void RecordingLog::hear(const xo::log::Message& message) {
  if (message.category != "HBLeds" && message.category != "PassiveBlinking") return;
  const LogLine line{std::string(message.category), message.level, std::string(message.text)};
  fJournal.add(line.category + ' ' + std::string(xo::log::levelName(line.level)) + ": " +
               line.text);
  std::function<void(const LogLine&)> hook;
  {
    std::scoped_lock lock(fMutex);
    fLines.push_back(line);
    hook = fHook;
  }
  if (hook) hook(line);
}

std::vector<LogLine> RecordingLog::lines() const {
  std::scoped_lock lock(fMutex);
  return fLines;
}

std::vector<std::string> RecordingLog::texts(const std::string& category) const {
  std::vector<std::string> found;
  for (const auto& line : lines()) {
    if (line.category == category) found.push_back(line.text);
  }
  return found;
}

std::vector<std::string> RecordingLog::texts(const std::string& category,
                                             xo::log::Level level) const {
  std::vector<std::string> found;
  for (const auto& line : lines()) {
    if (line.category == category && line.level == level) found.push_back(line.text);
  }
  return found;
}

void RecordingLog::clear() {
  std::scoped_lock lock(fMutex);
  fLines.clear();
}

void RecordingLog::onLine(std::function<void(const LogLine&)> hook) {
  std::scoped_lock lock(fMutex);
  fHook = std::move(hook);
}

}  // namespace HB::test
