// The intensity commands as clients call them: what they send, check, warn of, and in which order.
#include <gmock/gmock.h>

#include <limits>

#include "hardware/leds/test/support/errors.h"
#include "hardware/leds/test/support/leds_access.h"
#include "hardware/leds/test/support/robot.h"
#include "hardware/leds/test/support/threads.h"

namespace HB::test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using xo::log::Level;
using Lists = RecordingMotion::Lists;
using Strings = std::vector<std::string>;
using Write = RecordingMotion::Write;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();
const std::string kPause = "PassiveBlinking verbose: Pause passive blinking";
const std::string kResume = "PassiveBlinking verbose: Resume passive blinking";

std::string key(const std::string& device) { return "Device/SubDeviceList/" + device; }
std::string warningOf(const std::string& name) {
  return "HBLeds warning: The use of this LED (" + name +
         ") is deprecated since 1.14. You will not be able to set its intensity or its color "
         "anymore in further versions.";
}
std::string couldNotParse(const std::string& method, const std::string& name) {
  return "HBLeds: " + method + ": Could not parse '" + name + " 'as a LED Device, RGB-LED or Group";
}

class IntensityCommands : public ::testing::Test {
 protected:
  Robot robot;
  HBLeds& leds = robot.leds();
  LedsAccess in{leds};

  std::vector<Write> writes() { return robot.motion().writes(); }
  Strings journal() { return robot.journal().lines(); }
};

/// A robot without a chest: the deprecated chest names are known to be deprecated and unknown.
class ChestlessRobot : public ::testing::Test {
 protected:
  Robot robot{RobotXml().rgbLed("Eye0", "FaceLeds", "Face/Led/%")};
  HBLeds& leds = robot.leds();
};

TEST_F(IntensityCommands, SetEveryKindOfNameAtOnce) {
  leds.setIntensity(small::kEar1, 0.25F);
  EXPECT_EQ(robot.motion().onlyWrite(), (Write{{key(small::kEar1)}, {{0.0F}}, {{0.25F}}}));
  robot.forget();
  leds.setIntensity("Eye0", 0.25F);
  EXPECT_THAT(writes(), SizeIs(3));
  robot.forget();
  leds.setAnyLedIntensity("EarLeds", 0.25F);
  EXPECT_EQ(robot.motion().onlyWrite(),
            (Write{{key(small::kEar1), key(small::kEar2)}, {{0.0F}, {0.0F}}, {{0.25F}, {0.25F}}}));
}

TEST_F(IntensityCommands, FadeEveryKindOfNameInTheGivenTime) {
  leds.fade(small::kEar1, 0.25F, 1.5F);
  EXPECT_EQ(robot.motion().onlyWrite(), (Write{{key(small::kEar1)}, {{1.5F}}, {{0.25F}}}));
  robot.forget();
  leds.fade("Eye0", 0.25F, 1.5F);
  ASSERT_THAT(writes(), SizeIs(3));
  EXPECT_EQ(writes()[2], (Write{{key(small::kEye0Red)}, {{1.5F}}, {{0.25F}}}));
  robot.forget();
  leds.fade("EarLeds", 0.25F, 1.5F);
  EXPECT_EQ(robot.motion().onlyWrite().times, (Lists{{1.5F}, {1.5F}}));
}

TEST_F(IntensityCommands, FadeTriesDeviceThenLedThenGroup) {
  in.fLedNameToDevices()[small::kEar1] = {small::kEar2};
  in.fGroupToDevices()[small::kEar1] = {small::kBrain};
  in.fGroupToDevices()["Ear2"] = {small::kBrain};
  leds.fade(small::kEar1, 1.0F, 0.0F);
  leds.fade("Ear2", 1.0F, 0.0F);
  ASSERT_THAT(writes(), SizeIs(2));
  EXPECT_THAT(writes()[0].keys, ElementsAre(key(small::kEar1)));
  EXPECT_THAT(writes()[1].keys, ElementsAre(key(small::kEar2)));
}

