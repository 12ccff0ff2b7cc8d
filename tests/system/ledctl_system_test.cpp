// ledctl from outside, against a running robot.
#include <gmock/gmock.h>

#include <csignal>
#include <nlohmann/json.hpp>

#include "tests/system/robot.h"

namespace tests {
namespace {

using namespace std::chrono_literals;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::StartsWith;

/// One robot for all tests of this program; each looks only at LEDs and groups that it sets.
Robot& robot() {
  static Robot instance("models/vanto.xml", {"--module", testModule("standing_module")});
  return instance;
}

Outcome ledctl(const std::vector<std::string>& words) { return robot().ledctl(words); }

/// Standard output of a command that succeeds.
std::string outputOf(const std::vector<std::string>& words) {
  const auto ended = ledctl(words);
  EXPECT_EQ(ended.status, 0) << ended.err;
  EXPECT_EQ(ended.err, "");
  return ended.out;
}

std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> lines;
  for (std::size_t at = 0; at < text.size();) {
    const auto end = std::min(text.find('\n', at), text.size());
    lines.push_back(text.substr(at, end - at));
    at = end + 1;
  }
  return lines;
}

/// How many long calls of the test module have begun.
int begun() { return std::stoi(outputOf({"--service", "Standing", "begun"})); }
/// How many calls of the test module were asked to stop.
int stops() { return std::stoi(outputOf({"--service", "Standing", "stops"})); }

TEST(Ledctl, SetsAnIntensityThatMemoryThenHolds) {
  EXPECT_EQ(outputOf({"setIntensity", "FeetLeds", "0.5"}), "");
  const auto device = linesOf(outputOf({"listGroup", "FeetLeds"})).front();
  EXPECT_EQ(outputOf({"getIntensity", device}), "0.5\n");
  EXPECT_EQ(outputOf({"--service", "HBMemory", "getData", "Device/SubDeviceList/" + device}),
            "0.5\n");
}

TEST(Ledctl, PrintsTheRobotsTextUnchangedWhenACallFails) {
  const auto ended = ledctl({"getIntensity", "FaceLeds"});
  EXPECT_EQ(ended.status, 1);
  EXPECT_EQ(ended.out, "");
  EXPECT_EQ(ended.err, "HBLeds: xGetGroupIntensity: function not implemented in this version...\n");
}

TEST(Ledctl, FailsWithTheTextForAColourThatIsNotSupported) {
  const auto ended = ledctl({"fadeRGB", "FaceLeds", "Red", "1"});
  EXPECT_EQ(ended.status, 1);
  EXPECT_EQ(ended.err,
            "Color given as parameter Red is not supported. Supported colors are: white, red, "
            "green, blue, yellow, magenta, cyan\n");
}

TEST(Ledctl, ListsAGroupThatItCreated) {
  outputOf({"createGroup", "G", R"(["FaceLeds","ChestLeds"])"});
  const auto members = linesOf(outputOf({"listGroup", "G"}));
  const auto face = linesOf(outputOf({"listGroup", "FaceLeds"}));
  const auto chest = linesOf(outputOf({"listGroup", "ChestLeds"}));
  EXPECT_EQ(members.size(), face.size() + chest.size());
  EXPECT_EQ(face.size(), 48U);
}

TEST(Ledctl, ChoosesTheFadeThatTheArgumentsMean) {
  outputOf({"--wait", "fadeRGB", "FeetLeds", "green", "0"});
  outputOf({"--wait", "fadeRGB", "FeetLeds", "0xff0000", "0"});
  outputOf({"--wait", "fadeRGB", "FeetLeds", "255", "0"});
  outputOf({"--wait", "fadeRGB", "FeetLeds", "0.25", "0.5", "0.75", "0"});
  for (const auto& device : linesOf(outputOf({"listGroup", "FeetLeds"}))) {
    const bool isRed = device.find("/Red/") != std::string::npos;
    const bool isGreen = device.find("/Green/") != std::string::npos;
    EXPECT_EQ(outputOf({"getIntensity", device}), isRed ? "0.25\n" : isGreen ? "0.5\n" : "0.75\n");
  }
}

TEST(Ledctl, FadesThroughAListOfColours) {
  const auto start = std::chrono::steady_clock::now();
  outputOf({"--wait", "fadeListRGB", "FeetLeds", "[0xff0000,255]", "[0.1,0.3]"});
  EXPECT_GE(std::chrono::steady_clock::now() - start, 300ms);
  for (const auto& device : linesOf(outputOf({"listGroup", "FeetLeds"}))) {
    const bool isBlue = device.find("/Blue/") != std::string::npos;
    EXPECT_EQ(outputOf({"getIntensity", device}), isBlue ? "1\n" : "0\n") << device;
  }
}

TEST(Ledctl, ReturnsBeforeAFadeEndsUnlessToldToWait) {
  const auto timeOf = [](const std::vector<std::string>& words) {
    const auto start = std::chrono::steady_clock::now();
    outputOf(words);
    return std::chrono::steady_clock::now() - start;
  };
  EXPECT_GE(timeOf({"--wait", "fade", "BrainLeds", "1", "1"}), 1s);
  EXPECT_LT(timeOf({"fade", "BrainLeds", "0", "10"}), 5s);
  outputOf({"off", "BrainLeds"});
}

TEST(Ledctl, PassesNegativeAndUnusualNumbersOn) {
  EXPECT_EQ(ledctl({"setIntensity", "FaceLeds", "--", "-0.5"}).status, 1);
  EXPECT_EQ(ledctl({"setIntensity", "FaceLeds", "--", "-inf"}).status, 1);
  EXPECT_EQ(ledctl({"setIntensity", "FaceLeds", "inf"}).status, 1);
  EXPECT_EQ(ledctl({"setIntensity", "FaceLeds", "0x2"}).status, 1);
  EXPECT_EQ(ledctl({"setIntensity", "FaceLeds", "0x1"}).status, 0);
  outputOf({"off", "FaceLeds"});
}

TEST(Ledctl, PrintsJsonWhenAsked) {
  EXPECT_EQ(outputOf({"--json", "off", "BrainLeds"}), "null\n");
  const auto groups = nlohmann::json::parse(outputOf({"--json", "listGroups"}));
  EXPECT_THAT(groups, ::testing::Contains("FaceLeds"));
  const auto services = nlohmann::json::parse(outputOf({"services", "--json"}));
  EXPECT_THAT(services, ::testing::Contains("HBLeds"));
}

TEST(Ledctl, ListsTheRobotsServices) {
  EXPECT_EQ(outputOf({"services"}),
            "HBHost\nHBLeds\nHBMemory\nHBMotion\nHBRobotModel\nHBSignsAndFeedback\nStanding\n");
}

TEST(Ledctl, ListsOneLineOrOneElementARowOfTheTable) {
  const auto lines = linesOf(outputOf({"methods"}));
  const auto json = nlohmann::json::parse(outputOf({"methods", "--json"}));
  EXPECT_EQ(lines.size(), json.size());
  EXPECT_EQ(json[0]["name"], "createGroup");
  const auto isFadeRgb = [](const auto& row) { return row["name"] == "fadeRGB"; };
  EXPECT_EQ(std::ranges::count_if(json, isFadeRgb), 3);
}

TEST(Ledctl, DescribesAMethodFromItsPublishedDocumentation) {
  const auto text = outputOf({"describe", "fadeRGB"});
  EXPECT_THAT(text, AllOf(HasSubstr("Sets the color of an RGB led."),
                          HasSubstr("fadeRGB NAME COLORNAME DURATION"),
                          HasSubstr("The name of the LED or Group.")));
  EXPECT_EQ(outputOf({"fadeRGB", "--help"}), text);
  EXPECT_THAT(outputOf({"describe", "off"}), HasSubstr("Example (python):\n    # Example showing"));
}

TEST(Ledctl, DescribesTheWholeService) {
  EXPECT_THAT(outputOf({"describe"}), HasSubstr("This module allows you to control VANTO's LEDs."));
}

TEST(Ledctl, SuggestsWhatMayHaveBeenMeant) {
  struct Case {
    std::vector<std::string> words;
    std::string suggestion;
  };
  for (const auto& [words, suggestion] : std::vector<Case>{
           {{"fadeRBG", "FaceLeds", "red", "1"}, "Did you mean 'fadeRGB'"},
           {{"describe", "lisGroups"}, "Did you mean 'listGroup"},
           {{"--service", "HBLed", "listGroups"}, "Did you mean 'HBLeds'?"},
           {{"listGroups", "--jsno"}, "Did you mean '--json'?"},
           {{"fadeRGB", "FaceLeds"}, "ledctl fadeRGB NAME COLORNAME DURATION"},
           {{"setIntensity", "FaceLeds", "half"}, "ledctl setIntensity NAME INTENSITY"},
           {{"services", "x"}, "Usage: ledctl services"},
       }) {
    const auto ended = ledctl(words);
    EXPECT_EQ(ended.status, 2) << words.front();
    EXPECT_EQ(ended.out, "");
    EXPECT_THAT(ended.err, AllOf(StartsWith("ledctl: "), HasSubstr(suggestion)));
  }
}

TEST(Ledctl, SaysWhichRobotItDidNotReachAndWhatToTry) {
  for (const char* address : {"127.0.0.1:1", "unix:/nowhere/robot.sock"}) {
    const auto ended = run({ledctlProgram(), "--robot", address, "listGroups"});
    EXPECT_EQ(ended.status, 3);
    EXPECT_EQ(ended.out, "");
    EXPECT_THAT(ended.err, AllOf(HasSubstr(address), HasSubstr("Is a robot running there?")));
  }
}

TEST(Ledctl, TakesAMalformedAddressForWrongUsage) {
  EXPECT_EQ(run({ledctlProgram(), "--robot", "nonsense", "listGroups"}).status, 2);
}

TEST(Ledctl, ReachesTheRobotThroughItsSocketAndByEnvironment) {
  const std::string socket = "unix:" + robot().socket();
  EXPECT_EQ(run({ledctlProgram(), "--robot", socket, "listGroups"}).status, 0);
  EXPECT_EQ(run({ledctlProgram(), "listGroups"}, {"LEDCTL_ROBOT=" + robot().address()}).status, 0);
}

TEST(Ledctl, HelpLeadsWithExamplesAndNeedsNoRobot) {
  const auto ended = run({ledctlProgram(), "--help"}, {"LEDCTL_ROBOT=127.0.0.1:1"});
  EXPECT_EQ(ended.status, 0);
  EXPECT_LT(ended.out.find("ledctl setIntensity FaceLeds 0.5"), ended.out.find("Usage:"));
  EXPECT_EQ(run({ledctlProgram()}).status, 2);
}

TEST(Ledctl, StopsARunningCallOnCtrlC) {
  const int before = stops();
  const int begunBefore = begun();
  Process caller(robot().ledctlCommand({"--service", "Standing", "waitForStop"}));
  ASSERT_TRUE(eventually([&] { return begun() > begunBefore; }));
  caller.signal(SIGINT);
  const auto ended = caller.wait(2s);
  EXPECT_EQ(ended.status, 130);
  EXPECT_EQ(ended.err, "ledctl: stopped\n");
  EXPECT_TRUE(eventually([&] { return stops() > before; }));
}

TEST(Ledctl, StopsARunningCallWhenItIsKilled) {
  const int before = stops();
  const int begunBefore = begun();
  {
    const Process caller(robot().ledctlCommand({"--service", "Standing", "waitForStop"}));
    ASSERT_TRUE(eventually([&] { return begun() > begunBefore; }));
  }
  EXPECT_TRUE(eventually([&] { return stops() > before; }));
}

}  // namespace
}  // namespace tests
