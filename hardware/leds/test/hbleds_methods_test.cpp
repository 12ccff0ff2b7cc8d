// The published table, word for word, and calls through it.
#include <gmock/gmock.h>

#include <regex>

#include "hardware/leds/test/support/errors.h"
#include "hardware/leds/test/support/leds_access.h"
#include "hardware/leds/test/support/robot.h"

namespace HB::test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

/// A row as clients must see it.
struct Row {
  std::string name;
  std::string signature;
  std::vector<xo::NamedText> params;
  std::optional<xo::NamedText> returns;
  std::string description;
  bool hasExamples = false;
};

const xo::NamedText kName{"name", "The name of the LED or Group."};
const xo::NamedText kIntensity{"intensity",
                               "The intensity of the LED or Group (a value between 0 and 1)."};
const xo::NamedText kDuration{"duration", "Time used to fade in seconds."};
const std::vector<xo::NamedText> kChannels{kName,
                                           {"red", "the intensity of red channel (0-1)."},
                                           {"green", "the intensity of green channel (0-1)."},
                                           {"blue", "the intensity of blue channel (0-1)."},
                                           kDuration};

std::vector<Row> expectedRows() {
  return {
      {"createGroup",
       "(string, list<string>)",
       {{"groupName", "The name of the group."},
        {"ledNames", "A vector of the names of the LEDs in the group."}},
       {},
       "Makes a group name for ease of setting multiple LEDs."},
      {"fade",
       "(string, float, float) -> future<void>",
       {kName, kIntensity, {"duration", "The duration of the fade in seconds"}},
       {},
       "Sets the intensity of a LED or Group of LEDs within a given time.",
       true},
      {"fadeListRGB",
       "(string, value, value) -> future<void>",
       {kName,
        {"rgbList", "List of RGB led value, RGB as seen in hexa-decimal: 0x00RRGGBB."},
        {"timeList", "List of time to go to given intensity."}},
       {},
       "Chain a list of color for a device, as the motion.doMove command."},
      {"fadeRGB",
       "(string, float, float, float, float) -> future<void>",
       kChannels,
       {},
       "Sets the color of an RGB led."},
      {"fadeRGB",
       "(string, string, float) -> future<void>",
       {kName,
        {"colorName",
         "the name of the color (supported colors: \"white\", \"red\", \"green\", \"blue\", "
         "\"yellow\", \"magenta\", \"cyan\")"},
        kDuration},
       {},
       "Sets the color of an RGB led."},
      {"fadeRGB",
       "(string, int, float) -> future<void>",
       {kName, {"rgb", "The RGB value led, RGB as seen in hexa-decimal: 0x00RRGGBB."}, kDuration},
       {},
       "Sets the color of an RGB led."},
      {"_fadeRGB",
       "(string, float, float, float, float) -> future<void>",
       kChannels,
       {},
       "Sets the color of an RGB led. This private method allows to use ChestLeds."},
      {"reset",
       "(string)",
       {{"name", "The name of the LED or Group (for now, only \"AllLeds\" are implemented)."}},
       {},
       "Resets the state of the leds to default (for ex, eye LEDs are white and fully on by "
       "default)."},
      {"_setIntensityRatio",
       "(string, float)",
       {kName, {"intensity", "The intensity ratio between 0.6 and 1."}},
       {},
       "Sets an intensity ratio for the leds. If the leds are asked to be set to a specific "
       "intensity, the real intensity applied on the leds will be the specific intensity "
       "multiplied by this ratio."},
      {"getIntensity",
       "(string) -> value",
       {kName},
       xo::NamedText{"intensity", "The intensity of the LED or Group."},
       "Gets the intensity of a LED or device"},
      {"listLEDs",
       "() -> list<string>",
       {},
       xo::NamedText{"ledNames", "A vector of LED names."},
       "Lists the short LED names."},
      {"listLED",
       "(string) -> list<string>",
       {{"name", "The name of the LED to list"}},
       xo::NamedText{"deviceNames", "A vector of device names."},
       "Lists the devices aliased by a short LED name."},
      {"listGroup",
       "(string) -> list<string>",
       {{"groupName", "The name of the Group."}},
       xo::NamedText{"deviceNames", "A vector of string device names."},
       "Lists the devices in the group.",
       true},
      {"listGroups",
       "() -> list<string>",
       {},
       xo::NamedText{"groupNames", "A vector of group names."},
       "Lists available group names.",
       true},
      {"off",
       "(string)",
       {kName},
       {},
       "Switch to a minimum intensity a LED or Group of LEDs.",
       true},
      {"on",
       "(string)",
       {kName},
       {},
       "Switch to a maximum intensity a LED or Group of LEDs.",
       true},
      {"setIntensity",
       "(string, float)",
       {kName, kIntensity},
       {},
       "Sets the intensity of a LED or Group of LEDs."},
      {"_setAnyLedIntensity",
       "(string, float)",
       {kName, kIntensity},
       {},
       "Sets the intensity of a LED or Group of LEDs (even chest LED)."},
  };
}