TEST_F(IntensityCommands, AcceptZeroAndOne) {
  for (const float value : {0.0F, -0.0F, 1.0F}) {
    EXPECT_NO_THROW(leds.setIntensity("Ear1", value));
    EXPECT_NO_THROW(leds.setAnyLedIntensity("Ear1", value));
    EXPECT_NO_THROW(leds.fade("Ear1", value, 0.0F));
  }
  EXPECT_THAT(writes(), SizeIs(9));
}

TEST_F(IntensityCommands, RefuseWhatIsNoFractionAndSendNothing) {
  const std::vector<std::pair<float, std::string>> refused{
      {-0.0001F, "-0.000100"}, {1.0001F, "1.000100"},    {kNaN, "     nan"},
      {kInfinity, "     inf"}, {-kInfinity, "    -inf"}, {255.0F, "255.000000"}};
  for (const auto& [value, text] : refused) {
    const float intensity = value;
    EXPECT_EQ(
        invalidArgument([&] { leds.setIntensity("Ear1", intensity); }),
        "HBLeds: setIntensity: Could not parse pIntensity as a fraction: intensity = " + text);
    EXPECT_EQ(
        invalidArgument([&] { leds.setAnyLedIntensity("Ear1", intensity); }),
        "HBLeds: setIntensity: Could not parse pIntensity as a fraction: intensity = " + text);
    EXPECT_EQ(invalidArgument([&] { leds.fade("Ear1", intensity, 1.0F); }),
              "HBLeds: fade: Could not parse pIntensity as a fraction: intensity = " + text);
  }
  EXPECT_THAT(writes(), IsEmpty());
}

TEST_F(IntensityCommands, CheckTheValueBeforeTheName) {
  EXPECT_THAT(invalidArgument([&] { leds.setIntensity("Nose", 2.0F); }), HasSubstr("fraction"));
  EXPECT_THAT(invalidArgument([&] { leds.setAnyLedIntensity("Nose", 2.0F); }),
              HasSubstr("fraction"));
  EXPECT_THAT(invalidArgument([&] { leds.fade("Nose", 2.0F, 1.0F); }), HasSubstr("fraction"));
}

TEST_F(IntensityCommands, RefuseAnUnknownNameEachWithItsText) {
  EXPECT_EQ(invalidArgument([&] { leds.setIntensity("Nose", 1.0F); }),
            couldNotParse("setIntensity", "Nose"));
  EXPECT_EQ(invalidArgument([&] { leds.setAnyLedIntensity("Nose", 1.0F); }),
            couldNotParse("setIntensity", "Nose"));
  EXPECT_EQ(invalidArgument([&] { leds.on("Nose"); }), couldNotParse("setIntensity", "Nose"));
  EXPECT_EQ(invalidArgument([&] { leds.off("Nose"); }), couldNotParse("setIntensity", "Nose"));
  EXPECT_EQ(invalidArgument([&] { leds.fade("Nose", 1.0F, 1.0F); }), couldNotParse("fade", "Nose"));
  EXPECT_EQ(invalidArgument([&] { leds.getIntensity("Nose"); }),
            couldNotParse("getIntensity", "Nose"));
  EXPECT_EQ(invalidArgument([&] { leds.reset("Nose"); }),
            "Could not parse 'Nose 'as a LED Device, RGB-LED or Group");
  EXPECT_TRUE(canExclude(in.fLedsMutex()));
}

TEST_F(IntensityCommands, FadePassesAnyDurationOn) {
  for (const float duration : {-2.0F, kInfinity, 1e30F}) {
    robot.forget();
    leds.fade("Ear1", 1.0F, duration);
    EXPECT_EQ(robot.motion().onlyWrite().times, (Lists{{duration}}));
  }
}

TEST_F(IntensityCommands, FadeReturnsAtOnceAFutureOfItsDuration) {
  xo::ManualClock clock;
  const auto faded = leds.fade("FaceLeds", 1.0F, 2.0F);
  EXPECT_THAT(writes(), SizeIs(1));
  clock.advance(std::chrono::milliseconds(1999));
  EXPECT_TRUE(faded.isRunning());
  clock.advance(std::chrono::milliseconds(1));
  EXPECT_TRUE(faded.hasValue());
}

