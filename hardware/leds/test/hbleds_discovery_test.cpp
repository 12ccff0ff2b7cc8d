// What the module makes of a robot's model: inventory, ratios, defaults, deprecations, conflicts.
#include <gmock/gmock.h>

#include "hardware/leds/test/support/errors.h"
#include "hardware/leds/test/support/leds_access.h"
#include "hardware/leds/test/support/robot.h"

namespace HB::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;
using Set = std::set<std::string>;

/// A constructed module and what its construction logged.
struct Made {
  explicit Made(const RobotXml& xml) : around(Surroundings::complete(xml)), leds(around->broker) {}

  float ratio(const std::string& actuator) {
    return in.info(actuator + "/Actuator/Value").intensityRatio;
  }
  float defaultIntensity(const std::string& actuator) {
    return in.info(actuator + "/Actuator/Value").defaultIntensity;
  }
  /// Whether nothing but the two waits was logged.
  bool isQuiet() { return around->log.lines().size() == 2; }

  std::unique_ptr<Surroundings> around;
  HBLeds leds;
  LedsAccess in{leds};
};

TEST(Discovery, NamesADeviceAfterItsActuator) {
  Made made(RobotXml().led("S", "G H", {{"A/B", "green"}}));
  ASSERT_EQ(made.in.fDeviceInfos().size(), 1u);
  const auto& info = made.in.info("A/B/Actuator/Value");
  EXPECT_EQ(info.name, "A/B/Actuator/Value");
  EXPECT_EQ(info.color, Sim::LEDActuator::Green);
  EXPECT_EQ(info.groups, (Set{"G", "H", "S"}));
  EXPECT_EQ(info.intensityRatio, 1.0F);
  EXPECT_EQ(info.defaultIntensity, 1.0F);
  EXPECT_EQ(made.in.fLedNameToDevices().at("S"), Set{"A/B/Actuator/Value"});
}

TEST(Discovery, MakesExactlyTheGroupsThatActuatorsName) {
  Made made(RobotXml().led("S", "G H", {{"A", "red"}}).led("T", "H", {{"B", "red"}}));
  EXPECT_THAT(made.leds.listGroups(), ElementsAre("G", "H"));
  EXPECT_THAT(made.leds.listGroup("G"), ElementsAre("A/Actuator/Value"));
  EXPECT_THAT(made.leds.listGroup("H"), ElementsAre("A/Actuator/Value", "B/Actuator/Value"));
}

TEST(Discovery, TakesAModelWithoutAnyGroup) {
  Made made(RobotXml().led("S", "", {{"A", "red"}}));
  EXPECT_THAT(made.leds.listGroups(), IsEmpty());
  EXPECT_THAT(made.in.info("A/Actuator/Value").groups, ElementsAre("S"));
  EXPECT_TRUE(made.isQuiet());
}

TEST(Discovery, KeepsTheFirstRecordOfAnActuatorListedTwice) {
  Made made(RobotXml().led("S", "G", {{"A", "red"}}).led("T", "H", {{"A", "blue"}}));
  EXPECT_THAT(made.leds.listLEDs(), ElementsAre("S", "T"));
  EXPECT_THAT(made.leds.listLED("T"), ElementsAre("A/Actuator/Value"));
  EXPECT_THAT(made.leds.listGroup("H"), ElementsAre("A/Actuator/Value"));
  const auto& info = made.in.info("A/Actuator/Value");
  EXPECT_EQ(info.color, Sim::LEDActuator::Red);
  EXPECT_EQ(info.groups, (Set{"G", "H", "S"}));  // H by its group's making, T never
}

TEST(Discovery, TakesAnActuatorWithoutAName) {
  Made made(RobotXml().led("S", "G", {{"", "red"}}));
  EXPECT_THAT(made.leds.listGroup("G"), ElementsAre("/Actuator/Value"));
  EXPECT_EQ(made.in.info("/Actuator/Value").name, "/Actuator/Value");
}

