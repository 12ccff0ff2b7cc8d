#include "tools/ledctl/completion.h"

#include <gmock/gmock.h>

#include <stdexcept>

#include "tools/ledctl/names_of.h"
#include "tools/ledctl/test/tables.h"

namespace ledctl {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testing::kBool;
using testing::kString;
using testing::listOf;
using testing::method;
using ::testing::Not;

/// A table whose texts say what its arguments are.
xo::ObjectInfo table() {
  auto made = testing::ledTable();
  made.methods.push_back(method("listLEDs", {}, listOf(kString)));
  made.methods.push_back(method("find", {{"key", kString}}));
  made.methods.push_back(method("listKeys", {{"pattern", kString}}, listOf(kString)));
  made.methods.push_back(method("show", {{"groupName", kString}, {"leaveOn", kBool}}));
  for (auto& row : made.methods) {
    for (auto& param : row.doc.params) {
      if (param.name == "name") param.text = "The name of the LED or Group.";
      if (param.name == "colorName") param.text = R"(the name (supported: "white", "red"))";
    }
  }
  return made;
}

class Names final : public NameSource {
 public:
  std::vector<std::string> services() override { return {"HBLeds", "HBMemory"}; }
  xo::ObjectInfo describe(const std::string& service) override {
    described = service;
    return table();
  }
  std::vector<std::string> list(const std::string&, const std::string& method,
                                const std::vector<std::string>& arguments) override {
    if (method == "listGroups") return {"AllLeds", "FaceLeds", "two words", "odd\nname"};
    if (method == "listLEDs") return {"FaceLedLeft0", "ChestLed"};
    if (method == "listKeys") {
      asked = arguments.at(0);
      return {"Device/SubDeviceList/Face/Led/Red/Left/0Deg/Actuator/Value",
              "RobotConfig/Head/Type"};
    }
    throw std::out_of_range(method);
  }
  std::string described;
  std::string asked;
};

std::vector<std::string> fixed(const std::vector<std::string>& words) {
  return fixedCandidates(readTyped(words));
}
std::vector<std::string> ofRobot(const std::vector<std::string>& words) {
  Names names;
  return robotCandidates(readTyped(words), names);
}

TEST(ReadTyped, TellsOptionsFromWords) {
  const auto typed =
      readTyped(std::vector<std::string>{"--json", "fade", "--robot", "h:1", "'a b'", "x"});
  EXPECT_THAT(typed.options, ElementsAre("--json", "--robot=h:1"));
  EXPECT_THAT(typed.words, ElementsAre("fade", "a b"));
  EXPECT_EQ(typed.current, "x");
  EXPECT_EQ(typed.awaiting, "");
}

TEST(ReadTyped, KnowsWhichOptionAwaitsItsValue) {
  EXPECT_EQ(readTyped(std::vector<std::string>{"--service", "HB"}).awaiting, "--service");
  const auto joined = readTyped(std::vector<std::string>{"--service=HB"});
  EXPECT_EQ(joined.awaiting, "--service");
  EXPECT_EQ(joined.current, "HB");
  EXPECT_EQ(joined.start, "--service=");
  EXPECT_EQ(readTyped(std::vector<std::string>{"--wait", ""}).awaiting, "");
}

TEST(FixedCandidates, AreCommandsAndOptions) {
  EXPECT_THAT(fixed({"w"}), ElementsAre("watch"));
  EXPECT_THAT(fixed({"--to"}), ElementsAre("--token-file"));
  EXPECT_THAT(fixed({"off", "--js"}), ElementsAre("--json"));
  EXPECT_THAT(fixed({"off", "w"}), IsEmpty());
  EXPECT_THAT(fixed({"off", "--", "--js"}), IsEmpty());
  EXPECT_THAT(fixed({}), Contains("doctor"));
}

TEST(RobotCandidates, AreMethodsForTheFirstWord) {
  EXPECT_THAT(ofRobot({"fad"}), ElementsAre("fadeListRGB", "fadeRGB"));
  EXPECT_THAT(ofRobot({"describe", "fadeR"}), ElementsAre("fadeRGB"));
  EXPECT_THAT(ofRobot({"call", "fadeR"}), ElementsAre("fadeRGB"));
}

TEST(RobotCandidates, ArePrivateMethodsOnceTheUnderscoreIsTyped) {
  EXPECT_THAT(ofRobot({""}), Not(Contains("_blink")));
  EXPECT_THAT(ofRobot({"_"}), ElementsAre("_blink"));
}

TEST(RobotCandidates, AreNamesThatTheServiceLists) {
  EXPECT_THAT(ofRobot({"setIntensity", "F"}), ElementsAre("FaceLedLeft0", "FaceLeds"));
  EXPECT_THAT(ofRobot({"call", "setIntensity", "A"}), ElementsAre("AllLeds"));
  EXPECT_THAT(ofRobot({"show", "F"}), ElementsAre("FaceLeds")) << "a group, no LED";
  EXPECT_THAT(ofRobot({"setIntensity", "FaceLeds", ""}), IsEmpty());
  EXPECT_THAT(ofRobot({"setIntensity", "FaceLeds", "1", ""}), IsEmpty());
}

TEST(RobotCandidates, LeaveOutWhatIsNoLine) {
  EXPECT_THAT(ofRobot({"setIntensity", ""}),
              ElementsAre("AllLeds", "ChestLed", "FaceLedLeft0", "FaceLeds", "two words"));
}

TEST(RobotCandidates, AreTheWordsThatTheTextQuotes) {
  EXPECT_THAT(ofRobot({"fadeRGB", "FaceLeds", ""}), ElementsAre("red", "white"));
  EXPECT_THAT(ofRobot({"show", "FaceLeds", "t"}), ElementsAre("true"));
}

TEST(RobotCandidates, FillInListsOfTexts) {
  EXPECT_THAT(ofRobot({"createGroup", "G", "'[\""}),
              ElementsAre("[\"ChestLed\"", "[\"FaceLedLeft0\""));
  // What both have in common is what a shell fills in: the next key says how the list goes on.
  EXPECT_THAT(ofRobot({"createGroup", "G", "'[\"a\",\"F"}),
              ElementsAre("[\"a\",\"FaceLedLeft0\",\"", "[\"a\",\"FaceLedLeft0\"]"));
  EXPECT_THAT(ofRobot({"createGroup", "G", ""}), IsEmpty());
}

TEST(RobotCandidates, AskForKeysThatBeginWithTheWord) {
  Names names;
  const auto typed = readTyped(std::vector<std::string>{"find", "Robot"});
  EXPECT_THAT(robotCandidates(typed, names), ElementsAre("RobotConfig/Head/Type"));
  EXPECT_EQ(names.asked, "Robot*");
}

TEST(RobotCandidates, ArePatternsOfPartsForAWatch) {
  EXPECT_THAT(ofRobot({"watch", ""}), ElementsAre("Face/*", "RobotConfig/*"));
  EXPECT_THAT(ofRobot({"watch", "F"}), ElementsAre("Face/*"));
  EXPECT_THAT(ofRobot({"watch", "Face/*", ""}), IsEmpty());
}

TEST(RobotCandidates, ComeFromTheServiceThatIsNamed) {
  EXPECT_THAT(ofRobot({"--service", "HBM"}), ElementsAre("HBMemory"));
  EXPECT_THAT(ofRobot({"--service=HBM"}), ElementsAre("--service=HBMemory"));
  Names names;
  robotCandidates(readTyped(std::vector<std::string>{"--service", "HBMemory", "x"}), names);
  EXPECT_EQ(names.described, "HBMemory");
}

TEST(RobotCandidates, AreNoneForOptionsAndFreeValues) {
  EXPECT_THAT(ofRobot({"--count", ""}), IsEmpty());
  EXPECT_THAT(ofRobot({"-"}), IsEmpty());
  EXPECT_THAT(ofRobot({"describe", "fadeRGB", ""}), IsEmpty());
}

TEST(PlainWords, AreLowerCaseAndSingular) {
  EXPECT_THAT(plainWords("ledNames"), ElementsAre("led", "name"));
  EXPECT_THAT(plainWords("listLEDs"), ElementsAre("list", "led"));
  EXPECT_THAT(plainWords("The name of the LED or Group."),
              ElementsAre("the", "name", "of", "the", "led", "or", "group"));
}

TEST(QuotedWords, AreThoseBetweenQuotes) {
  EXPECT_THAT(quotedWords(R"(a "b", "c d" and "e" but "f)"), ElementsAre("b", "e"));
}

}  // namespace
}  // namespace ledctl
