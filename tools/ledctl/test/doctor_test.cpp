#include "tools/ledctl/doctor.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <nlohmann/json.hpp>

namespace ledctl {
namespace {

using namespace std::chrono_literals;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

RobotFacts healthy() {
  RobotFacts facts;
  facts.address = "127.0.0.1:5480";
  facts.source = "--robot";
  facts.clientVersion = "1.0.0";
  facts.name = "Vanto";
  facts.version = "1.0.0";
  facts.protocol = "1.1";
  facts.uptime = 65s;
  facts.isReady = true;
  facts.role = "operator";
  facts.modules = {"memory", "robotmodel", "motion", "signsandfeedback", "leds"};
  facts.services = {"HBHost",   "HBLeds",       "HBMemory",
                    "HBMotion", "HBRobotModel", "HBSignsAndFeedback"};
  facts.limits = {{"list elements", 4096}, {"connections", 1024}};
  facts.calls = {{12, "ledctl", "unix:", "HBLeds", "rotateEyes", 2500ms}};
  return facts;
}

TEST(ProblemsOf, AreNoneOfAWholeRobot) { EXPECT_THAT(problemsOf(healthy()), IsEmpty()); }

TEST(ProblemsOf, NameAServiceThatIsMissingAndWhatBringsItBack) {
  auto facts = healthy();
  std::erase(facts.services, "HBMotion");
  std::erase(facts.modules, "motion");
  const auto problems = problemsOf(facts);
  ASSERT_THAT(problems, SizeIs(1));
  EXPECT_EQ(problems[0].what, "There is no HBMotion: no LED changes.");
  EXPECT_THAT(problems[0].advice, HasSubstr("ledctl --service HBHost loadModule motion"));
}

TEST(ProblemsOf, SayThatAMissingServiceMayBeOnItsWay) {
  auto facts = healthy();
  std::erase(facts.services, "HBLeds");
  facts.isReady = false;
  const auto problems = problemsOf(facts);
  ASSERT_THAT(problems, SizeIs(2));
  EXPECT_THAT(problems[0].what, HasSubstr("not ready"));
  EXPECT_THAT(problems[1].advice, HasSubstr("being loaded"));
}

TEST(ProblemsOf, NameBothVersionsWhenTheyDiffer) {
  auto facts = healthy();
  facts.version = "1.1.0";
  const auto problems = problemsOf(facts);
  ASSERT_THAT(problems, SizeIs(1));
  EXPECT_THAT(problems[0].what, HasSubstr("1.1.0, ledctl is 1.0.0"));
}

TEST(ProblemsOf, NameACallThatRunsForLong) {
  auto facts = healthy();
  facts.calls[0].duration = 11min;
  ASSERT_THAT(problemsOf(facts), SizeIs(1));
  EXPECT_THAT(problemsOf(facts)[0].what, HasSubstr("#12 HBLeds rotateEyes"));
}

TEST(ProblemsOf, AreTheFailureAloneWithoutAConnection) {
  RobotFacts facts;
  facts.address = "127.0.0.1:1";
  facts.source = "LEDCTL_ROBOT";
  facts.failure = "No robot at 127.0.0.1:1";
  const auto problems = problemsOf(facts);
  ASSERT_THAT(problems, SizeIs(1));
  EXPECT_EQ(problems[0].what, facts.failure);
  EXPECT_THAT(problems[0].advice, HasSubstr("LEDCTL_ROBOT"));
  EXPECT_THAT(problems[0].advice, HasSubstr("make run"));
}

TEST(DoctorText, TellsWhatRunsWhere) {
  const auto text = doctorText(healthy(), {});
  EXPECT_THAT(text, HasSubstr("robot     Vanto at 127.0.0.1:5480\n"));
  EXPECT_THAT(text, HasSubstr("up        1 min 5 s, ready\n"));
  EXPECT_THAT(text, HasSubstr("#12 HBLeds rotateEyes, by ledctl (unix:), for 2.5 s\n"));
  EXPECT_THAT(text, HasSubstr("limits    list elements 4096\n          connections 1024\n"));
  EXPECT_THAT(text, EndsWith("\nAll is well.\n"));
}

TEST(DoctorText, EndsWithWhatIsWrong) {
  EXPECT_THAT(doctorText(healthy(), {{"It hums.", "Listen."}}),
              EndsWith("\nWRONG: It hums.\n       Listen.\n"));
}

TEST(DoctorJson, HoldsFactsAndProblems) {
  const auto json = nlohmann::json::parse(doctorJson(healthy(), {{"It hums.", "Listen."}}));
  EXPECT_EQ(json["name"], "Vanto");
  EXPECT_EQ(json["limits"]["list elements"], 4096);
  EXPECT_EQ(json["calls"][0]["method"], "rotateEyes");
  EXPECT_EQ(json["problems"][0]["what"], "It hums.");
  EXPECT_EQ(json["ok"], false);
  EXPECT_EQ(nlohmann::json::parse(doctorJson(healthy(), {}))["ok"], true);
}

TEST(DurationText, NamesTheTwoLargestUnits) {
  EXPECT_EQ(durationText(740ms), "0.7 s");
  EXPECT_EQ(durationText(245s), "4 min 5 s");
  EXPECT_EQ(durationText(3h + 5min), "3 h 5 min");
  EXPECT_EQ(durationText(51h), "2 d 3 h");
}

}  // namespace
}  // namespace ledctl
