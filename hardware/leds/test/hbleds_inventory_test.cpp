// Names: what they stand for, how groups are made, what lists answer, who is warned of.
#include <gmock/gmock.h>

#include "hardware/leds/test/support/errors.h"
#include "hardware/leds/test/support/leds_access.h"
#include "hardware/leds/test/support/robot.h"
#include "hardware/leds/test/support/threads.h"

namespace HB::test {
namespace {

using ::testing::Contains;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;
using xo::log::Level;
using Strings = std::vector<std::string>;
using Set = std::set<std::string>;

std::string deprecationOf(const std::string& name) {
  return "The use of this LED (" + name +
         ") is deprecated since 1.14. You will not be able to set its intensity or its color "
         "anymore in further versions.";
}

class Inventory : public ::testing::Test {
 protected:
  Robot robot;
  LedsAccess in{robot.leds()};

  Strings warnings() { return robot.log().texts("HBLeds", Level::kWarning); }
  bool isConflicting(const std::string& name) {
    return in.fPassiveBlinking()->isConflictingResource(name);
  }
  /// Whether tables and records agree: a device is in a group exactly when its record says so.
  void expectConsistent() {
    for (const auto& [device, info] : in.fDeviceInfos()) {
      for (const auto& [group, devices] : in.fGroupToDevices()) {
        EXPECT_EQ(devices.count(device), info->groups.count(group)) << device << " in " << group;
      }
    }
  }
};

TEST_F(Inventory, NewLedGetsAShortNameAndARecord) {
  in.xAddLed("d", "s", Strings{"g"}, Sim::LEDActuator::White);
  EXPECT_EQ(in.fLedNameToDevices().at("s"), Set{"d"});
  EXPECT_EQ(in.info("d").name, "d");
  EXPECT_EQ(in.info("d").color, Sim::LEDActuator::White);
  EXPECT_EQ(in.info("d").groups, (Set{"g", "s"}));
}

TEST_F(Inventory, KnownLedKeepsItsRecordAndGainsAShortName) {
  in.xAddLed("d", "s", Strings{"g"}, Sim::LEDActuator::White);
  in.info("d").intensityRatio = 0.5F;
  in.xAddLed("d", "t", Strings{"h"}, Sim::LEDActuator::Red);
  EXPECT_EQ(in.fLedNameToDevices().at("s"), Set{"d"});
  EXPECT_EQ(in.fLedNameToDevices().at("t"), Set{"d"});
  EXPECT_EQ(in.info("d").color, Sim::LEDActuator::White);
  EXPECT_EQ(in.info("d").intensityRatio, 0.5F);
  EXPECT_EQ(in.info("d").groups, (Set{"g", "s"}));
}

TEST_F(Inventory, LedWithAnEmptyDeviceNameIsRefused) {
  EXPECT_EQ(invalidArgument([&] { in.xAddLed("", "s", Strings{}, Sim::LEDActuator::Red); }),
            "Could not construct LedInfo with empty name.");
}

TEST_F(Inventory, KindsOfNamesAreToldApart) {
  EXPECT_TRUE(in.xIsDeviceName(small::kEar1));
  EXPECT_FALSE(in.xIsDeviceName("Ear1"));
  EXPECT_FALSE(in.xIsDeviceName("EarLeds"));
  EXPECT_TRUE(in.xIsLedName("Ear1"));
  EXPECT_FALSE(in.xIsLedName("EarLed1"));
  EXPECT_FALSE(in.xIsLedName(small::kEar1));
  EXPECT_TRUE(in.xIsGroupName("EarLed1"));
  EXPECT_FALSE(in.xIsGroupName("Ear1"));
  EXPECT_FALSE(in.xIsGroupName("earled1"));
}

TEST_F(Inventory, NameStandsForItselfItsLedsDevicesOrItsGroups) {
  EXPECT_EQ(in.xGetDeviceNames(small::kEar1), Set{small::kEar1});
  EXPECT_EQ(in.xGetDeviceNames("Eye0"),
            (Set{small::kEye0Red, small::kEye0Green, small::kEye0Blue}));
  EXPECT_EQ(in.xGetDeviceNames("EarLeds"), (Set{small::kEar1, small::kEar2}));
}

TEST_F(Inventory, DeviceComesBeforeShortNameBeforeGroup) {
  in.fLedNameToDevices()[small::kEar1] = {small::kEar2};
  in.fGroupToDevices()[small::kEar1] = {small::kBrain};
  in.fGroupToDevices()["Eye0"] = {small::kBrain};
  EXPECT_EQ(in.xGetDeviceNames(small::kEar1), Set{small::kEar1});
  EXPECT_EQ(in.xGetDeviceNames("Eye0").size(), 3u);
}

TEST_F(Inventory, DeviceThatIsAlsoAGroupResolvesAsTheDevice) {
  robot.leds().createGroup(small::kEar1, {"FaceLeds"});
  EXPECT_EQ(in.xGetDeviceNames(small::kEar1), Set{small::kEar1});
  robot.leds().on(small::kEar1);
  EXPECT_THAT(robot.motion().onlyWrite().keys, ElementsAre(small::kPrefix + small::kEar1));
}

TEST_F(Inventory, UnknownNameIsRefusedWithItsOddSpacing) {
  for (const std::string name : {"Nose", "", "eye0", "Eye0 "}) {
    EXPECT_EQ(invalidArgument([&] { in.xGetDeviceNames(name); }),
              "Could not parse '" + name + " 'as a LED Device, RGB-LED or Group");
  }
}

TEST_F(Inventory, DeprecatedNameIsWarnedOfAtEveryUse) {
  in.xAddDeprecatedLed("Eye0");
  in.xDisplayDeprecation("Eye0");
  in.xDisplayDeprecation("Eye1");
  in.xDisplayDeprecation("Eye0");
  const LogLine line{"HBLeds", Level::kWarning, deprecationOf("Eye0")};
  EXPECT_THAT(robot.log().lines(), ElementsAre(line, line));
}

TEST_F(Inventory, ListsAreSortedByByte) {
  in.xCreateDeviceGroup("EarLed10", Set{small::kEar1});
  const auto groups = robot.call<Strings>("listGroups");
  EXPECT_THAT(groups,
              ElementsAre("AllLeds", "BrainLeds", "ChestLeds", "EarLed1", "EarLed10", "EarLed2",
                          "EarLeds", "FaceLed0", "FaceLed1", "FaceLeds", "FeetLeds"));
  EXPECT_THAT(robot.call<Strings>("listLEDs"),
              ElementsAre("Brain", "ChestLedsBlue", "ChestLedsGreen", "ChestLedsRed", "Ear1",
                          "Ear2", "Eye0", "Eye1", "LeftFoot"));
  EXPECT_THAT(robot.call<Strings>("listLED", "Eye0"),
              ElementsAre(small::kEye0Blue, small::kEye0Green, small::kEye0Red));
  EXPECT_THAT(robot.call<Strings>("listGroup", "FaceLeds"),
              ElementsAre(small::kEye0Blue, small::kEye1Blue, small::kEye0Green, small::kEye1Green,
                          small::kEye0Red, small::kEye1Red));
}

TEST_F(Inventory, ListLedRefusesEveryOtherKindOfName) {
  for (const std::string name : {"FaceLeds", "Nose", "", small::kEar1.c_str()}) {
    EXPECT_EQ(invalidArgument([&] { robot.leds().listLED(name); }),
              "HBLeds: listLED: Could not parse ledName as a LED name");
  }
}

TEST_F(Inventory, ListGroupRefusesEveryOtherKindOfName) {
  for (const std::string name : {"Eye0", "Nose", "", small::kEar1.c_str()}) {
    EXPECT_EQ(invalidArgument([&] { robot.leds().listGroup(name); }),
              "HBLeds: listGroup: Could not parse pName as a group name");
  }
}

TEST_F(Inventory, ListLedOfADeprecatedNameWarnsAndAnswers) {
  EXPECT_THAT(robot.leds().listLED("ChestLedsRed"), ElementsAre(small::kChestRed));
  EXPECT_THAT(warnings(), ElementsAre(deprecationOf("ChestLedsRed")));
}

TEST_F(Inventory, ListsWarnBeforeTheyRefuse) {
  EXPECT_THROW(robot.leds().listLED("ChestLeds"), std::invalid_argument);
  EXPECT_THAT(warnings(), ElementsAre(deprecationOf("ChestLeds")));
  robot.forget();
  EXPECT_THROW(robot.leds().listGroup("ChestLedsRed"), std::invalid_argument);
  EXPECT_THAT(warnings(), ElementsAre(deprecationOf("ChestLedsRed")));
  robot.forget();
  EXPECT_EQ(robot.leds().listGroup("ChestLeds").size(), 3u);
  EXPECT_THAT(warnings(), ElementsAre(deprecationOf("ChestLeds")));
}

TEST_F(Inventory, GroupIsMadeOfEveryKindOfName) {
  robot.leds().createGroup("G", {"EarLeds", small::kBrain, "Eye0", small::kEar1});
  EXPECT_EQ(in.fGroupToDevices().at("G"),
            (Set{small::kEar1, small::kEar2, small::kBrain, small::kEye0Red, small::kEye0Green,
                 small::kEye0Blue}));
  EXPECT_TRUE(in.info(small::kBrain).groups.count("G"));
  expectConsistent();
  EXPECT_THAT(robot.log().lines(), IsEmpty());
}

TEST_F(Inventory, GroupDoesNotFollowLaterChangesOfItsParts) {
  robot.leds().createGroup("A", {"Ear1"});
  robot.leds().createGroup("B", {"A"});
  robot.leds().createGroup("A", {"Brain"});
  EXPECT_EQ(in.fGroupToDevices().at("B"), Set{small::kEar1});
  expectConsistent();
}

TEST_F(Inventory, ReplacedGroupLeavesItsOldDevicesAndIsLogged) {
  robot.leds().createGroup("G", {"FaceLeds", "ChestLeds"});
  EXPECT_THAT(warnings(), ElementsAre(deprecationOf("ChestLeds")));
  robot.forget();
  robot.leds().createGroup("G", {"EarLeds"});
  EXPECT_THAT(robot.log().lines(),
              ElementsAre(LogLine{"HBLeds", Level::kWarning, "Overwritting existing LED group G"}));
  EXPECT_EQ(in.fGroupToDevices().at("G"), (Set{small::kEar1, small::kEar2}));
  for (const auto& [device, info] : in.fDeviceInfos()) {
    EXPECT_EQ(info->groups.count("G"), device == small::kEar1 || device == small::kEar2 ? 1u : 0u)
        << device;
  }
  expectConsistent();
}

TEST_F(Inventory, GroupMayBeReplacedByAnotherOfItself) {
  robot.leds().createGroup("EarLeds", {"EarLeds", "Brain"});
  EXPECT_EQ(in.fGroupToDevices().at("EarLeds"), (Set{small::kEar1, small::kEar2, small::kBrain}));
  expectConsistent();
}

TEST_F(Inventory, CreateGroupRefusesAnEmptyNameFirst) {
  EXPECT_EQ(invalidArgument([&] { robot.leds().createGroup("", {}); }),
            "HBLeds: createGroup: Cannot create an empty group name");
}

TEST_F(Inventory, CreateGroupRefusesAnEmptyList) {
  EXPECT_EQ(invalidArgument([&] { robot.leds().createGroup("G", {}); }),
            "HBLeds: createGroup: Cannot create an empty group");
}

TEST_F(Inventory, CreateGroupNamesTheFirstUnknownNameAndChangesNothing) {
  const auto groups = in.fGroupToDevices();
  EXPECT_EQ(invalidArgument([&] {
              robot.leds().createGroup("EarLeds", {"ChestLeds", "Nose", "Tail"});
            }),
            "HBLeds: createGroup: Could not parse one of the led names 'Nose' as a device name or "
            "a short name or a group.");
  EXPECT_EQ(in.fGroupToDevices(), groups);
  EXPECT_THAT(robot.log().lines(), IsEmpty());  // no warning of ChestLeds: all are checked first
  expectConsistent();
}

TEST_F(Inventory, CreateGroupWarnsInTheOrderGivenAndThenOfTheOverwriting) {
  robot.leds().createGroup("FeetLeds", {"ChestLedsRed", "Ear1", small::kChestBlue, "ChestLeds"});
  EXPECT_THAT(warnings(),
              ElementsAre(deprecationOf("ChestLedsRed"), deprecationOf(small::kChestBlue),
                          deprecationOf("ChestLeds"), "Overwritting existing LED group FeetLeds"));
}

TEST_F(Inventory, CreateGroupHoldsTheLockExclusivelyWhileItWarns) {
  bool shared = true;
  robot.log().onLine([&](const LogLine&) { shared = canShare(in.fLedsMutex()); });
  robot.leds().createGroup("G", {"ChestLeds"});
  EXPECT_FALSE(shared);
  EXPECT_TRUE(canExclude(in.fLedsMutex()));
}

TEST_F(Inventory, CreateGroupChecksForEmptinessBeforeItLocks) {
  const std::shared_lock reader(in.fLedsMutex());
  Beside emptyName([&] { robot.leds().createGroup("", {"Ear1"}); });
  Beside emptyList([&] { robot.leds().createGroup("G", {}); });
  EXPECT_TRUE(emptyName.ends());
  EXPECT_TRUE(emptyList.ends());
  EXPECT_THROW(emptyName.get(), std::invalid_argument);
  EXPECT_THROW(emptyList.get(), std::invalid_argument);
}

TEST_F(Inventory, CreateGroupReleasesTheLockWhenItRefuses) {
  EXPECT_THROW(robot.leds().createGroup("G", {"Nose"}), std::invalid_argument);
  EXPECT_TRUE(canExclude(in.fLedsMutex()));
}

TEST_F(Inventory, ListGroupHoldsTheLockSharedWhileItWarns) {
  bool shared = false;
  bool exclusive = true;
  robot.log().onLine([&](const LogLine&) {
    shared = canShare(in.fLedsMutex());
    exclusive = canExclude(in.fLedsMutex());
  });
  robot.leds().listGroup("ChestLeds");
  EXPECT_TRUE(shared);
  EXPECT_FALSE(exclusive);
}

TEST_F(Inventory, ListsOfLedsTakeNoLockAndListsOfGroupsDo) {
  std::unique_lock writer(in.fLedsMutex());
  Beside leds([&] { robot.leds().listLEDs(); });
  Beside led([&] { robot.leds().listLED("Eye0"); });
  Beside groups([&] { robot.leds().listGroups(); });
  Beside group([&] { robot.leds().listGroup("FaceLeds"); });
  EXPECT_TRUE(leds.ends());
  EXPECT_TRUE(led.ends());
  EXPECT_TRUE(groups.isKeptOut());
  EXPECT_TRUE(group.isKeptOut());
  writer.unlock();
  EXPECT_TRUE(groups.ends());
  EXPECT_TRUE(group.ends());
}

TEST_F(Inventory, GroupWithOneFaceDeviceConflictsWithPassiveBlinking) {
  robot.leds().createGroup("G", {"EarLeds", small::kEye0Red});
  EXPECT_TRUE(isConflicting("G"));
  robot.leds().createGroup("G", {"EarLeds"});
  EXPECT_FALSE(isConflicting("G"));
  robot.leds().createGroup("G", {"FaceLeds"});
  EXPECT_TRUE(isConflicting("G"));
}

TEST_F(Inventory, GroupWhoseDevicesDoNotConflictIsNoConflictEvenIfItsNameWas) {
  robot.leds().createGroup("FaceLed0", {"Ear1"});
  EXPECT_FALSE(isConflicting("FaceLed0"));
}

TEST_F(Inventory, OnlyConflictingDevicesMakeAGroupConflicting) {
  in.fPassiveBlinking()->addConflictingResource("Ear1");  // the short name, not its device
  robot.leds().createGroup("G", {"Ear1"});
  EXPECT_FALSE(isConflicting("G"));
}

TEST_F(Inventory, EmptyDeviceGroupIsKeptAndNoConflict) {
  in.fPassiveBlinking()->addConflictingResource("G");
  in.xCreateDeviceGroup("G", Set{});
  EXPECT_FALSE(isConflicting("G"));
  EXPECT_TRUE(in.xIsGroupName("G"));
  EXPECT_THAT(robot.leds().listGroup("G"), IsEmpty());
}

TEST(InventoryOfOddModels, EmptyShortNameIsAnLedNameListedFirst) {
  Robot robot(RobotXml().led("", "G", {{"A", "blue"}}).led("!", "G", {{"B", "blue"}}));
  EXPECT_THAT(robot.leds().listLEDs(), ElementsAre("", "!"));
  EXPECT_THAT(robot.leds().listLED(""), ElementsAre("A/Actuator/Value"));
  EXPECT_THAT(LedsAccess(robot.leds()).info("A/Actuator/Value").groups, ElementsAre("", "G"));
}

}  // namespace
}  // namespace HB::test
