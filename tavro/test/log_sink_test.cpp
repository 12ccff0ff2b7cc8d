#include "tavro/log_sink.h"

#include <gmock/gmock.h>
#include <spdlog/sinks/ostream_sink.h>

#include <sstream>
#include <thread>

#include "framework/xo/os.h"

namespace tavro {
namespace {

const xo::log::Category kLog{"Category"};

std::string logged(xo::log::Level level, const std::function<void()>& act) {
  std::ostringstream stream;
  const LogSink sink(level, std::make_shared<spdlog::sinks::ostream_sink_mt>(stream));
  act();
  return stream.str();
}

TEST(LogSink, WritesTimeLevelCategoryAndText) {
  const auto text = logged(xo::log::Level::kInfo, [] { kLog.warning("Something"); });
  EXPECT_THAT(text, ::testing::ContainsRegex(
                        "^....-..-.. ..:..:..\\.... warning \\[Category\\] Something\n$"));
}

TEST(LogSink, KeepsTheRobotsNamesOfLevels) {
  const auto text = logged(xo::log::Level::kDebug, [] {
    kLog.verbose("v");
    kLog.debug("d");
    kLog.error("e");
  });
  EXPECT_THAT(text, ::testing::HasSubstr(" verbose [Category] v\n"));
  EXPECT_THAT(text, ::testing::HasSubstr(" debug   [Category] d\n"));
  EXPECT_THAT(text, ::testing::HasSubstr(" error   [Category] e\n"));
}

TEST(LogSink, TellsTheWholeNameOfTheThreadWhereItGoesIntoDetail) {
  const auto text = logged(xo::log::Level::kVerbose, [] {
    std::thread([] {
      xo::os::setCurrentThreadName("PassiveBlinking.timeout");
      kLog.verbose("v");
      kLog.info("i");
    }).join();
  });
  EXPECT_THAT(text, ::testing::HasSubstr(" [Category] {PassiveBlinking.timeout} v\n"));
  EXPECT_THAT(text, ::testing::HasSubstr(" [Category] i\n"));
}

TEST(LogSink, LeavesOutWhatIsLessUrgentThanItsLevel) {
  EXPECT_EQ(logged(xo::log::Level::kError, [] { kLog.warning("w"); }), "");
}

TEST(LogSink, IsSilentAfterItsDestruction) {
  std::ostringstream stream;
  {
    const LogSink sink(xo::log::Level::kInfo,
                       std::make_shared<spdlog::sinks::ostream_sink_mt>(stream));
  }
  kLog.error("late");
  EXPECT_EQ(stream.str(), "");
}

TEST(LogSink, WritesOneLineForATextOfMany) {
  const auto text = logged(xo::log::Level::kInfo, [] { kLog.info("a\nb\x1b[31m"); });
  EXPECT_THAT(text, ::testing::HasSubstr("a\\nb\\x1b[31m\n"));
}

}  // namespace
}  // namespace tavro
