#include "tavro/log_sink.h"

#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/ansicolor_sink.h>

#include <array>
#include <cstdlib>

#include "framework/xo/os.h"

namespace tavro {

namespace {

using xo::log::Level;

struct LevelPair {
  Level ours;
  spdlog::level::level_enum theirs;
};
constexpr std::array kLevels{LevelPair{Level::kFatal, spdlog::level::critical},
                             LevelPair{Level::kError, spdlog::level::err},
                             LevelPair{Level::kWarning, spdlog::level::warn},
                             LevelPair{Level::kInfo, spdlog::level::info},
                             LevelPair{Level::kVerbose, spdlog::level::debug},
                             LevelPair{Level::kDebug, spdlog::level::trace}};

constexpr std::size_t kLevelWidth = std::string_view("warning").size();

// Levels by the robot's own names instead of the library's.
class LevelNameFlag final : public spdlog::custom_flag_formatter {
 public:
  void format(const spdlog::details::log_msg& message, const std::tm&,
              spdlog::memory_buf_t& destination) override {
    for (const auto& level : kLevels) {
      if (level.theirs != message.level) continue;
      const std::string_view name = xo::log::levelName(level.ours);
      destination.append(name.data(), name.data() + name.size());
      for (std::size_t i = name.size(); i < kLevelWidth; ++i) destination.push_back(' ');
    }
  }
  std::unique_ptr<custom_flag_formatter> clone() const override {
    return std::make_unique<LevelNameFlag>();
  }
};

std::shared_ptr<spdlog::sinks::sink> standardErrorSink() {
  const bool wantsNone = std::getenv("NO_COLOR") != nullptr;
  return std::make_shared<spdlog::sinks::ansicolor_stderr_sink_mt>(
      wantsNone ? spdlog::color_mode::never : spdlog::color_mode::automatic);
}

std::shared_ptr<spdlog::sinks::sink> withPattern(std::shared_ptr<spdlog::sinks::sink> sink) {
  auto formatter = std::make_unique<spdlog::pattern_formatter>();
  formatter->add_flag<LevelNameFlag>('L').set_pattern("%Y-%m-%d %H:%M:%S.%e %^%L%$ [%n] %v");
  sink->set_formatter(std::move(formatter));
  return sink;
}

spdlog::string_view_t viewOf(std::string_view text) { return {text.data(), text.size()}; }

}  // namespace

LogSink::LogSink(Level level) : LogSink(level, standardErrorSink()) {}

LogSink::LogSink(Level level, std::shared_ptr<spdlog::sinks::sink> sink)
    : fSink(withPattern(std::move(sink))),
      fListener(level, [this](const xo::log::Message& message) { xWrite(message); }) {}

LogSink::~LogSink() = default;

void LogSink::xWrite(const xo::log::Message& message) const {
  auto level = spdlog::level::info;
  for (const auto& pair : kLevels) {
    if (pair.ours == message.level) level = pair.theirs;
  }
  std::string text = printable(message.text);
  if (message.level >= Level::kVerbose) {  // for people who look inside
    const std::string thread = xo::os::currentThreadName();
    if (!thread.empty()) text = "{" + printable(thread) + "} " + text;
  }
  fSink->log({message.time, spdlog::source_loc{}, viewOf(message.category), level, text});
  fSink->flush();
}

std::string printable(std::string_view text) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string made;
  made.reserve(text.size());
  for (const char character : text) {
    const auto code = static_cast<unsigned char>(character);
    if (character == '\n') {
      made += "\\n";
    } else if (code < 0x20 || code == 0x7f) {
      made += "\\x";
      made += kDigits[code >> 4U];
      made += kDigits[code & 15U];
    } else {
      made += character;
    }
  }
  return made;
}

}  // namespace tavro