struct Head {
  std::string type;
  std::string version;
  float ears;
  float face;
};

class HeadRatio : public ::testing::TestWithParam<Head> {};

TEST_P(HeadRatio, FollowsTypeAndVersion) {
  const auto& head = GetParam();
  Made made(RobotXml::small().head(head.type, head.version));
  EXPECT_EQ(made.ratio("Ears/Led/0Deg"), head.ears);
  EXPECT_EQ(made.ratio("Ears/Led/36Deg"), head.ears);
  EXPECT_EQ(made.ratio("Face/Led/Red/0Deg"), head.face);
  EXPECT_EQ(made.ratio("Face/Led/Blue/45Deg"), head.face);
  EXPECT_EQ(made.ratio("Head/Led/Front"), 1.0F);
  EXPECT_EQ(made.ratio("ChestBoard/Led/Red"), 1.0F);
  EXPECT_TRUE(made.isQuiet());
}

INSTANTIATE_TEST_SUITE_P(
    Discovery, HeadRatio,
    ::testing::Values(Head{"Vanto", "4.0.9", 1.0F, 1.0F}, Head{"Vanto", "4.1.0", 0.5F, 1.0F},
                      Head{"Vanto", "4.1", 0.5F, 1.0F}, Head{"Vanto", "4.1.1", 0.5F, 1.0F},
                      Head{"Vanto", "4.10.0", 0.5F, 1.0F}, Head{"Vanto", "10.0", 0.5F, 1.0F},
                      Head{"Vanto", "4", 1.0F, 1.0F}, Head{"Lirae", "0.5.9", 1.0F, 1.0F},
                      Head{"Lirae", "0.6.0", 0.7F, 0.7F}, Head{"Lirae", "0.10.0", 0.7F, 0.7F},
                      Head{"Lirae", "4.1.0", 0.7F, 0.7F}, Head{"vanto", "4.1.0", 1.0F, 1.0F},
                      Head{"Vanto ", "4.1.0", 1.0F, 1.0F}, Head{"Other", "9.0", 1.0F, 1.0F},
                      Head{"Vanto", "new", 1.0F, 1.0F}, Head{"Lirae", "", 1.0F, 1.0F}),
    [](const auto& tested) { return "case" + std::to_string(tested.index); });

TEST(Discovery, SkipsTheRatiosWithoutALineWhenAHeadKeyIsMissing) {
  Made noHead(RobotXml::small());
  EXPECT_EQ(noHead.ratio("Ears/Led/0Deg"), 1.0F);
  EXPECT_TRUE(noHead.isQuiet());
  Made noVersion(RobotXml::small().config("RobotConfig/Head/Type", "Vanto"));
  EXPECT_EQ(noVersion.ratio("Ears/Led/0Deg"), 1.0F);
  EXPECT_TRUE(noVersion.isQuiet());
  Made noType(RobotXml::small().config("RobotConfig/Head/Version", "4.1.0"));
  EXPECT_EQ(noType.ratio("Ears/Led/0Deg"), 1.0F);
  EXPECT_TRUE(noType.isQuiet());
}

TEST(Discovery, LeavesTheFaceOfAnEarlessLiraeAlone) {
  Made made(RobotXml("Lirae").head("Lirae", "0.6.0").rgbLed("E", "FaceLeds", "Face/Led/%"));
  EXPECT_EQ(made.ratio("Face/Led/Red"), 1.0F);
  EXPECT_TRUE(made.isQuiet());
}

TEST(Discovery, DimsTheEarsOfAFacelessLirae) {
  Made made(RobotXml("Lirae").head("Lirae", "0.6.0").led("E", "EarLeds", {{"Ears/Led", "blue"}}));
  EXPECT_EQ(made.ratio("Ears/Led"), 0.7F);
  EXPECT_TRUE(made.isQuiet());
}