TEST_F(IntensityCommands, FadeReturnsItsFutureAlsoWithoutMotion) {
  xo::ManualClock clock;
  robot.motion().takeAway();
  const auto faded = leds.fade("FaceLeds", 1.0F, 2.0F);
  EXPECT_TRUE(faded.isRunning());
  clock.advance(std::chrono::seconds(2));
  EXPECT_TRUE(faded.hasValue());
}

TEST_F(IntensityCommands, OnSendsTheRatioAndOffSendsZero) {
  in.info(small::kEar1).intensityRatio = 0.6F;
  leds.on("Ear1");
  leds.off("Ear1");
  EXPECT_THAT(writes(), ElementsAre(Write{{key(small::kEar1)}, {{0.0F}}, {{0.6F}}},
                                    Write{{key(small::kEar1)}, {{0.0F}}, {{0.0F}}}));
  robot.memory().set(key(small::kEar1), 0.6F);
  EXPECT_EQ(leds.getIntensity(small::kEar1), HBValue(1.0F));
}

TEST_F(IntensityCommands, ResetRestoresTheDefaultsOfStartUp) {
  leds.reset("AllLeds");
  std::map<std::string, float> sent;
  for (const auto& write : writes()) {
    ASSERT_THAT(write.keys, SizeIs(1));
    EXPECT_EQ(write.times, (Lists{{0.0F}}));
    sent[write.keys[0]] = write.values[0][0];
  }
  EXPECT_THAT(sent, SizeIs(15));
  EXPECT_EQ(sent.at(key(small::kEye0Red)), 1.0F);
  EXPECT_EQ(sent.at(key(small::kEye1Blue)), 1.0F);
  EXPECT_EQ(sent.at(key(small::kChestGreen)), 0.0F);
  EXPECT_EQ(sent.at(key(small::kEar1)), 0.0F);
  EXPECT_EQ(sent.at(key(small::kBrain)), 0.4F);
  EXPECT_EQ(sent.at(key("LFoot/Led/Red/Actuator/Value")), 1.0F);
}

TEST_F(IntensityCommands, GetIntensityAnswersByKindOfName) {
  robot.memory().set(key(small::kEye0Blue), 0.25F);
  robot.memory().set(key(small::kEye0Green), 0.5F);
  robot.memory().set(key(small::kEye0Red), 0.75F);
  EXPECT_EQ(leds.getIntensity(small::kEye0Red), HBValue(0.75F));
  EXPECT_EQ(leds.getIntensity("Eye0"), HBValue::list({0.25F, 0.5F, 0.75F}));
  EXPECT_EQ(runtimeError([&] { leds.getIntensity("FaceLeds"); }),
            "HBLeds: xGetGroupIntensity: function not implemented in this version...");
}

TEST_F(IntensityCommands, GetIntensityTriesDeviceThenLedThenGroup) {
  in.fLedNameToDevices()[small::kEar1] = {small::kEar2};
  in.fGroupToDevices()[small::kEar1] = {small::kBrain};
  in.fGroupToDevices()["Ear2"] = {small::kBrain};
  robot.memory().set(key(small::kEar1), 0.25F);
  robot.memory().set(key(small::kEar2), 0.5F);
  EXPECT_EQ(leds.getIntensity(small::kEar1), HBValue(0.25F));
  EXPECT_EQ(leds.getIntensity("Ear2"), HBValue::list({0.5F}));
}

TEST_F(IntensityCommands, GetIntensityDoesNotPausePassiveBlinking) {
  robot.memory().set(key(small::kEye0Red), 0.75F);
  leds.getIntensity(small::kEye0Red);
  EXPECT_THROW(leds.getIntensity("FaceLeds"), std::runtime_error);
  EXPECT_THAT(robot.log().lines(), IsEmpty());
}

TEST_F(IntensityCommands, GetIntensityReadsUnderTheSharedLock) {
  std::unique_lock holder(in.fLedsMutex());
  robot.memory().set(key(small::kEar1), 0.25F);
  Beside read([&] { leds.getIntensity(small::kEar1); });
  EXPECT_TRUE(read.isKeptOut());
  EXPECT_THAT(journal(), IsEmpty());
  holder.unlock();
  EXPECT_TRUE(read.ends());
}

