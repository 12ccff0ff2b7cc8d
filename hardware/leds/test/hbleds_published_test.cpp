// Calls through the published table, as remote clients make them.
#include <gmock/gmock.h>

#include "hardware/leds/test/support/driven.h"
#include "hardware/leds/test/support/errors.h"
#include "hardware/leds/test/support/method_rows.h"
#include "hardware/leds/test/support/robot.h"

namespace HB::test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

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

TEST(BlinkOverloads, AreToldApartByTheNumberOfArguments) {
  xo::ManualClock clock;
  Robot robot;
  {
    const auto announced = robot.surroundings().session->announceService(
        "HBSignsAndFeedback", xo::makeReadyFuture(xo::Object()));
    callDynamic(robot, "_blink", {0xFF0000});
    EXPECT_THAT(robot.motion().writes(), IsEmpty());
    EXPECT_EQ(robot.journal().count("An error occured during blink: This object is null"), 1u);
  }
  robot.forget();
  driven(clock, [&] { callDynamic(robot, "_blink", {}); });
  EXPECT_THAT(robot.motion().writes(), SizeIs(5));  // of two positions
}

TEST(BlinkOverloads, OfPassiveBlinkingAreToldApartByTheNumberOfArguments) {
  Robot robot;
  const auto announced = robot.surroundings().session->announceService(
      "HBSignsAndFeedback", xo::makeReadyFuture(xo::Object()));
  callDynamic(robot, "_startPassiveBlinking", {0x0000FF});
  EXPECT_EQ(robot.journal().count("Starting passive blinking with eye shadow = 255"), 1u);
  callDynamic(robot, "_stopPassiveBlinking", {});
  callDynamic(robot, "_startPassiveBlinking", {});
  EXPECT_EQ(robot.journal().count("Starting passive blinking with eye shadow = -1"), 1u);
  callDynamic(robot, "_stopPassiveBlinking", {});
}

TEST(BlinkWithShadow, TakesNoArgumentThoughItsDocumentationListsOne) {
  xo::ManualClock clock;
  Robot robot;
  callDynamic(robot, "_blinkWithShadow", {});
  clock.advance(std::chrono::milliseconds(200));
  EXPECT_THAT(robot.motion().writes(), SizeIs(5));
  EXPECT_THROW(callDynamic(robot, "_blinkWithShadow", {255}), std::invalid_argument);
}

TEST(PublishedMethods, AnimateThroughVariants) {
  xo::ManualClock clock;
  Robot robot(Surroundings::completeFromFile("models/vanto.xml"));
  const auto writesOf = [&](const std::string& method, const HBValue::List& args) {
    robot.forget();
    driven(clock, [&] { callDynamic(robot, method, args); });
    return robot.motion().writes().size();
  };
  EXPECT_EQ(writesOf("earLedsSetAngle", {90, 0.7F, true}), 19u);
  EXPECT_EQ(writesOf("earLedsSetAngle", {90, 1, false}), 20u);
  EXPECT_EQ(writesOf("rasta", {0}), 90u);
  EXPECT_EQ(writesOf("rotateEyes", {255, 1, 2.0F}), 17u);
  EXPECT_EQ(writesOf("randomEyes", {0.02F}), 48u);
  EXPECT_EQ(writesOf("_setTimeBetweenTwoBlinks", {1, 2.5F}), 0u);
  EXPECT_EQ(invalidArgument([&] {
              callDynamic(robot, "rotateEyes", {-1, 1, 1});
            }),
            "HBLeds: rotateEyes: nRGB: should be in the range 0-16777215 (0-255 for red, 0-255 "
            "for green, 0-255 for blue)");
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
       {"setAnyLedIntensity", "setGroupRGB", "setGroupColor", "blockFor", "blink",
        "cancellableBlink", "xBlinkOnce", "fadeRotationStep", "xSetEar", "start", "stop"}) {
    EXPECT_THAT(invalidArgument([&] { callDynamic(robot, name, {}); }), HasSubstr("no method"));
  }
}

}  // namespace
}  // namespace HB::test