TEST(MethodTable, DescribesTheModuleInFourLines) {
  Robot robot;
  EXPECT_EQ(
      robot.service().describe().description,
      "This module allows you to control VANTO's LEDs. It provides simple ways of setting or "
      "fading the intensity of single LEDs and groups of LEDs. \n"
      "Groups of LEDs typically include face LEDs, ear LEDs etc. It is also possible to control "
      "each LED separately (for example, each of the 8 LEDs in one VANTO's eyes).\n"
      "There are three primary colors of LEDs available - red, green and blue, so it is possible "
      "to combine them to obtain different colors. The ears contain blue LEDs only.\n"
      "It is possible to control the LED's intensity (between 0 and 100%).");
}

TEST(MethodTable, ListsItsMethodsInOrder) {
  Robot robot;
  std::vector<std::string> names;
  std::vector<std::string> expected;
  for (const auto& method : robot.service().describe().methods) names.push_back(method.doc.name);
  for (const auto& row : expectedRows()) expected.push_back(row.name);
  EXPECT_EQ(names, expected);
}

TEST(MethodTable, HasEveryTextAndSignatureAsWritten) {
  Robot robot;
  const auto methods = robot.service().describe().methods;
  const auto rows = expectedRows();
  ASSERT_EQ(methods.size(), rows.size());
  for (std::size_t i = 0; i < rows.size(); ++i) {
    SCOPED_TRACE(rows[i].name + rows[i].signature);
    EXPECT_EQ(methods[i].doc.name, rows[i].name);
    EXPECT_EQ(methods[i].doc.description, rows[i].description);
    EXPECT_EQ(methods[i].signature.text(), rows[i].signature);
    EXPECT_EQ(methods[i].doc.returns.has_value(), rows[i].returns.has_value());
    if (methods[i].doc.returns && rows[i].returns) {
      EXPECT_EQ(methods[i].doc.returns->name, rows[i].returns->name);
      EXPECT_EQ(methods[i].doc.returns->text, rows[i].returns->text);
    }
    ASSERT_EQ(methods[i].doc.params.size(), rows[i].params.size());
    for (std::size_t p = 0; p < rows[i].params.size(); ++p) {
      EXPECT_EQ(methods[i].doc.params[p].name, rows[i].params[p].name);
      EXPECT_EQ(methods[i].doc.params[p].text, rows[i].params[p].text);
    }
  }
}

TEST(MethodTable, HasAPythonAndACppExampleWhereItHasAny) {
  Robot robot;
  const auto methods = robot.service().describe().methods;
  const auto rows = expectedRows();
  ASSERT_EQ(methods.size(), rows.size());
  for (std::size_t i = 0; i < rows.size(); ++i) {
    SCOPED_TRACE(rows[i].name);
    const auto& examples = methods[i].doc.examples;
    ASSERT_EQ(examples.size(), rows[i].hasExamples ? 2u : 0u);
    if (examples.empty()) continue;
    EXPECT_EQ(examples[0].name, "python");
    EXPECT_EQ(examples[1].name, "c++");
    EXPECT_TRUE(std::regex_search(examples[0].text, std::regex("^# Example showing [^\n]+\n.")));
    EXPECT_TRUE(std::regex_search(examples[1].text, std::regex("^// Example showing [^\n]+\n.")));
    for (const auto& example : examples) {
      EXPECT_EQ(example.text.back(), '\n');
    }
    EXPECT_THAT(examples[0].text, HasSubstr("proxy." + rows[i].name + "("));
    EXPECT_THAT(examples[1].text, HasSubstr("proxy.call"));
    EXPECT_THAT(examples[1].text, HasSubstr("(\"" + rows[i].name + "\""));
  }
}

