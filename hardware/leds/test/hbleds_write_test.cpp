// The road to the hardware and back: what is sent, scaled and read, and what is swallowed.
#include <gmock/gmock.h>

#include <cmath>
#include <limits>

#include "hardware/leds/test/support/errors.h"
#include "hardware/leds/test/support/leds_access.h"
#include "hardware/leds/test/support/robot.h"
#include "hardware/leds/test/support/threads.h"

namespace HB::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using xo::log::Level;
using Floats = std::vector<float>;
using Lists = RecordingMotion::Lists;
using Strings = std::vector<std::string>;
using Write = RecordingMotion::Write;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();
const std::string kNotImplemented =
    "HBLeds: xGetGroupIntensity: function not implemented in this version...";

std::string key(const std::string& device) { return "Device/SubDeviceList/" + device; }

class WritePath : public ::testing::Test {
 protected:
  Robot robot;
  LedsAccess in{robot.leds()};

  std::vector<Write> writes() { return robot.motion().writes(); }
  void setRatio(const std::string& device, float ratio) { in.info(device).intensityRatio = ratio; }
};

TEST_F(WritePath, AnimateLedsSendsTheListsAsTheyAre) {
  in.xAnimateLeds({"b", "a"}, {{1.0F, 2.0F}, {}}, {{0.5F, 7.0F}, {}});
  EXPECT_EQ(robot.motion().onlyWrite(),
            (Write{{"b", "a"}, {{1.0F, 2.0F}, {}}, {{0.5F, 7.0F}, {}}}));
}

TEST_F(WritePath, AnimateLedsRecordsThatLedsWereCommanded) {
  EXPECT_FALSE(in.fLedsCommanded());
  in.xAnimateLeds({}, {}, {});
  EXPECT_FALSE(in.fLedsCommanded());
  EXPECT_THAT(writes(), SizeIs(1));
  in.xAnimateLeds({"a"}, {{0.0F}}, {{0.0F}});
  EXPECT_TRUE(in.fLedsCommanded());
  in.xAnimateLeds({}, {}, {});
  EXPECT_TRUE(in.fLedsCommanded());
}

TEST_F(WritePath, AnimateLedsFailsWithoutMotionAfterRecordingTheCommand) {
  in.fMotion() = xo::Object();
  EXPECT_EQ(runtimeError([&] { in.xAnimateLeds({}, {}, {}); }), "This object is null");
  EXPECT_FALSE(in.fLedsCommanded());
  EXPECT_EQ(runtimeError([&] { in.xAnimateLeds({"a"}, {{0.0F}}, {{0.0F}}); }),
            "This object is null");
  EXPECT_TRUE(in.fLedsCommanded());
}

TEST_F(WritePath, AnimateLedsFailsWhenTheMotionServiceIsGone) {
  robot.motion().takeAway();
  EXPECT_EQ(runtimeError([&] { in.xAnimateLeds({"a"}, {{0.0F}}, {{0.0F}}); }),
            "This object is null");
  EXPECT_TRUE(in.fLedsCommanded());
}

TEST_F(WritePath, AnimateLedsPassesTheServicesErrorOn) {
  robot.motion().refuseAll("jammed");
  EXPECT_EQ(runtimeError([&] { in.xAnimateLeds({"a"}, {{0.0F}}, {{0.0F}}); }), "jammed");
}

TEST_F(WritePath, AnimateLedsWaitsForTheReply) {
  robot.motion().hold();
  Beside write([&] { in.xAnimateLeds({"a"}, {{0.0F}}, {{0.0F}}); });
  ASSERT_TRUE(robot.motion().awaitHeld(1));
  EXPECT_TRUE(write.isKeptOut());
  robot.motion().release();
  EXPECT_TRUE(write.ends());
}

TEST_F(WritePath, DeviceIsSentScaledByItsRatioInSinglePrecision) {
  setRatio(small::kEar1, 0.7F);
  in.xSetDeviceIntensity(small::kEar1, 0.3F, 1.5F);
  EXPECT_EQ(robot.motion().onlyWrite(), (Write{{key(small::kEar1)}, {{1.5F}}, {{0.7F * 0.3F}}}));
  EXPECT_TRUE(in.fLedsCommanded());
}

TEST_F(WritePath, DeviceIsSentWithoutClamping) {
  in.xSetDeviceIntensity(small::kEar1, 7.0F, -2.0F);
  in.xSetDeviceIntensity(small::kEar1, -7.0F, kInfinity);
  ASSERT_THAT(writes(), SizeIs(2));
  EXPECT_EQ(writes()[0], (Write{{key(small::kEar1)}, {{-2.0F}}, {{7.0F}}}));
  EXPECT_EQ(writes()[1], (Write{{key(small::kEar1)}, {{kInfinity}}, {{-7.0F}}}));
}

