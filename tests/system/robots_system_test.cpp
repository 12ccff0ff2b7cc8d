// Each robot model as people meet it, and a fade as a watcher sees it.
#include <gmock/gmock.h>

#include <csignal>
#include <fstream>
#include <iterator>
#include <map>
#include <nlohmann/json.hpp>
#include <sstream>

#include "tests/system/robot.h"

namespace tests {
namespace {

using namespace std::chrono_literals;
using ::testing::Contains;
using ::testing::Each;
using ::testing::Not;

std::vector<std::string> linesOf(const Outcome& ended) {
  EXPECT_EQ(ended.status, 0) << ended.err;
  std::vector<std::string> lines;
  std::istringstream stream(ended.out);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

/// Every value that `ledctl watch --json` printed, by key.
std::map<std::string, std::vector<double>> seriesOf(const Outcome& watched) {
  std::map<std::string, std::vector<double>> series;
  for (const auto& line : linesOf(watched)) {
    const auto json = nlohmann::json::parse(line);
    series[json["key"]].push_back(json["value"]);
  }
  return series;
}

long countOf(const std::string& part, const std::string& text) {
  long count = 0;
  for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
  return count;
}

TEST(Watch, ShowsRedRiseOverOneSecondOnTheFaceAndNothingElse) {
  const Robot robot;
  Process watcher(robot.ledctlCommand({"--json", "watch", "Face/*"}));
  watcher.waitForLine("{");
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(robot.ledctl({"--wait", "fadeRGB", "FaceLeds", "red", "1.0"}).status, 0);
  EXPECT_GE(std::chrono::steady_clock::now() - start, 1s);
  EXPECT_TRUE(eventually([&] { return countOf("\"value\":1.0}", watcher.outputSoFar()) == 16; }));
  watcher.signal(SIGINT);
  const auto series = seriesOf(watcher.wait());
  EXPECT_EQ(series.size(), 48U);
  for (const auto& [key, values] : series) {
    if (key.find("/Red/") == std::string::npos) {
      EXPECT_THAT(values, Each(0.0)) << key;
      continue;
    }
    EXPECT_EQ(values.front(), 0.0);
    EXPECT_EQ(values.back(), 1.0);
    EXPECT_TRUE(std::ranges::is_sorted(values)) << key;
    EXPECT_GT(values.size(), 10U) << key;
  }
}

TEST(Watch, EndsWithStatusZeroOnCtrlC) {
  const Robot robot;
  Process watcher(robot.ledctlCommand({"watch", "Face/*"}));
  watcher.waitForLine("Device/SubDeviceList/Face/Led/");
  watcher.signal(SIGINT);
  EXPECT_EQ(watcher.wait(2s).status, 0);
}

TEST(Watch, EndsAfterTheUpdatesAskedFor) {
  const Robot robot;
  EXPECT_EQ(linesOf(robot.ledctl({"watch", "--count", "1", "Face/*"})).size(), 48U);
  const auto nothing = robot.ledctl({"watch", "--count", "1", "Nowhere/*"});
  EXPECT_EQ(nothing.out, "");
  EXPECT_THAT(nothing.err, ::testing::HasSubstr("Nowhere"));
}

TEST(Watch, PrintsPlainLinesWhenPiped) {
  const Robot robot;
  const auto ended = robot.ledctl({"watch", "--count", "1", "Face/*"});
  EXPECT_THAT(ended.out, Not(::testing::HasSubstr("\x1b")));
  EXPECT_THAT(linesOf(ended), Each(::testing::EndsWith("/Actuator/Value 0")));
}

TEST(Lirae, ScalesItsEarsAndHasNoFeet) {
  const Robot robot("models/lirae.xml");
  EXPECT_EQ(robot.readyLine(), "robot=Lirae");
  EXPECT_EQ(robot.ledctl({"setIntensity", "EarLeds", "1"}).status, 0);
  const auto ears = linesOf(robot.ledctl({"watch", "--count", "1", "Ears/*"}));
  EXPECT_FALSE(ears.empty());
  EXPECT_THAT(ears, Each(::testing::EndsWith(" 0.7")));
  EXPECT_THAT(linesOf(robot.ledctl({"listGroups"})), Not(Contains("FeetLeds")));
}

TEST(OwnModel, LightsTheLedThatWasAddedToAnotherModel) {
  const TemporaryFolder folder;
  std::ifstream file("models/vanto.xml");
  std::string xml{std::istreambuf_iterator<char>(file), {}};
  const auto end = xml.rfind("</leds>");
  ASSERT_NE(end, std::string::npos);
  xml.insert(end, R"(<led short="TailLed" groups="TailLeds">
      <device name="Tail/Led/White" color="white"/></led>)");
  const Robot robot(folder.write("own.xml", xml));
  EXPECT_THAT(linesOf(robot.ledctl({"listLEDs"})), Contains("TailLed"));
  EXPECT_EQ(robot.ledctl({"on", "TailLeds"}).status, 0);
  EXPECT_EQ(robot.ledctl({"getIntensity", "Tail/Led/White/Actuator/Value"}).out, "1\n");
}

TEST(Minimal, LightsItsOnlyLed) {
  const Robot robot("models/minimal.xml");
  const auto leds = linesOf(robot.ledctl({"listLEDs"}));
  ASSERT_EQ(leds.size(), 1U);
  EXPECT_EQ(robot.ledctl({"--wait", "fadeRGB", leds[0], "cyan", "0"}).status, 0);
  EXPECT_EQ(robot.ledctl({"getIntensity", leds[0]}).out.substr(0, 1), "[");
}

TEST(Picture, ShowsALitLedInItsColorAndTheOthersDark) {
  const Robot robot;
  EXPECT_EQ(robot.ledctl({"_fadeRGB", "ChestLeds", "1", "0", "0", "0"}).status, 0);
  const auto drawn = run({"tools/draw-robot", "models/vanto.xml"},
                         {"LEDCTL=" + ledctlProgram(), "LEDCTL_ROBOT=unix:" + robot.socket()});
  EXPECT_EQ(drawn.status, 0) << drawn.err;
  EXPECT_EQ(countOf("fill=\"#ff0000\"", drawn.out), 2);  // the LED and its glow
  EXPECT_GT(countOf("fill=\"#2b323b\"", drawn.out), 40);
}

}  // namespace
}  // namespace tests