TEST_F(IntensityCommands, WarnOfADeprecatedNameBeforeTheySend) {
  const std::string motion = "motion: " + key(small::kChestRed);
  const auto warning = warningOf("ChestLedsRed");
  leds.setIntensity("ChestLedsRed", 1.0F);
  EXPECT_THAT(journal(), ElementsAre(warning, motion));
  robot.forget();
  leds.fade("ChestLedsRed", 1.0F, 1.0F);
  EXPECT_THAT(journal(), ElementsAre(warning, motion));
  robot.forget();
  leds.on("ChestLedsRed");
  EXPECT_THAT(journal(), ElementsAre(warning, motion));
  robot.forget();
  leds.off("ChestLedsRed");
  EXPECT_THAT(journal(), ElementsAre(warning, motion));
  robot.forget();
  robot.memory().set(key(small::kChestRed), 0.0F);
  leds.getIntensity("ChestLedsRed");
  EXPECT_THAT(journal(), ElementsAre(warning, "memory: " + key(small::kChestRed)));
}

TEST_F(IntensityCommands, WarnOfEveryDeprecatedKindOfName) {
  for (const std::string name : {"ChestLeds", "ChestLedsBlue", small::kChestBlue.c_str()}) {
    robot.forget();
    leds.setIntensity(name, 0.5F);
    EXPECT_EQ(robot.journal().count(warningOf(name)), 1u);
  }
}

TEST_F(IntensityCommands, SetAnyLedAndResetDoNotWarn) {
  for (const std::string name : {"ChestLeds", "ChestLedsBlue", small::kChestBlue.c_str()}) {
    leds.setAnyLedIntensity(name, 0.5F);
    leds.reset(name);
  }
  EXPECT_THAT(robot.log().lines(), IsEmpty());
}

TEST_F(IntensityCommands, SetIntensityWarnsBeforeItChecksAndFadeAfter) {
  EXPECT_THROW(leds.setIntensity("ChestLeds", 2.0F), std::invalid_argument);
  EXPECT_THAT(journal(), ElementsAre(warningOf("ChestLeds")));
  robot.forget();
  EXPECT_THROW(leds.fade("ChestLeds", 2.0F, 1.0F), std::invalid_argument);
  EXPECT_THAT(journal(), IsEmpty());
}

TEST_F(IntensityCommands, PauseThenWarnThenSendThenResume) {
  in.xAddDeprecatedLed("Eye0");
  in.fLedNameToDevices()["Eye0"] = {small::kEye0Red};
  const std::string motion = "motion: " + key(small::kEye0Red);
  const auto expected = ElementsAre(kPause, warningOf("Eye0"), motion, kResume);
  leds.setIntensity("Eye0", 1.0F);
  EXPECT_THAT(journal(), expected);
  robot.forget();
  leds.fade("Eye0", 1.0F, 1.0F);
  EXPECT_THAT(journal(), expected);
  robot.forget();
  leds.on("Eye0");
  EXPECT_THAT(journal(), expected);
  robot.forget();
  leds.off("Eye0");
  EXPECT_THAT(journal(), expected);
  robot.forget();
  leds.setAnyLedIntensity("Eye0", 1.0F);
  EXPECT_THAT(journal(), ElementsAre(kPause, motion, kResume));
  robot.forget();
  leds.reset("Eye0");
  EXPECT_THAT(journal(), ElementsAre(kPause, motion, kResume));
}

TEST_F(IntensityCommands, PauseBeforeTheyCheckAndResumeAfterTheyRefuse) {
  EXPECT_THROW(leds.setIntensity("FaceLeds", 2.0F), std::invalid_argument);
  EXPECT_THAT(journal(), ElementsAre(kPause, kResume));
  robot.forget();
  EXPECT_THROW(leds.setAnyLedIntensity("FaceLeds", 2.0F), std::invalid_argument);
  EXPECT_THAT(journal(), ElementsAre(kPause, kResume));
  robot.forget();
  EXPECT_THROW(leds.fade("FaceLeds", 2.0F, 1.0F), std::invalid_argument);
  EXPECT_THAT(journal(), ElementsAre(kPause, kResume));
}