TEST_F(WritePath, DeviceErrorsAreDroppedWithoutALine) {
  robot.motion().refuseAll("jammed");
  EXPECT_NO_THROW(in.xSetDeviceIntensity(small::kEar1, 1.0F, 0.0F));
  EXPECT_NO_THROW(in.xSetDeviceIntensity("unknown", 1.0F, 0.0F));
  EXPECT_THAT(writes(), SizeIs(1));
  EXPECT_THAT(robot.log().lines(), IsEmpty());
}

TEST_F(WritePath, LedIsSentDeviceByDeviceInOrder) {
  setRatio(small::kEye0Green, 0.5F);
  in.xSetIntensity("Eye0", 0.5F, 2.0F);
  EXPECT_THAT(writes(), ElementsAre(Write{{key(small::kEye0Blue)}, {{2.0F}}, {{0.5F}}},
                                    Write{{key(small::kEye0Green)}, {{2.0F}}, {{0.25F}}},
                                    Write{{key(small::kEye0Red)}, {{2.0F}}, {{0.5F}}}));
}

TEST_F(WritePath, LedGoesOnAfterARefusedDevice) {
  robot.motion().refuse(1, "jammed");
  EXPECT_NO_THROW(in.xSetIntensity("Eye0", 1.0F, 0.0F));
  EXPECT_THAT(writes(), SizeIs(3));
}

TEST_F(WritePath, GroupIsSentInOneWrite) {
  setRatio(small::kEar2, 0.7F);
  in.xSetGroupIntensity("EarLeds", 0.3F, 2.0F);
  EXPECT_EQ(
      robot.motion().onlyWrite(),
      (Write{{key(small::kEar1), key(small::kEar2)}, {{2.0F}, {2.0F}}, {{0.3F}, {0.7F * 0.3F}}}));
}

TEST_F(WritePath, UnknownGroupIsNothing) {
  EXPECT_NO_THROW(in.xSetGroupIntensity("Eye0", 1.0F, 0.0F));
  EXPECT_NO_THROW(in.xSetGroupIntensity("Nose", 1.0F, 0.0F));
  EXPECT_THAT(writes(), IsEmpty());
  EXPECT_THAT(robot.log().lines(), IsEmpty());
}

TEST_F(WritePath, EmptyGroupIsAnEmptyWriteThatCommandsNothing) {
  in.fGroupToDevices()["Empty"];
  in.xSetGroupIntensity("Empty", 1.0F, 0.0F);
  EXPECT_EQ(robot.motion().onlyWrite(), Write());
  EXPECT_FALSE(in.fLedsCommanded());
}

TEST_F(WritePath, GroupErrorIsLoggedAndSwallowed) {
  robot.motion().refuseAll("jammed");
  EXPECT_NO_THROW(in.xSetGroupIntensity("EarLeds", 1.0F, 0.0F));
  EXPECT_THAT(robot.log().lines(), ElementsAre(LogLine{"HBLeds", Level::kError,
                                                       "Exception in xSetGroupIntensity: jammed"}));
}

TEST_F(WritePath, AnyNameIsSentByItsKindAtOnce) {
  in.xSetAnyLedIntensity(small::kEar1, 0.5F);
  EXPECT_EQ(robot.motion().onlyWrite(), (Write{{key(small::kEar1)}, {{0.0F}}, {{0.5F}}}));
  robot.forget();
  in.xSetAnyLedIntensity("Eye0", 0.5F);
  ASSERT_THAT(writes(), SizeIs(3));
  EXPECT_EQ(writes()[2], (Write{{key(small::kEye0Red)}, {{0.0F}}, {{0.5F}}}));
  robot.forget();
  in.xSetAnyLedIntensity("EarLeds", 0.5F);
  EXPECT_EQ(robot.motion().onlyWrite().times, (Lists{{0.0F}, {0.0F}}));
}

TEST_F(WritePath, AnyNameIsTriedAsDeviceThenLedThenGroup) {
  in.fLedNameToDevices()[small::kEar1] = {small::kEar2};
  in.fGroupToDevices()[small::kEar1] = {small::kBrain};
  in.fGroupToDevices()["Ear2"] = {small::kBrain};
  in.xSetAnyLedIntensity(small::kEar1, 1.0F);
  in.xSetAnyLedIntensity("Ear2", 1.0F);
  ASSERT_THAT(writes(), SizeIs(2));
  EXPECT_THAT(writes()[0].keys, ElementsAre(key(small::kEar1)));
  EXPECT_THAT(writes()[1].keys, ElementsAre(key(small::kEar2)));
}

