// fadeListRGB: a chain of colours.
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
using Floats = std::vector<float>;
using Lists = RecordingMotion::Lists;
using Strings = std::vector<std::string>;
using Write = RecordingMotion::Write;

const std::string kPause = "PassiveBlinking verbose: Pause passive blinking";
const std::string kResume = "PassiveBlinking verbose: Resume passive blinking";

std::string key(const std::string& device) { return "Device/SubDeviceList/" + device; }
std::string warningOf(const std::string& name) {
  return "HBLeds warning: The use of this LED (" + name +
         ") is deprecated since 1.14. You will not be able to set its intensity or its color "
         "anymore in further versions.";
}

class FadeList : public ::testing::Test {
 protected:
  Robot robot;
  HBLeds& leds = robot.leds();
  LedsAccess in{leds};
  const HBValue kNone = HBValue::List();

  std::vector<Write> writes() { return robot.motion().writes(); }
  Strings journal() { return robot.journal().lines(); }
};

TEST_F(FadeList, SendsEachStepToAGroupAtTheSumOfTheTimesSoFar) {
  xo::ManualClock clock;
  const auto faded =
      leds.fadeListRGB("FaceLed0", HBValue::list({0xFF0000, 0x0000FF}), HBValue::list({1, 2}));
  const Strings keys{key(small::kEye0Blue), key(small::kEye0Green), key(small::kEye0Red)};
  EXPECT_THAT(writes(), ElementsAre(Write{keys, Lists(3, {1.0F}), {{0.0F}, {0.0F}, {1.0F}}},
                                    Write{keys, Lists(3, {3.0F}), {{1.0F}, {0.0F}, {0.0F}}}));
  clock.advance(std::chrono::milliseconds(2999));
  EXPECT_TRUE(faded.isRunning());
  clock.advance(std::chrono::milliseconds(1));
  EXPECT_TRUE(faded.hasValue());
}

TEST_F(FadeList, SendsEachStepToAnLedDeviceByDevice) {
  in.info(small::kEye0Red).intensityRatio = 0.5F;
  leds.fadeListRGB("Eye0", HBValue::list({0xFF0000, 0x008000}), HBValue::list({1.5F, 0.5F}));
  EXPECT_THAT(writes(), ElementsAre(Write{{key(small::kEye0Blue)}, {{1.5F}}, {{0.0F}}},
                                    Write{{key(small::kEye0Green)}, {{1.5F}}, {{0.0F}}},
                                    Write{{key(small::kEye0Red)}, {{1.5F}}, {{0.5F}}},
                                    Write{{key(small::kEye0Blue)}, {{2.0F}}, {{0.0F}}},
                                    Write{{key(small::kEye0Green)}, {{2.0F}}, {{128.0F / 255.0F}}},
                                    Write{{key(small::kEye0Red)}, {{2.0F}}, {{0.0F}}}));
}

TEST_F(FadeList, SumsItsTimesInSinglePrecision) {
  xo::ManualClock clock;
  HBValue::List colors(10, 255);
  HBValue::List times(10, 0.1F);
  const auto faded = leds.fadeListRGB("Ear1", colors, times);
  float sum = 0.0F;
  ASSERT_THAT(writes(), SizeIs(10));
  for (const auto& write : writes()) {
    sum += 0.1F;
    EXPECT_EQ(write.times, (Lists{{sum}}));
  }
  EXPECT_EQ(sum, 1.0000001F);  // 1.0 by sums in double precision
  EXPECT_TRUE(faded.isRunning());
}

TEST_F(FadeList, TakesWholeFloatsAsColoursAndNegativeTimesAsTheyAre) {
  leds.fadeListRGB("Ear1", HBValue::list({255.0F, 255.0F}), HBValue::list({2, -3}));
  ASSERT_THAT(writes(), SizeIs(2));
  EXPECT_EQ(writes()[0].times, (Lists{{2.0F}}));
  EXPECT_EQ(writes()[1].times, (Lists{{-1.0F}}));
}

TEST_F(FadeList, OfNothingSendsNothingAndIsOverAtOnce) {
  for (const std::string name : {"Eye0", "FaceLeds"}) {
    const auto faded = leds.fadeListRGB(name, kNone, kNone);
    EXPECT_TRUE(becomesTrue([&] { return faded.hasValue(); }));
  }
  EXPECT_THAT(writes(), IsEmpty());
}

TEST_F(FadeList, RefusesListsOfUnequalSizeNamingBoth) {
  EXPECT_EQ(invalidArgument([&] {
              leds.fadeListRGB("Ear1", HBValue::list({1, 2}), HBValue::list({1, 2, 3}));
            }),
            "HBLeds: fadeListRGB: The two lists are not the same length (2 != 3)");
  EXPECT_EQ(invalidArgument([&] { leds.fadeListRGB("Ear1", HBValue::list({1}), kNone); }),
            "HBLeds: fadeListRGB: The two lists are not the same length (1 != 0)");
  EXPECT_THAT(writes(), IsEmpty());
}

