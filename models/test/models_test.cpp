// The robot models of the tree, and the reader's verdict on the files that hold the schema.
#include <gmock/gmock.h>

#include <filesystem>
#include <map>
#include <set>

#include "framework/sim/model.h"
#include "models/test/content.h"

namespace {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::Ge;
using testing::IsEmpty;
using testing::Key;
using testing::Le;
using testing::Not;
using testing::SizeIs;

using Names = std::map<std::string, std::set<std::string>>;

/// A model and its names as the LED service sees them.
struct Robot {
  explicit Robot(const std::string& name) : model(contentOf("models/" + name + ".xml")) {
    for (const auto* led : model.ledActuators()) {
      devices.insert(led->name());
      shortnames[led->shortname()].insert(led->name());
      for (const auto& group : led->groups()) groups[group].insert(led->name());
    }
  }
  std::string value(const std::string& key) const { return model.config().at(key); }

  Sim::Model model;
  std::set<std::string> devices;
  Names shortnames;
  Names groups;
};

class EveryModel : public testing::TestWithParam<const char*> {
 protected:
  const Robot robot{GetParam()};
};

TEST_P(EveryModel, IsReadWithoutAWarning) {
  EXPECT_THAT(robot.model.warnings(), IsEmpty());
  EXPECT_EQ(robot.devices.size(), robot.model.ledActuators().size());
}

TEST_P(EveryModel, HasAllItsLedsInAllLedsAndAFace) {
  EXPECT_EQ(robot.groups.at("AllLeds"), robot.devices);
  EXPECT_THAT(robot.groups, Contains(Key("FaceLeds")));
}

TEST_P(EveryModel, UsesNoNameForTwoThings) {
  for (const auto& [name, devices] : robot.shortnames) {
    EXPECT_THAT(robot.groups, Not(Contains(Key(name))));
    EXPECT_THAT(robot.devices, Not(Contains(name)));
  }
}

TEST_P(EveryModel, DrawsEveryLedAtAPlaceOfItsOwn) {
  std::map<std::pair<double, double>, std::set<std::vector<std::string>>> places;
  for (const auto* led : robot.model.ledActuators()) {
    ASSERT_TRUE(led->position()) << led->name();
    EXPECT_GT(led->shape().width, 0) << led->name();
    places[{led->position()->x, led->position()->y}].insert(led->groups());
  }
  // The channels of one LED share their place and their groups.
  for (const auto& [place, groups] : places) EXPECT_EQ(groups.size(), 1u);
}

TEST_P(EveryModel, NamesEachChannelByItsColour) {
  for (const auto* led : robot.model.ledActuators()) {
    std::string word(Sim::colorName(led->color()));
    word[0] = static_cast<char>(std::toupper(word[0]));
    for (const std::string other : {"Red", "Green", "Blue"}) {
      if (other == word) continue;
      EXPECT_EQ(led->name().find("/" + other), std::string::npos) << led->name();
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Models, EveryModel, testing::Values("vanto", "lirae", "minimal"),
                         [](const auto& test) { return test.param; });

/// What animations address on a robot with two eyes and two ears.
void expectEyesAndEars(const Robot& robot, int earLeds) {
  EXPECT_THAT(robot.groups.at("FaceLeds"), SizeIs(48));
  for (const std::string side : {"Left", "Right"}) {
    EXPECT_THAT(robot.groups.at(side + "Eye"), SizeIs(24));
    EXPECT_THAT(robot.groups.at(side + "Ear"), SizeIs(earLeds));
    for (int place = 0; place < 8; ++place) {
      const std::string number = std::to_string(place);
      const auto& devices = robot.shortnames.at("FaceLed" + side + number);
      EXPECT_THAT(devices, SizeIs(3));
      for (const std::string color : {"Red", "Green", "Blue"}) {
        const auto device =
            "Face/Led/" + color + "/" + side + "/" + std::to_string(45 * place) + "Deg";
        EXPECT_THAT(devices, Contains(device));
        EXPECT_THAT(robot.groups.at("FaceLed" + number), Contains(device));
      }
    }
    for (int place = 0; place < earLeds; ++place) {
      const auto number = std::to_string(place + 1);
      const auto device = "Ears/Led/" + side + "/" + std::to_string(360 / earLeds * place) + "Deg";
      EXPECT_THAT(robot.shortnames.at("EarLed" + side + number), ElementsAre(device));
      EXPECT_THAT(robot.groups.at("EarLed" + number), Contains(device));
      EXPECT_THAT(robot.groups.at("EarLed" + number), SizeIs(2));
    }
  }
  EXPECT_THAT(robot.groups.at("EarLeds"), SizeIs(2 * earLeds));
  EXPECT_THAT(robot.groups, Not(Contains(Key("EarLed" + std::to_string(earLeds + 1)))));
  EXPECT_THAT(robot.groups, Not(Contains(Key("FaceLed8"))));
}

TEST(Vanto, HasEyesAndEars) { expectEyesAndEars(Robot("vanto"), 10); }

TEST(Vanto, HasChestFeetAndHead) {
  const Robot robot("vanto");
  EXPECT_THAT(robot.devices, SizeIs(48 + 20 + 3 + 6 + 12));
  EXPECT_THAT(robot.groups.at("ChestLeds"), SizeIs(3));
  EXPECT_THAT(robot.groups.at("FeetLeds"), SizeIs(6));
  EXPECT_THAT(robot.groups.at("BrainLeds"), SizeIs(12));
  EXPECT_THAT(robot.groups.at("BrainLedsFront"), SizeIs(4));
  EXPECT_THAT(robot.groups.at("BrainLedsMiddle"), SizeIs(2));
  EXPECT_THAT(robot.groups.at("BrainLedsRear"), SizeIs(6));
  EXPECT_THAT(robot.groups.at("BrainLedsLeft"), SizeIs(6));
  EXPECT_THAT(robot.groups.at("BrainLedsRight"), SizeIs(6));
}

TEST(Vanto, GivesEachChannelOfChestAndFeetAShortName) {
  const Robot robot("vanto");
  for (const std::string color : {"Red", "Green", "Blue"}) {
    EXPECT_THAT(robot.shortnames.at("ChestLeds" + color), ElementsAre("ChestBoard/Led/" + color));
    for (const std::string side : {"Left", "Right"}) {
      const auto device = side + "Foot/Led/" + color;
      EXPECT_THAT(robot.shortnames.at(side + "FootLeds" + color), ElementsAre(device));
      EXPECT_THAT(robot.groups.at(side + "FootLeds"), Contains(device));
    }
  }
}

TEST(Vanto, HasItsLeftAtTheViewersRight) {
  const Robot robot("vanto");
  for (const auto* led : robot.model.ledActuators()) {
    const double x = led->position()->x;
    EXPECT_EQ(led->name().find("Left") != std::string::npos, x > 0) << led->name();
    EXPECT_EQ(led->name().find("Right") != std::string::npos, x < 0) << led->name();
    EXPECT_THAT(led->position()->y, AllOf(Ge(0), Le(580)));
  }
}

TEST(Vanto, SaysWhichHeadItHas) {
  const Robot robot("vanto");
  EXPECT_EQ(robot.value("RobotConfig/Head/Type"), "Vanto");
  EXPECT_EQ(robot.value("RobotConfig/Head/Version"), "4.1.0");
  EXPECT_EQ(robot.model.prettyName(2), "Vanto 1.0 (head Vanto 4.1.0)");
}

TEST(Lirae, IsAnotherRobot) {
  const Robot robot("lirae");
  expectEyesAndEars(robot, 12);
  EXPECT_THAT(robot.devices, SizeIs(48 + 24 + 6 + 3));
  EXPECT_THAT(robot.groups.at("ShoulderLeds"), SizeIs(6));
  EXPECT_THAT(robot.shortnames.at("ShoulderLedLeft"), SizeIs(3));
  EXPECT_THAT(robot.groups, Not(Contains(Key("FeetLeds"))));
  EXPECT_THAT(robot.groups, Not(Contains(Key("BrainLeds"))));
  EXPECT_EQ(robot.value("RobotConfig/Head/Type"), "Lirae");
  EXPECT_EQ(robot.value("RobotConfig/Head/Version"), "0.6.0");
}

TEST(Minimal, IsOneLedInTenLines) {
  const Robot robot("minimal");
  EXPECT_THAT(robot.shortnames.at("EyeLed"),
              ElementsAre("Face/Led/Blue", "Face/Led/Green", "Face/Led/Red"));
  const auto text = contentOf("models/minimal.xml");
  EXPECT_LE(std::count(text.begin(), text.end(), '\n'), 10);
}

TEST(Reader, RefusesEveryFileThatTheSchemaRefuses) {
  int files = 0;
  for (const auto& entry : std::filesystem::directory_iterator("models/test/refused")) {
    EXPECT_THROW(Sim::Model model(contentOf(entry.path())), Sim::ModelError) << entry.path();
    ++files;
  }
  EXPECT_GT(files, 20);
}

TEST(Reader, AcceptsEveryFileThatTheSchemaAccepts) {
  int files = 0;
  for (const auto& entry : std::filesystem::directory_iterator("models/test/accepted")) {
    EXPECT_NO_THROW(Sim::Model model(contentOf(entry.path()))) << entry.path();
    ++files;
  }
  EXPECT_GE(files, 2);
}

}  // namespace
