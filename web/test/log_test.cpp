#include "web/server/log_tail.h"

#include <gmock/gmock.h>

#include "web/test/test_page.h"

namespace web {
namespace {

using testing::HasSubstr;

const xo::log::Category kLog{"Somebody"};

TEST(LogTail, KeepsTheLastLines) {
  const LogTail tail(xo::log::Level::kInfo);
  for (std::size_t i = 1; i <= LogTail::kLines + 10; ++i) kLog.info("line " + std::to_string(i));
  kLog.debug("not at this level");
  const auto lines = tail.after(0);
  ASSERT_EQ(lines.size(), LogTail::kLines);
  EXPECT_EQ(lines.front().text, "line 11");
  EXPECT_EQ(lines.back().text, "line 510");
  EXPECT_EQ(lines.back().number, 510u);
  EXPECT_EQ(lines.back().category, "Somebody");
  EXPECT_EQ(tail.after(508).size(), 2u);
  EXPECT_EQ(tail.after(510).size(), 0u);
  EXPECT_EQ(tail.after(600).size(), 0u);
}

TEST(LogTail, CutsLongLines) {
  const LogTail tail(xo::log::Level::kInfo);
  kLog.info(std::string(100000, 'x'));
  EXPECT_EQ(tail.after(0).front().text.size(), LogTail::kTextBytes);
}

TEST(LogTail, WakesUntilToldNotTo) {
  LogTail tail(xo::log::Level::kInfo);
  int wakes = 0;
  tail.setWake([&] { ++wakes; });
  kLog.info("one");
  kLog.verbose("less urgent");
  EXPECT_EQ(wakes, 1);
  tail.setWake(nullptr);
  kLog.info("two");
  EXPECT_EQ(wakes, 1);
}

class LogTest : public testing::Test {
 protected:
  LogTest() {
    fPage.options.log = &fTail;
    fPage.serve();
  }
  static std::vector<std::string> textsOf(const Json& event) {
    std::vector<std::string> texts;
    for (const Json& line : event["lines"]) texts.push_back(line["text"]);
    return texts;
  }
  static void follow(PageClient& client, const std::string& level) {
    EXPECT_EQ(client.ask({{"op", "log"}, {"level", level}}).size(), 1u);
  }

  LogTail fTail{xo::log::Level::kVerbose};
  TestPage fPage;
};

TEST_F(LogTest, FirstComesWhatIsKeptThenEachLine) {
  kLog.warning("<b>before</b>");
  kLog.verbose("too quiet");
  auto client = fPage.connect();
  follow(client, "info");
  const Json before = client.event("log");
  ASSERT_EQ(textsOf(before), std::vector<std::string>{"<b>before</b>"});
  EXPECT_EQ(before["lines"][0]["level"], "warning");
  EXPECT_EQ(before["lines"][0]["category"], "Somebody");
  EXPECT_GT(before["lines"][0]["at"], 1.5e9);
  kLog.verbose("too quiet");
  kLog.error("after");
  EXPECT_EQ(textsOf(client.event("log")), std::vector<std::string>{"after"});
}

TEST_F(LogTest, AnotherLevelBeginsAnew) {
  kLog.info("loud");
  kLog.verbose("quiet");
  auto client = fPage.connect();
  follow(client, "warning");
  follow(client, "verbose");
  EXPECT_EQ(textsOf(client.event("log")), (std::vector<std::string>{"loud", "quiet"}));
}

TEST_F(LogTest, NoneEndsIt) {
  auto client = fPage.connect();
  follow(client, "info");
  follow(client, "none");
  kLog.error("unheard");
  for (int i = 0; i < 5; ++i) {
    client.begin({{"op", "services"}});
    EXPECT_TRUE(client.receive().contains("services"));
  }
}

TEST_F(LogTest, AnUnknownLevelIsRefusedAndTheLevelsAreListed) {
  const Json reply = fPage.connect().ask({{"op", "log"}, {"level", "loud"}});
  EXPECT_EQ(reply["error"]["kind"], "refused");
  EXPECT_THAT(reply["error"]["text"].get<std::string>(),
              HasSubstr("silent, fatal, error, warning"));
}

TEST_F(LogTest, AStormOfLinesReachesThePageInItsOrderAndNobodyWaits) {
  auto client = fPage.connect();
  follow(client, "info");
  for (int i = 0; i < 20000; ++i) kLog.info(std::to_string(i));
  int last = -1;
  while (last != 19999) {
    for (const std::string& text : textsOf(client.event("log"))) {
      const int number = std::stoi(text);
      EXPECT_GT(number, last);
      last = number;
    }
  }
}

TEST_F(LogTest, WithoutALogThereIsNothingToHear) {
  TestPage page;
  page.serve();
  auto client = page.connect();
  EXPECT_EQ(client.ask({{"op", "log"}, {"level", "info"}}).size(), 1u);
}

}  // namespace
}  // namespace web