TEST_F(IntensityCommands, CheckBeforeTheyLock) {
  const std::unique_lock holder(in.fLedsMutex());
  Beside set([&] { leds.setIntensity("FaceLeds", 2.0F); });
  Beside any([&] { leds.setAnyLedIntensity("FaceLeds", 2.0F); });
  Beside fade([&] { leds.fade("FaceLeds", 2.0F, 1.0F); });
  EXPECT_TRUE(set.ends() && any.ends() && fade.ends());
  EXPECT_THROW(set.get(), std::invalid_argument);
  EXPECT_THROW(any.get(), std::invalid_argument);
  EXPECT_THROW(fade.get(), std::invalid_argument);
}

TEST_F(IntensityCommands, SetIntensityWarnsBeforeItLocksAndTheOthersAfter) {
  std::unique_lock holder(in.fLedsMutex());
  Beside set([&] { leds.setIntensity("ChestLeds", 1.0F); });
  EXPECT_TRUE(becomesTrue([&] { return robot.journal().count(warningOf("ChestLeds")) == 1; }));
  EXPECT_TRUE(set.isKeptOut());
  Beside fade([&] { leds.fade("ChestLeds", 1.0F, 1.0F); });
  Beside on([&] { leds.on("ChestLeds"); });
  Beside off([&] { leds.off("ChestLeds"); });
  Beside get([&] { EXPECT_THROW(leds.getIntensity("ChestLeds"), std::runtime_error); });
  EXPECT_TRUE(fade.isKeptOut());
  EXPECT_TRUE(on.isKeptOut());
  EXPECT_TRUE(off.isKeptOut());
  EXPECT_TRUE(get.isKeptOut());
  EXPECT_EQ(robot.journal().count(warningOf("ChestLeds")), 1u);
  EXPECT_THAT(writes(), IsEmpty());
  holder.unlock();
  EXPECT_TRUE(set.ends() && fade.ends() && on.ends() && off.ends() && get.ends());
  EXPECT_EQ(robot.journal().count(warningOf("ChestLeds")), 5u);
}

TEST_F(IntensityCommands, WithoutMotionStillWarnAndRefuse) {
  in.fMotion() = xo::Object();
  leds.on("ChestLeds");
  EXPECT_THAT(journal(), ElementsAre(warningOf("ChestLeds")));
  EXPECT_EQ(invalidArgument([&] { leds.on("Nose"); }), couldNotParse("setIntensity", "Nose"));
  EXPECT_EQ(invalidArgument([&] { leds.reset("Nose"); }),
            "Could not parse 'Nose 'as a LED Device, RGB-LED or Group");
}

TEST_F(IntensityCommands, ErrorsOfTheMotionServiceAreNotSeen) {
  robot.motion().refuseAll("jammed");
  for (const std::string name : {"EarLeds", "Ear1", small::kEar1.c_str()}) {
    EXPECT_NO_THROW(leds.setIntensity(name, 1.0F));
    EXPECT_NO_THROW(leds.fade(name, 1.0F, 1.0F));
    EXPECT_NO_THROW(leds.on(name));
    EXPECT_NO_THROW(leds.off(name));
    EXPECT_NO_THROW(leds.reset(name));
  }
}

TEST_F(ChestlessRobot, WarnsOfADeprecatedNameBeforeRefusingIt) {
  const auto expectWarning = [&](const std::function<void()>& command) {
    robot.forget();
    EXPECT_THROW(command(), std::invalid_argument);
    EXPECT_THAT(robot.journal().lines(), ElementsAre(warningOf("ChestLeds")));
  };
  expectWarning([&] { leds.setIntensity("ChestLeds", 1.0F); });
  expectWarning([&] { leds.fade("ChestLeds", 1.0F, 1.0F); });
  expectWarning([&] { leds.on("ChestLeds"); });
  expectWarning([&] { leds.off("ChestLeds"); });
  expectWarning([&] { leds.getIntensity("ChestLeds"); });
}

}  // namespace
}  // namespace HB::test