TEST(MethodTable, ShowsInItsExamplesTheNamesAndValuesThatTheyAreAbout) {
  Robot robot;
  std::map<std::string, xo::MethodDoc> docs;
  for (const auto& method : robot.service().describe().methods) {
    if (!method.doc.examples.empty()) docs[method.doc.name] = method.doc;
  }
  const auto example = [&](const std::string& name, std::size_t which) {
    return docs.at(name).examples.at(which).text;
  };
  for (const std::size_t language : {0u, 1u}) {
    EXPECT_THAT(example("fade", language), HasSubstr("\"LeftEye\""));
    EXPECT_THAT(example("listGroup", language), HasSubstr("AllLeds"));
    EXPECT_THAT(example("off", language), HasSubstr("FaceLeds"));
    EXPECT_THAT(example("on", language), HasSubstr("FaceLeds"));
  }
  EXPECT_THAT(example("fade", 0), HasSubstr("proxy.fade(name, intensity, duration)"));
  EXPECT_THAT(example("fade", 1), HasSubstr("(\"fade\", name, intensity, duration)"));
  EXPECT_THAT(example("fade", 0), HasSubstr("0.5"));
  EXPECT_THAT(example("fade", 0), HasSubstr("1.0"));
  EXPECT_THAT(example("fade", 1), HasSubstr("float intensity = 0.5f;"));
  EXPECT_THAT(example("fade", 1), HasSubstr("float duration = 1.0f;"));
  EXPECT_THAT(example("listGroup", 0), HasSubstr("print"));
  EXPECT_THAT(example("listGroups", 0), HasSubstr("print"));
  EXPECT_THAT(example("listGroup", 1), HasSubstr("std::vector<std::string>"));
  EXPECT_THAT(example("listGroups", 1), HasSubstr("std::vector<std::string>"));
}

/// Calls as a remote client does, with variants.
xo::CallResult callDynamic(Robot& robot, const std::string& method, const HBValue::List& args) {
  return robot.service().callDynamic(method, args);
}

TEST(FadeRGBOverloads, AreToldApartByTheTypesOfTheirArguments) {
  Robot robot;
  using Lists = RecordingMotion::Lists;
  const auto red = Lists{{0.0F}, {0.0F}, {1.0F}};  // the devices' order is blue, green, red
  const auto sent = [&] {
    Lists values;
    for (const auto& write : robot.motion().writes()) values.push_back(write.values.at(0));
    robot.forget();
    return values;
  };
  callDynamic(robot, "fadeRGB", {"Eye0", 1.0F, 0.0F, 0.0F, 0.5F});
  EXPECT_EQ(sent(), red);
  callDynamic(robot, "fadeRGB", {"Eye0", "red", 0.5F});
  EXPECT_EQ(sent(), red);
  callDynamic(robot, "fadeRGB", {"Eye0", 0xFF0000, 0.5F});
  EXPECT_EQ(sent(), red);
}

TEST(FadeRGBOverloads, TakeIntegersForFloats) {
  Robot robot;
  callDynamic(robot, "fadeRGB", {"Eye0", 0, 1, 0, 2});
  const auto writes = robot.motion().writes();
  ASSERT_EQ(writes.size(), 3u);
  EXPECT_EQ(writes[1].values, (RecordingMotion::Lists{{1.0F}}));
  EXPECT_EQ(writes[1].times, (RecordingMotion::Lists{{2.0F}}));
}

TEST(FadeRGBOverloads, AnswerWithAFutureOfNothing) {
  Robot robot;
  xo::ManualClock clock;
  for (const HBValue::List& args :
       {HBValue::List{"Eye0", 1, 0, 0, 2}, {"Eye0", "red", 2}, {"Eye0", 255, 2}}) {
    const auto result = callDynamic(robot, "fadeRGB", args);
    ASSERT_TRUE(result.future);
    EXPECT_TRUE(result.future->isRunning());
    clock.advance(std::chrono::seconds(2));
    ASSERT_TRUE(result.future->hasValue());
    EXPECT_FALSE(result.future->value().isValid());
  }
}