TEST_F(WritePath, AnyNameIsNotCheckedForItsRange) {
  EXPECT_NO_THROW(in.xSetAnyLedIntensity(small::kEar1, 7.0F));
  EXPECT_EQ(robot.motion().onlyWrite().values, (Lists{{7.0F}}));
}

TEST_F(WritePath, AnyUnknownNameIsRefused) {
  EXPECT_EQ(invalidArgument([&] { in.xSetAnyLedIntensity("Nose", 0.5F); }),
            "HBLeds: setIntensity: Could not parse 'Nose 'as a LED Device, RGB-LED or Group");
}

TEST_F(WritePath, WithoutAMotionServiceWritesDoNothingAndReportNothing) {
  in.fMotion() = xo::Object();
  in.xSetDeviceIntensity(small::kEar1, 1.0F, 0.0F);
  in.xSetIntensity("Eye0", 1.0F, 0.0F);
  in.xSetGroupIntensity("EarLeds", 1.0F, 0.0F);
  in.xReset("AllLeds");
  EXPECT_THAT(robot.log().lines(), IsEmpty());
  EXPECT_FALSE(in.fLedsCommanded());
}

TEST_F(WritePath, WithADeadMotionServiceWritesDoNothingAndReportNothing) {
  robot.motion().takeAway();
  in.xSetDeviceIntensity(small::kEar1, 1.0F, 0.0F);
  in.xSetIntensity("Eye0", 1.0F, 0.0F);
  in.xSetGroupIntensity("EarLeds", 1.0F, 0.0F);
  in.xReset("AllLeds");
  EXPECT_THAT(robot.log().lines(), IsEmpty());
  EXPECT_FALSE(in.fLedsCommanded());
}

TEST_F(WritePath, WritesWorkAgainWhenTheMotionServiceReturns) {
  robot.motion().takeAway();
  in.xSetDeviceIntensity(small::kEar1, 1.0F, 0.0F);
  robot.motion().bringBack();
  in.xSetDeviceIntensity(small::kEar1, 0.5F, 0.0F);
  EXPECT_EQ(robot.motion().onlyWrite().values, (Lists{{0.5F}}));
}

TEST_F(WritePath, ReadingDividesByTheRatio) {
  robot.memory().set(key(small::kEar1), 0.3F);
  setRatio(small::kEar1, 0.7F);
  EXPECT_EQ(in.xGetDeviceIntensity(small::kEar1), 0.3F / 0.7F);
  EXPECT_THAT(robot.journal().lines(), ElementsAre("memory: " + key(small::kEar1)));
}

TEST_F(WritePath, ReadingIsCappedAtOneAndNotFloored) {
  robot.memory().set(key(small::kEar1), 0.9F);
  setRatio(small::kEar1, 0.5F);
  EXPECT_EQ(in.xGetDeviceIntensity(small::kEar1), 1.0F);
  robot.memory().set(key(small::kEar1), -0.5F);
  EXPECT_EQ(in.xGetDeviceIntensity(small::kEar1), -1.0F);
}

TEST_F(WritePath, ReadingANotANumberYieldsOne) {
  robot.memory().set(key(small::kEar1), kNaN);
  EXPECT_EQ(in.xGetDeviceIntensity(small::kEar1), 1.0F);
  robot.memory().set(key(small::kEar1), 0.25F);
  setRatio(small::kEar1, kNaN);
  EXPECT_EQ(in.xGetDeviceIntensity(small::kEar1), 1.0F);
}

TEST_F(WritePath, ReadingConvertsAnIntegerToFloat) {
  robot.memory().set(key(small::kEar1), 1);
  setRatio(small::kEar1, 1.0F);
  EXPECT_EQ(in.xGetDeviceIntensity(small::kEar1), 1.0F);
}

TEST_F(WritePath, ReadingPassesTheMemorysErrorOn) {
  EXPECT_EQ(invalidArgument([&] { in.xGetDeviceIntensity(small::kEar1); }),
            "No key " + key(small::kEar1));
  robot.memory().set(key(small::kEye0Blue), 0.5F);
  EXPECT_EQ(invalidArgument([&] { in.xGetIntensity("Eye0"); }), "No key " + key(small::kEye0Green));
}

TEST_F(WritePath, ReadingAnLedYieldsAFloatPerDeviceInOrder) {
  robot.memory().set(key(small::kEye0Blue), 0.25F);
  robot.memory().set(key(small::kEye0Green), 0.5F);
  robot.memory().set(key(small::kEye0Red), 0.75F);
  const auto value = in.xGetIntensity("Eye0");
  EXPECT_EQ(value, HBValue::list({0.25F, 0.5F, 0.75F}));
  EXPECT_EQ(value.getType(), HBValue::TypeList);
  EXPECT_EQ(value[0].getType(), HBValue::TypeFloat);
}

