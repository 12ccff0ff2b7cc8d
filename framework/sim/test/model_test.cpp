// What a model file says, and how lenient its reading is.
#include "framework/sim/model.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <ctime>

#include "framework/sim/model_utils.h"

namespace Sim {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

std::string robot(const std::string& content) {
  return "<robot name=\"Test\" version=\"1.2\">\n" + content + "</robot>\n";
}

std::string leds(const std::string& content) {
  return robot("<leds groups=\"AllLeds\">\n" + content + "</leds>\n");
}

/// The only LED of a model.
struct OnlyLed {
  explicit OnlyLed(const std::string& xml) : model(xml), led(*model.ledActuators().at(0)) {
    EXPECT_EQ(model.ledActuators().size(), 1u);
  }
  const Model model;
  const LEDActuator& led;
};

const std::string kDevice = "<device name=\"Eye/Red\" color=\"red\"/>";

TEST(Model, GivesTheLedsInTheOrderOfTheFile) {
  const Model model(leds(
      "<led short=\"B\"><device name=\"Z\" color=\"red\"/><device name=\"Y\" color=\"blue\"/></led>"
      "<led short=\"A\"><device name=\"X\" color=\"green\"/></led>"));
  std::vector<std::string> names;
  std::vector<std::string> shortnames;
  for (const auto* led : model.ledActuators("")) {
    names.push_back(led->name());
    shortnames.push_back(led->shortname());
  }
  EXPECT_THAT(names, ElementsAre("Z", "Y", "X"));
  EXPECT_THAT(shortnames, ElementsAre("B", "B", "A"));
  EXPECT_THAT(model.warnings(), IsEmpty());
}

TEST(Model, FiltersLedsByAPartOfTheirName) {
  const Model model(
      leds("<led short=\"A\"><device name=\"Face/Red\" color=\"red\"/>"
           "<device name=\"Ear/Blue\" color=\"blue\"/></led>"));
  ASSERT_EQ(model.ledActuators("Ear").size(), 1u);
  EXPECT_EQ(model.ledActuators("Ear")[0]->name(), "Ear/Blue");
  EXPECT_THAT(model.ledActuators("Foot"), IsEmpty());
}

TEST(Model, AddsUpTheGroupsOfTheElementsAroundADevice) {
  const OnlyLed only(
      robot("<leds groups=\"A\"><leds groups=\" B\n C\"><led groups=\"D\">"
            "<device name=\"n\" short=\"s\" color=\"red\" groups=\"E F\"/>"
            "</led></leds></leds>"));
  EXPECT_THAT(only.led.groups(), ElementsAre("A", "B", "C", "D", "E", "F"));
}

TEST(Model, LeavesTheGroupsOfAnElementWithTheElement) {
  const Model model(robot("<leds><leds groups=\"A\"><led short=\"s\">" + kDevice +
                          "</led></leds><led short=\"t\" groups=\"B\"><device name=\"2\" "
                          "color=\"red\" groups=\"C\"/><device name=\"3\" color=\"red\"/>"
                          "</led></leds>"));
  EXPECT_THAT(model.ledActuators()[0]->groups(), ElementsAre("A"));
  EXPECT_THAT(model.ledActuators()[1]->groups(), ElementsAre("B", "C"));
  EXPECT_THAT(model.ledActuators()[2]->groups(), ElementsAre("B"));
}

TEST(Model, LetsADeviceHaveAShortNameOfItsOwn) {
  const OnlyLed only(
      leds("<led short=\"Led\"><device name=\"n\" short=\"Own\" color=\"red\"/></led>"));
  EXPECT_EQ(only.led.shortname(), "Own");
}

TEST(Model, KnowsEveryPublishedColour) {
  const char* const names[] = {"red", "green", "blue", "white", "amber", "infrared"};
  for (int color = 0; color < 6; ++color) {
    const OnlyLed only(leds("<led short=\"s\"><device name=\"n\" color=\"" +
                            std::string(names[color]) + "\"/></led>"));
    EXPECT_EQ(only.led.color(), color);
    EXPECT_EQ(colorName(only.led.color()), names[color]);
  }
}

TEST(Model, DrawsALedWithoutPositionAsASmallCircleNowhere) {
  const OnlyLed only(leds("<led short=\"s\">" + kDevice + "</led>"));
  EXPECT_FALSE(only.led.position());
  EXPECT_EQ(only.led.shape().kind, Shape::Kind::kCircle);
  EXPECT_EQ(only.led.shape().width, 6);
  EXPECT_EQ(only.led.shape().height, 6);
  EXPECT_EQ(only.led.shape().angle, 0);
}

TEST(Model, ReadsPositionAndShape) {
  const OnlyLed only(
      leds("<led short=\"s\" x=\"-32.5\" y=\" +1.2e1 \" shape=\"sector\" "
           "width=\".5\" height=\"9\" angle=\"-45\">" +
           kDevice + "</led>"));
  ASSERT_TRUE(only.led.position());
  EXPECT_EQ(only.led.position()->x, -32.5);
  EXPECT_EQ(only.led.position()->y, 12);
  EXPECT_EQ(only.led.shape().kind, Shape::Kind::kSector);
  EXPECT_EQ(only.led.shape().width, 0.5);
  EXPECT_EQ(only.led.shape().height, 9);
  EXPECT_EQ(only.led.shape().angle, -45);
}

TEST(Model, TakesTheHeightOfAShapeFromItsWidth) {
  const OnlyLed only(
      leds("<led short=\"s\" shape=\"rectangle\" width=\"8\">" + kDevice + "</led>"));
  EXPECT_EQ(only.led.shape().height, 8);
}

TEST(Model, ReadsReferencesInValues) {
  const OnlyLed only(leds("<led short=\"a&amp;b&#233;&#xe9;\">" + kDevice + "</led>"));
  EXPECT_EQ(only.led.shortname(), "a&b\u00e9\u00e9");
}

TEST(Model, AcceptsWhatEditorsPutAroundTheElements) {
  const Model model(
      "\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n<!-- <leds> && -- -->\r\n"
      "<robot name='Test' xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\"\r\n"
      "  xsi:noNamespaceSchemaLocation=\"robot-model.xsd\">\r\n<leds ></leds >\r\n</robot>\r\n"
      "<!-- end -->\n");
  EXPECT_EQ(model.prettyName(0), "Test");
  EXPECT_THAT(model.warnings(), IsEmpty());
}

TEST(Model, MayHaveNoLedAtAll) {
  EXPECT_THAT(Model("<robot name=\"Bare\"/>").ledActuators(), IsEmpty());
}

TEST(Model, HasANameForPeopleInThreeDegrees) {
  const Model model(
      robot("<config key=\"RobotConfig/Head/Type\" value=\"Vanto\"/>"
            "<config key=\"RobotConfig/Head/Version\" value=\"4.1.0\"/>"));
  EXPECT_EQ(model.prettyName(0), "Test");
  EXPECT_EQ(model.prettyName(1), "Test 1.2");
  EXPECT_EQ(model.prettyName(2), "Test 1.2 (head Vanto 4.1.0)");
}

TEST(Model, NamesNoHeadThatItDoesNotKnow) {
  EXPECT_EQ(Model("<robot name=\"Bare\"/>").prettyName(2), "Bare");
  EXPECT_EQ(Model(robot("<config key=\"RobotConfig/Head/Type\" value=\"Own\"/>")).prettyName(2),
            "Test 1.2 (head Own)");
}

TEST(Model, KeepsADeviceThatIsListedTwiceAndWarns) {
  const Model model(leds("<led short=\"s\">\n" + kDevice + "\n" + kDevice + "</led>"));
  EXPECT_EQ(model.ledActuators().size(), 2u);
  EXPECT_THAT(model.warnings(), ElementsAre(Warning{5, "device \"Eye/Red\" is listed twice"}));
}

TEST(Model, AcceptsEmptyNamesAndWarns) {
  const Model model(
      "<robot name=\"\">\n<leds><led short=\"\">\n<device name=\"\" color=\"red\"/></led>\n"
      "<led><device name=\"b\" color=\"red\"/></led>\n<led short=\"empty\"/></leds></robot>");
  EXPECT_EQ(model.ledActuators()[0]->name(), "");
  EXPECT_EQ(model.ledActuators()[1]->shortname(), "");
  EXPECT_THAT(model.warnings(),
              ElementsAre(Warning{1, "the robot's name is empty"},
                          Warning{3, "the name of a device is empty"},
                          Warning{3, "the short name of device \"\" is empty"},
                          Warning{4, "the short name of device \"b\" is empty"},
                          Warning{5, "<led> \"empty\" has no <device>; nothing drives it"}));
}

TEST(Model, WarnsAHundredTimesAndThenSaysHowOftenMore) {
  std::string content;
  for (int i = 0; i < 141; ++i) content += "<led short=\"s\">" + kDevice + "</led>";
  const Model model(leds(content));
  ASSERT_EQ(model.warnings().size(), 101u);
  EXPECT_EQ(model.warnings().back(), (Warning{0, "and 40 more warnings of these kinds"}));
}

TEST(ConfigMapFromXml, GivesTheConfigurationOfAModel) {
  const auto xml = robot("<config key=\"B\" value=\"2\"/><leds/><config key=\"A\" value=\"\"/>");
  EXPECT_THAT(HB::Model::ModelUtils::configMapFromXml(xml),
              ElementsAre(Pair("A", ""), Pair("B", "2")));
  EXPECT_EQ(Model(xml).config(), HB::Model::ModelUtils::configMapFromXml(xml));
}

TEST(ConfigMapFromXml, KeepsTheLaterOfTwoValuesAndWarns) {
  const auto xml = robot(
      "<config key=\"A\" value=\"1\"/>\n<config key=\"A\" value=\"2\"/>\n"
      "<config key=\"\" value=\"3\"/>");
  EXPECT_THAT(HB::Model::ModelUtils::configMapFromXml(xml), ElementsAre(Pair("A", "2")));
  EXPECT_THAT(
      Model(xml).warnings(),
      ElementsAre(Warning{3, "configuration key \"A\" is listed twice; the later value holds"},
                  Warning{4, "a configuration key is empty; it is left out"}));
}

TEST(ConfigMapFromXml, RefusesWhatIsNoModel) {
  EXPECT_THROW(HB::Model::ModelUtils::configMapFromXml("<led/>"), ModelError);
}

/// Processor time that a model of that many LEDs takes; others on the machine do not count.
double workFor(int count) {
  std::string content;
  for (int i = 0; i < count; ++i) {
    content += "<led short=\"L" + std::to_string(i) + "\" groups=\"G" + std::to_string(i % 10) +
               "\" x=\"1\" y=\"2\"><device name=\"D" + std::to_string(i) +
               "\" color=\"red\"/></led>";
  }
  const std::string xml = leds(content);
  const std::clock_t begin = std::clock();
  EXPECT_EQ(Model(xml).ledActuators().size(), static_cast<std::size_t>(count));
  return static_cast<double>(std::clock() - begin);
}

TEST(Model, TakesTimeInProportionToItsLeds) {
  const double small = std::min(workFor(10000), workFor(10000));
  const double large = workFor(200000);
  // Twenty times as many; 400 times as long would be quadratic.
  EXPECT_LT(large, 100 * small);
}

}  // namespace
}  // namespace Sim