TEST(FadeRGBOverloads, AreAllNamedWhenNoneFits) {
  Robot robot;
  const auto text = invalidArgument([&] { callDynamic(robot, "fadeRGB", {"Eye0", true, 1}); });
  for (const auto& row : expectedRows()) {
    if (row.name == "fadeRGB") {
      EXPECT_THAT(text, HasSubstr("fadeRGB" + row.signature));
    }
  }
}

TEST(PublishedMethods, AllDoTheirWorkThroughVariants) {
  Robot robot;
  robot.memory().set(small::kPrefix + small::kEar1, 0.25F);
  const auto text = [&](const std::string& method, const HBValue::List& args) {
    return callDynamic(robot, method, args).value.toText();
  };
  callDynamic(robot, "createGroup", {"G", HBValue::list({"Ear1", "Brain"})});
  EXPECT_EQ(text("listGroup", {"G"}), "[\"" + small::kEar1 + "\", \"" + small::kBrain + "\"]");
  EXPECT_EQ(text("listLED", {"Ear1"}), "[\"" + small::kEar1 + "\"]");
  EXPECT_EQ(text("getIntensity", {"Ear1"}), "[0.25]");
  EXPECT_EQ(text("getIntensity", {small::kEar1}), "0.25");
  EXPECT_THAT(callDynamic(robot, "listLEDs", {}).value.toList(), ::testing::SizeIs(9));
  EXPECT_THAT(callDynamic(robot, "listGroups", {}).value.toList(), ::testing::SizeIs(11));

  callDynamic(robot, "_setIntensityRatio", {"Ear1", 0.5F});
  callDynamic(robot, "on", {"Ear1"});
  callDynamic(robot, "off", {"Ear1"});
  callDynamic(robot, "setIntensity", {"Ear1", 0.5F});
  callDynamic(robot, "_setAnyLedIntensity", {"Ear1", 1});
  callDynamic(robot, "fade", {"Ear1", 0.25F, 3});
  callDynamic(robot, "reset", {"Ear1"});
  callDynamic(robot, "fadeListRGB", {"G", HBValue::list({255}), HBValue::list({1})});
  callDynamic(robot, "_fadeRGB", {"G", 0, 0, 1, 1});
  std::vector<float> sent;
  for (const auto& write : robot.motion().writes()) sent.push_back(write.values.at(0).at(0));
  EXPECT_THAT(sent, ElementsAre(0.5F, 0.0F, 0.25F, 0.5F, 0.125F, 0.0F, 0.5F, 0.5F));
}

TEST(PublishedMethods, PassTheirErrorsOnUnchanged) {
  Robot robot;
  EXPECT_EQ(invalidArgument([&] { callDynamic(robot, "on", {"Nose"}); }),
            "HBLeds: setIntensity: Could not parse 'Nose 'as a LED Device, RGB-LED or Group");
  EXPECT_EQ(runtimeError([&] { callDynamic(robot, "getIntensity", {"FaceLeds"}); }),
            "HBLeds: xGetGroupIntensity: function not implemented in this version...");
}

TEST(PublishedMethods, KeepTheRatiosTextAndItsWiderCheckApart) {
  Robot robot;
  for (const auto& method : robot.service().describe().methods) {
    if (method.doc.name == "_setIntensityRatio") {
      EXPECT_EQ(method.doc.params.at(1).text, "The intensity ratio between 0.6 and 1.");
    }
  }
  EXPECT_NO_THROW(callDynamic(robot, "_setIntensityRatio", {"Ear1", 0.4F}));
}

TEST(PublishedMethods, DoNotIncludeTheModulesInternals) {
  Robot robot;
  for (const std::string name :
       {"setAnyLedIntensity", "setGroupRGB", "setGroupColor", "blockFor"}) {
    EXPECT_THAT(invalidArgument([&] { callDynamic(robot, name, {}); }), HasSubstr("no method"));
  }
}

}  // namespace
}  // namespace HB::test