TEST_F(WritePath, ReadingAnLedWithOneDeviceYieldsAListOfOne) {
  robot.memory().set(key(small::kEar1), 0.25F);
  EXPECT_EQ(in.xGetIntensity("Ear1"), HBValue::list({0.25F}));
}

TEST_F(WritePath, ReadingAnUnknownLedIsOutOfRange) {
  EXPECT_EQ(outOfRange([&] { in.xGetIntensity("FaceLeds"); }), "map::at:  key not found");
}

TEST_F(WritePath, ReadingAGroupIsNotImplemented) {
  EXPECT_EQ(runtimeError([&] { in.xGetGroupIntensity("FaceLeds"); }), kNotImplemented);
  in.fGroupToDevices()["Empty"];
  EXPECT_EQ(runtimeError([&] { in.xGetGroupIntensity("Empty"); }), kNotImplemented);
  EXPECT_FALSE(in.xGetGroupIntensity("Nose").isValid());
  EXPECT_FALSE(in.xGetGroupIntensity("Eye0").isValid());
}

TEST_F(WritePath, ResetSendsEachDevicesDefaultAtOnceInOrder) {
  in.info(small::kEye0Blue).defaultIntensity = 0.25F;
  in.info(small::kEye0Green).defaultIntensity = 0.5F;
  setRatio(small::kEye0Green, 0.5F);
  in.xReset("Eye0");
  EXPECT_THAT(writes(), ElementsAre(Write{{key(small::kEye0Blue)}, {{0.0F}}, {{0.25F}}},
                                    Write{{key(small::kEye0Green)}, {{0.0F}}, {{0.25F}}},
                                    Write{{key(small::kEye0Red)}, {{0.0F}}, {{1.0F}}}));
}

TEST_F(WritePath, ResetGoesOnAfterARefusedDevice) {
  robot.motion().refuse(1, "jammed");
  in.xReset("EarLeds");
  EXPECT_THAT(writes(), SizeIs(2));
  EXPECT_THAT(robot.log().lines(), IsEmpty());
}

TEST_F(WritePath, ResetTakesADeviceAndRefusesAnUnknownName) {
  in.xReset(small::kEar1);
  EXPECT_THAT(robot.motion().onlyWrite().keys, ElementsAre(key(small::kEar1)));
  robot.forget();
  EXPECT_EQ(invalidArgument([&] { in.xReset("Nose"); }),
            "Could not parse 'Nose 'as a LED Device, RGB-LED or Group");
  EXPECT_THAT(writes(), IsEmpty());
}

TEST_F(WritePath, DefaultIntensityIsSetForEveryDeviceOfTheName) {
  in.xSetDefaultIntensity("EarLeds", 0.25F);
  EXPECT_EQ(in.info(small::kEar1).defaultIntensity, 0.25F);
  EXPECT_EQ(in.info(small::kEar2).defaultIntensity, 0.25F);
  in.xSetDefaultIntensity("Ear1", 0.0F);
  in.xSetDefaultIntensity(small::kEar2, 1.0F);
  EXPECT_EQ(in.info(small::kEar1).defaultIntensity, 0.0F);
  EXPECT_EQ(in.info(small::kEar2).defaultIntensity, 1.0F);
}

TEST_F(WritePath, DefaultIntensityOutsideZeroToOneIsRefused) {
  const float before = in.info(small::kEar1).defaultIntensity;
  for (const float value : {-0.0001F, 1.0001F, kNaN, kInfinity, -kInfinity}) {
    EXPECT_EQ(invalidArgument([&] { in.xSetDefaultIntensity("EarLeds", value); }),
              "Default intensity should be between 0 and 1.");
  }
  EXPECT_EQ(in.info(small::kEar1).defaultIntensity, before);
  EXPECT_EQ(invalidArgument([&] { in.xSetDefaultIntensity("Nose", 0.5F); }),
            "Could not parse 'Nose 'as a LED Device, RGB-LED or Group");
}

TEST_F(WritePath, DefaultIntensityChecksItsValueBeforeItsName) {
  EXPECT_EQ(invalidArgument([&] { in.xSetDefaultIntensity("Nose", 2.0F); }),
            "Default intensity should be between 0 and 1.");
}

TEST_F(WritePath, DefaultIntensityTakesNoLock) {
  const std::unique_lock holder(in.fLedsMutex());
  Beside set([&] { in.xSetDefaultIntensity("Ear1", 0.5F); });
  EXPECT_TRUE(set.ends());
}

}  // namespace
}  // namespace HB::test
