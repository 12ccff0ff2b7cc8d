#include "web/server/log_tail.h"

#include <algorithm>
#include <utility>

namespace web {

LogTail::LogTail(xo::log::Level level)
    : fListener(level, [this](const xo::log::Message& message) { take(message); }) {}

std::vector<LogTail::Line> LogTail::after(std::uint64_t last) const {
  std::scoped_lock lock(fMutex);
  const std::uint64_t fresh = last < fLast ? fLast - last : 0;
  const auto count = static_cast<std::ptrdiff_t>(std::min<std::uint64_t>(fresh, fLines.size()));
  return {fLines.end() - count, fLines.end()};
}

void LogTail::setWake(std::function<void()> wake) {
  std::scoped_lock lock(fMutex);  // a wake runs under it
  fWake = std::move(wake);
}

void LogTail::take(const xo::log::Message& message) {
  std::scoped_lock lock(fMutex);
  if (fLines.size() == kLines) fLines.pop_front();
  fLines.push_back({++fLast, message.time, message.level, std::string(message.category),
                    std::string(message.text.substr(0, kTextBytes))});
  if (fWake) fWake();
}

}  // namespace web