TEST_F(FadeList, ChecksTheSizesAfterThePauseAndBeforeTheLockAndTheName) {
  const std::unique_lock holder(in.fLedsMutex());
  Beside face([&] { leds.fadeListRGB("FaceLeds", HBValue::list({1}), kNone); });
  EXPECT_TRUE(face.ends());
  EXPECT_THROW(face.get(), std::invalid_argument);
  EXPECT_THAT(journal(), ElementsAre(kPause, kResume));
  Beside nose([&] { leds.fadeListRGB("Nose", HBValue::list({1}), kNone); });
  EXPECT_TRUE(nose.ends());
  EXPECT_THAT(invalidArgument([&] { nose.get(); }), HasSubstr("not the same length (1 != 0)"));
  Beside chest([&] { leds.fadeListRGB("ChestLeds", HBValue::list({1}), kNone); });
  EXPECT_TRUE(chest.ends());
  EXPECT_EQ(robot.journal().count("deprecated"), 0u);
}

TEST_F(FadeList, RefusesASingleDevice) {
  const std::string text = "HBLeds: fadeListRGB: The name '" + small::kChestRed +
                           " ' shouldn't be a single device, it must be an RGB-LED or Group";
  EXPECT_EQ(invalidArgument([&] { leds.fadeListRGB(small::kChestRed, kNone, kNone); }), text);
  EXPECT_THAT(journal(), IsEmpty());  // and does not warn of it
  leds.createGroup(small::kChestRed, {"EarLeds"});
  EXPECT_EQ(invalidArgument([&] { leds.fadeListRGB(small::kChestRed, kNone, kNone); }), text);
}

TEST_F(FadeList, RefusesAnUnknownName) {
  EXPECT_EQ(invalidArgument([&] { leds.fadeListRGB("Nose", kNone, kNone); }),
            "HBLeds: fadeListRGB: Could not parse 'Nose 'as a LED Device, RGB-LED or Group");
  EXPECT_TRUE(canExclude(in.fLedsMutex()));
  Robot chestless(RobotXml().rgbLed("Eye0", "FaceLeds", "Face/Led/%"));
  EXPECT_THROW(chestless.leds().fadeListRGB("ChestLeds", kNone, kNone), std::invalid_argument);
  EXPECT_THAT(chestless.journal().lines(), IsEmpty());
}

TEST_F(FadeList, TriesLedBeforeGroup) {
  leds.createGroup("Ear1", {"FaceLeds"});
  leds.fadeListRGB("Ear1", HBValue::list({255}), HBValue::list({1}));
  EXPECT_THAT(robot.motion().onlyWrite().keys, ElementsAre(key(small::kEar1)));
}

TEST_F(FadeList, WarnsOnceBeforeItSends) {
  leds.fadeListRGB("ChestLedsRed", HBValue::list({1, 2}), HBValue::list({1, 1}));
  const auto motion = "motion: " + key(small::kChestRed);
  EXPECT_THAT(journal(), ElementsAre(warningOf("ChestLedsRed"), motion, motion));
  robot.forget();
  leds.fadeListRGB("ChestLeds", kNone, kNone);
  EXPECT_THAT(journal(), ElementsAre(warningOf("ChestLeds")));
}

TEST_F(FadeList, WarnsInsideTheLock) {
  bool exclusive = true;
  robot.log().onLine([&](const LogLine&) { exclusive = canExclude(in.fLedsMutex()); });
  leds.fadeListRGB("ChestLeds", kNone, kNone);
  EXPECT_FALSE(exclusive);
}

TEST_F(FadeList, SendsTheStepsBeforeABadElement) {
  const std::string badColor = invalidArgument([] { HBValue("x").toInt(); });
  const std::string badTime = invalidArgument([] { HBValue("y").toFloat(); });
  ASSERT_NE(badColor, badTime);
  EXPECT_EQ(invalidArgument([&] {
              leds.fadeListRGB("Ear1", HBValue::list({255, "x"}), HBValue::list({1, "y"}));
            }),
            badColor);  // the colour is read before the time
  EXPECT_THAT(writes(), SizeIs(1));
  EXPECT_EQ(invalidArgument([&] {
              leds.fadeListRGB("Ear1", HBValue::list({255, 255, 255}), HBValue::list({1, 1, "y"}));
            }),
            badTime);
  EXPECT_THAT(writes(), SizeIs(3));
  EXPECT_TRUE(canExclude(in.fLedsMutex()));
}

TEST_F(FadeList, RefusesWhatIsNoListAfterThePause) {
  EXPECT_THROW(leds.fadeListRGB("FaceLeds", 255, HBValue::list({1})), std::invalid_argument);
  EXPECT_THAT(journal(), ElementsAre(kPause, kResume));
  EXPECT_THROW(leds.fadeListRGB("FaceLeds", HBValue(), HBValue()), std::invalid_argument);
  EXPECT_THAT(writes(), IsEmpty());
}

TEST_F(FadeList, KeepsItsFutureAndItsChecksWithoutMotion) {
  xo::ManualClock clock;
  in.fMotion() = xo::Object();
  const auto faded = leds.fadeListRGB("Eye0", HBValue::list({1, 2}), HBValue::list({1, 2}));
  clock.advance(std::chrono::milliseconds(2999));
  EXPECT_TRUE(faded.isRunning());
  clock.advance(std::chrono::milliseconds(1));
  EXPECT_TRUE(faded.hasValue());
  EXPECT_THROW(leds.fadeListRGB("Eye0", HBValue::list({"x"}), HBValue::list({1})),
               std::invalid_argument);
}

}  // namespace
}  // namespace HB::test