TEST(Discovery, TakesAnEarlessVanto) {
  Made made(RobotXml().head("Vanto", "4.1.0").rgbLed("E", "FaceLeds", "Face/Led/%"));
  EXPECT_EQ(made.ratio("Face/Led/Red"), 1.0F);
  EXPECT_TRUE(made.isQuiet());
}

TEST(Discovery, SetsDefaultIntensitiesByGroup) {
  Made made(RobotXml::small());
  EXPECT_EQ(made.defaultIntensity("Head/Led/Front"), 0.4F);
  EXPECT_EQ(made.defaultIntensity("ChestBoard/Led/Red"), 0.0F);
  EXPECT_EQ(made.defaultIntensity("Ears/Led/0Deg"), 0.0F);
  EXPECT_EQ(made.defaultIntensity("Face/Led/Green/0Deg"), 1.0F);
  EXPECT_EQ(made.defaultIntensity("LFoot/Led/Red"), 1.0F);
}

TEST(Discovery, LetsTheLaterGroupSetTheDefaultIntensityOfADeviceInTwo) {
  RobotXml xml;
  xml.led("1", "ChestLeds BrainLeds", {{"chest", "red"}})
      .led("2", "BrainLeds EarLeds", {{"ear", "red"}})
      .led("3", "EarLeds FaceLeds", {{"face", "red"}})
      .led("4", "ChestLeds FeetLeds", {{"feet", "red"}})
      .led("5", "BrainLeds OtherLeds", {{"brain", "red"}});
  Made made(xml);
  EXPECT_EQ(made.defaultIntensity("chest"), 0.0F);
  EXPECT_EQ(made.defaultIntensity("ear"), 0.0F);
  EXPECT_EQ(made.defaultIntensity("face"), 1.0F);
  EXPECT_EQ(made.defaultIntensity("feet"), 1.0F);
  EXPECT_EQ(made.defaultIntensity("brain"), 0.4F);
}

TEST(Discovery, SkipsTheDefaultsOfMissingGroupsWithoutALine) {
  Made made(RobotXml().led("E", "EarLeds", {{"Ears/Led", "blue"}}).led("X", "", {{"X", "red"}}));
  EXPECT_EQ(made.defaultIntensity("Ears/Led"), 0.0F);
  EXPECT_EQ(made.defaultIntensity("X"), 1.0F);
  EXPECT_TRUE(made.isQuiet());
}

TEST(Discovery, MarksSevenChestNamesAsDeprecatedOnEveryRobot) {
  for (const auto& xml : {RobotXml::small(), RobotXml().led("X", "", {{"X", "red"}})}) {
    Made made(xml);
    EXPECT_THAT(made.in.fDeprecatedLeds(),
                UnorderedElementsAre("ChestLeds", "ChestLedsRed", "ChestLedsGreen", "ChestLedsBlue",
                                     "ChestBoard/Led/Red/Actuator/Value",
                                     "ChestBoard/Led/Green/Actuator/Value",
                                     "ChestBoard/Led/Blue/Actuator/Value"));
  }
}

TEST(Discovery, RegistersFaceDevicesAndAllTheirGroupsAndShortNamesAsConflicts) {
  Made made(RobotXml::small());
  EXPECT_THAT(LedsAccess::conflicts(*made.in.fPassiveBlinking()),
              UnorderedElementsAre("AllLeds", "FaceLeds", "FaceLed0", "FaceLed1", "Eye0", "Eye1",
                                   small::kEye0Red, small::kEye0Green, small::kEye0Blue,
                                   small::kEye1Red, small::kEye1Green, small::kEye1Blue));
}

TEST(Discovery, RegistersNoConflictOnAFacelessRobot) {
  Made made(RobotXml().led("E", "EarLeds", {{"Ears/Led", "blue"}}));
  EXPECT_THAT(LedsAccess::conflicts(*made.in.fPassiveBlinking()), IsEmpty());
  EXPECT_TRUE(made.isQuiet());
}

}  // namespace
}  // namespace HB::test
