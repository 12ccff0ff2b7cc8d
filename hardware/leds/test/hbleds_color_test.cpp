// The colour commands as clients call them.
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

constexpr float kInfinity = std::numeric_limits<float>::infinity();
const std::string kPause = "PassiveBlinking verbose: Pause passive blinking";
const std::string kResume = "PassiveBlinking verbose: Resume passive blinking";
const std::string kUnknown =
    "HBLeds: fadeRGB: Could not parse 'Nose' as a LED Device, RGB-LED or Group";

std::string key(const std::string& device) { return "Device/SubDeviceList/" + device; }
std::string warningOf(const std::string& name) {
  return "HBLeds warning: The use of this LED (" + name +
         ") is deprecated since 1.14. You will not be able to set its intensity or its color "
         "anymore in further versions.";
}

class ColorCommands : public ::testing::Test {
 protected:
  Robot robot;
  HBLeds& leds = robot.leds();
  LedsAccess in{leds};

  std::vector<Write> writes() { return robot.motion().writes(); }
  Strings journal() { return robot.journal().lines(); }
  /// What was sent to each device since the last call, one value each.
  std::map<std::string, float> sent() {
    std::map<std::string, float> values;
    for (const auto& write : writes()) {
      for (std::size_t i = 0; i < write.keys.size(); ++i) {
        values[write.keys[i]] = write.values[i].at(0);
      }
    }
    robot.forget();
    return values;
  }
};

TEST_F(ColorCommands, SendAnLedThreeWritesEachTimesItsRatio) {
  in.info(small::kEye0Green).intensityRatio = 0.5F;
  in.info(small::kEye0Red).intensityRatio = 0.7F;
  leds.fadeRGB("Eye0", 0x00FF8000, 2.0F);
  EXPECT_THAT(writes(),
              ElementsAre(Write{{key(small::kEye0Blue)}, {{2.0F}}, {{0.0F}}},
                          Write{{key(small::kEye0Green)}, {{2.0F}}, {{0.5F * (128.0F / 255.0F)}}},
                          Write{{key(small::kEye0Red)}, {{2.0F}}, {{0.7F}}}));
}

TEST_F(ColorCommands, SendAGroupOneWrite) {
  in.info(small::kEye1Blue).intensityRatio = 0.5F;
  leds.fadeRGB("FaceLeds", 0.1F, 0.2F, 0.3F, 1.5F);
  EXPECT_EQ(robot.motion().onlyWrite(),
            (Write{{key(small::kEye0Blue), key(small::kEye1Blue), key(small::kEye0Green),
                    key(small::kEye1Green), key(small::kEye0Red), key(small::kEye1Red)},
                   Lists(6, {1.5F}),
                   {{0.3F}, {0.5F * 0.3F}, {0.2F}, {0.2F}, {0.1F}, {0.1F}}}));
}

TEST_F(ColorCommands, GiveSingleColourDevicesOfAGroupTheBlueValue) {
  leds.createGroup("Mixed", {"Brain", "Ear1", small::kEye0Red, small::kEye0Green});
  leds.fadeRGB("Mixed", 0.1F, 0.2F, 0.3F, 0.0F);
  const auto values = sent();
  EXPECT_EQ(values.at(key(small::kBrain)), 0.3F);
  EXPECT_EQ(values.at(key(small::kEar1)), 0.3F);
  EXPECT_EQ(values.at(key(small::kEye0Red)), 0.1F);
  EXPECT_EQ(values.at(key(small::kEye0Green)), 0.2F);
}

TEST_F(ColorCommands, GiveADeviceOfAnLedTheChannelOfItsRecordAndSkipOtherColours) {
  leds.fadeRGB("Brain", 0.1F, 0.2F, 0.3F, 0.0F);  // white
  EXPECT_THAT(writes(), IsEmpty());
  in.info(small::kEar1).color = Sim::LEDActuator::Red;  // its name says nothing of it
  leds.fadeRGB("Ear1", 0.1F, 0.2F, 0.3F, 0.0F);
  EXPECT_EQ(robot.motion().onlyWrite().values, (Lists{{0.1F}}));
  robot.forget();
  leds.fadeRGB("EarLed1", 0.1F, 0.2F, 0.3F, 0.0F);  // as a group, the name decides
  EXPECT_EQ(robot.motion().onlyWrite().values, (Lists{{0.3F}}));
}

TEST(GroupChannel, IsToldByRedAndThenGreenAnywhereInTheDevicesName) {
  const std::vector<std::pair<std::string, float>> devices{
      {"Red", 0.1F},  {"xRedx", 0.1F}, {"GreenRed", 0.1F}, {"Green", 0.2F}, {"aGreen/Blue", 0.2F},
      {"Blue", 0.3F}, {"red", 0.3F},   {"GREEN", 0.3F},    {"Re/d", 0.3F},  {"Infrared", 0.3F}};
  RobotXml xml;
  for (const auto& [name, value] : devices) xml.led("L" + name, "G", {{name, "green"}});
  Robot robot(xml);
  robot.leds().fadeRGB("G", 0.1F, 0.2F, 0.3F, 0.0F);
  const auto write = robot.motion().onlyWrite();
  ASSERT_EQ(write.keys.size(), devices.size());
  for (const auto& [name, value] : devices) {
    const auto at = std::find(write.keys.begin(), write.keys.end(), key(name + "/Actuator/Value"));
    ASSERT_NE(at, write.keys.end()) << name;
    EXPECT_EQ(write.values[static_cast<std::size_t>(at - write.keys.begin())], Floats{value})
        << name;
  }
}

TEST_F(ColorCommands, KnowSevenColoursByNameAndByLetter) {
  const std::vector<std::pair<Strings, Floats>> colors{
      {{"red", "r"}, {1, 0, 0}},    {{"green", "g"}, {0, 1, 0}},   {{"blue", "b"}, {0, 0, 1}},
      {{"yellow", "y"}, {1, 1, 0}}, {{"magenta", "m"}, {1, 0, 1}}, {{"cyan", "c"}, {0, 1, 1}},
      {{"white", "w"}, {1, 1, 1}}};
  for (const auto& [names, rgb] : colors) {
    for (const auto& name : names) {
      leds.fadeRGB("Eye0", name, 1.5F);
      EXPECT_THAT(writes().at(0).times, ElementsAre(ElementsAre(1.5F)));
      const auto values = sent();
      EXPECT_EQ(values.at(key(small::kEye0Red)), rgb[0]) << name;
      EXPECT_EQ(values.at(key(small::kEye0Green)), rgb[1]) << name;
      EXPECT_EQ(values.at(key(small::kEye0Blue)), rgb[2]) << name;
    }
  }
}

TEST_F(ColorCommands, RefuseEveryOtherColourNameBeforeAnyPause) {
  for (const std::string name : {"Red", "RED", "R", "", "black", "red ", " red", "re", "reds"}) {
    EXPECT_EQ(invalidArgument([&] { leds.fadeRGB("FaceLeds", name, 1.0F); }),
              "Color given as parameter " + name +
                  " is not supported. Supported colors are: white, red, green, blue, yellow, "
                  "magenta, cyan");
  }
  EXPECT_THAT(journal(), IsEmpty());
  EXPECT_THAT(invalidArgument([&] { leds.fadeRGB("Nose", std::string("Red"), 1.0F); }),
              HasSubstr("Color given as parameter Red"));
}

TEST_F(ColorCommands, RefuseASingleDevice) {
  const std::string text = "HBLeds: fadeRGB: The name '" + small::kEye0Red +
                           "' can't be a single device, it must be an RGB-LED or Group";
  const auto& name = small::kEye0Red;
  EXPECT_EQ(invalidArgument([&] { leds.fadeRGB(name, 1.0F, 0.0F, 0.0F, 1.0F); }), text);
  EXPECT_EQ(invalidArgument([&] { leds.fadeRGB(name, std::string("red"), 1.0F); }), text);
  EXPECT_EQ(invalidArgument([&] { leds.fadeRGB(name, 0xFF0000, 1.0F); }), text);
  EXPECT_EQ(invalidArgument([&] { leds._fadeRGB(name, 1.0F, 0.0F, 0.0F, 1.0F); }), text);
  EXPECT_THAT(writes(), IsEmpty());
}

TEST_F(ColorCommands, RefuseAnUnknownName) {
  EXPECT_EQ(invalidArgument([&] { leds.fadeRGB("Nose", 1.0F, 0.0F, 0.0F, 1.0F); }), kUnknown);
  EXPECT_EQ(invalidArgument([&] { leds.fadeRGB("Nose", std::string("r"), 1.0F); }), kUnknown);
  EXPECT_EQ(invalidArgument([&] { leds.fadeRGB("Nose", 255, 1.0F); }), kUnknown);
  EXPECT_EQ(invalidArgument([&] { leds._fadeRGB("Nose", 1.0F, 0.0F, 0.0F, 1.0F); }), kUnknown);
  EXPECT_TRUE(canExclude(in.fLedsMutex()));
}

TEST_F(ColorCommands, RefuseADeviceEvenIfAGroupHasItsName) {
  leds.createGroup(small::kEye0Red, {"EarLeds"});
  EXPECT_THAT(invalidArgument([&] { leds.fadeRGB(small::kEye0Red, 255, 1.0F); }),
              HasSubstr("can't be a single device"));
}

TEST_F(ColorCommands, TryLedBeforeGroup) {
  leds.createGroup("Ear1", {"FaceLeds"});
  leds.fadeRGB("Ear1", 255, 1.0F);
  EXPECT_THAT(robot.motion().onlyWrite().keys, ElementsAre(key(small::kEar1)));
}

TEST_F(ColorCommands, DoNotCheckTheirChannels) {
  leds.fadeRGB("Eye0", 7.0F, -1.0F, kInfinity, -3.0F);
  ASSERT_THAT(writes(), SizeIs(3));
  EXPECT_EQ(writes()[0], (Write{{key(small::kEye0Blue)}, {{-3.0F}}, {{kInfinity}}}));
  EXPECT_EQ(writes()[1].values, (Lists{{-1.0F}}));
  EXPECT_EQ(writes()[2].values, (Lists{{7.0F}}));
}

TEST_F(ColorCommands, WarnAfterTheCommandAndInsideTheLock) {
  const auto motion = "motion: " + key(small::kChestRed);
  bool exclusive = true;
  robot.log().onLine([&](const LogLine&) { exclusive = canExclude(in.fLedsMutex()); });
  leds.fadeRGB("ChestLedsRed", 1.0F, 0.0F, 0.0F, 1.0F);
  EXPECT_FALSE(exclusive);
  EXPECT_THAT(journal(), ElementsAre(motion, warningOf("ChestLedsRed")));
  robot.forget();
  leds.fadeRGB("ChestLedsRed", std::string("red"), 1.0F);
  EXPECT_THAT(journal(), ElementsAre(motion, warningOf("ChestLedsRed")));
  robot.forget();
  leds.fadeRGB("ChestLedsRed", 255, 1.0F);
  EXPECT_THAT(journal(), ElementsAre(motion, warningOf("ChestLedsRed")));
}

TEST_F(ColorCommands, DoNotWarnOfANameThatTheyRefuse) {
  EXPECT_THROW(leds.fadeRGB(small::kChestRed, 255, 1.0F), std::invalid_argument);
  EXPECT_THAT(journal(), IsEmpty());
  Robot chestless(RobotXml().rgbLed("Eye0", "FaceLeds", "Face/Led/%"));
  EXPECT_THROW(chestless.leds().fadeRGB("ChestLeds", 255, 1.0F), std::invalid_argument);
  EXPECT_THAT(chestless.journal().lines(), IsEmpty());
}

TEST_F(ColorCommands, UnderscoreFadeNeverWarns) {
  leds._fadeRGB("ChestLeds", 0.1F, 0.2F, 0.3F, 1.0F);
  leds._fadeRGB("ChestLedsRed", 0.1F, 0.2F, 0.3F, 1.0F);
  EXPECT_THAT(robot.log().lines(), IsEmpty());
  const auto all = writes();
  ASSERT_THAT(all, SizeIs(2));
  EXPECT_EQ(all[0].values, (Lists{{0.3F}, {0.2F}, {0.1F}}));
  EXPECT_EQ(all[1].values, (Lists{{0.1F}}));
}

TEST_F(ColorCommands, PauseForTheWholeCall) {
  in.fLedNameToDevices()["Eye0"] = {small::kEye0Red};
  const auto expected = ElementsAre(kPause, "motion: " + key(small::kEye0Red), kResume);
  leds.fadeRGB("Eye0", 1.0F, 0.0F, 0.0F, 1.0F);
  EXPECT_THAT(journal(), expected);
  robot.forget();
  leds.fadeRGB("Eye0", std::string("red"), 1.0F);
  EXPECT_THAT(journal(), expected);
  robot.forget();
  leds.fadeRGB("Eye0", 255, 1.0F);
  EXPECT_THAT(journal(), expected);
  robot.forget();
  leds._fadeRGB("Eye0", 1.0F, 0.0F, 0.0F, 1.0F);
  EXPECT_THAT(journal(), expected);
  robot.forget();
  EXPECT_THROW(leds.fadeRGB(small::kEye0Red, 255, 1.0F), std::invalid_argument);
  EXPECT_THAT(journal(), ElementsAre(kPause, kResume));
}

TEST_F(ColorCommands, ReturnAFutureOfTheirDurationAlsoWithoutMotion) {
  xo::ManualClock clock;
  robot.motion().takeAway();
  const std::vector<xo::Future<void>> futures{
      leds.fadeRGB("Eye0", 1.0F, 0.0F, 0.0F, 2.0F), leds.fadeRGB("Eye0", std::string("red"), 2.0F),
      leds.fadeRGB("FaceLeds", 255, 2.0F), leds._fadeRGB("Eye0", 1.0F, 0.0F, 0.0F, 2.0F)};
  clock.advance(std::chrono::milliseconds(1999));
  for (const auto& future : futures) EXPECT_TRUE(future.isRunning());
  clock.advance(std::chrono::milliseconds(1));
  for (const auto& future : futures) EXPECT_TRUE(future.hasValue());
  EXPECT_EQ(robot.journal().count("HBLeds"), 0u);
}

TEST_F(ColorCommands, SetRgbOfAnUnknownLedIsOutOfRange) {
  EXPECT_EQ(outOfRange([&] { in.xSetRGB("FaceLeds", 1.0F, 0.0F, 0.0F, 0.0F); }),
            "map::at:  key not found");
  in.fLedNameToDevices()["Odd"] = {"unknown device"};
  EXPECT_EQ(outOfRange([&] { in.xSetRGB("Odd", 1.0F, 0.0F, 0.0F, 0.0F); }),
            "map::at:  key not found");
}

TEST_F(ColorCommands, SetRgbGoesOnAfterARefusedDevice) {
  robot.motion().refuse(1, "jammed");
  EXPECT_NO_THROW(in.xSetRGB("Eye0", 1.0F, 0.0F, 0.0F, 0.0F));
  EXPECT_THAT(writes(), SizeIs(3));
  EXPECT_THAT(robot.log().lines(), IsEmpty());
}

TEST_F(ColorCommands, SetGroupRgbIsOneStepWithoutLockOrPause) {
  const std::unique_lock holder(in.fLedsMutex());
  Beside set([&] {
    in.setGroupRGB("FaceLed0", 0.1F, 0.2F, 0.3F, 1.0F);
    in.setGroupColor("FaceLed0", Color(0.4F, 0.5F, 0.6F), 2.0F);
  });
  EXPECT_TRUE(set.ends());
  const Strings keys{key(small::kEye0Blue), key(small::kEye0Green), key(small::kEye0Red)};
  EXPECT_THAT(writes(), ElementsAre(Write{keys, Lists(3, {1.0F}), {{0.3F}, {0.2F}, {0.1F}}},
                                    Write{keys, Lists(3, {2.0F}), {{0.6F}, {0.5F}, {0.4F}}}));
  EXPECT_THAT(robot.log().lines(), IsEmpty());
}

TEST_F(ColorCommands, SetGroupRgbSendsSequencesInOneWriteWithTheirTimesUnchanged) {
  in.info(small::kEar1).intensityRatio = 0.7F;
  leds.createGroup("G", {"Ear1", small::kEye0Red, small::kEye0Green});
  robot.forget();
  in.xSetGroupRGB("G", {0.1F, 0.2F}, {0.3F, 0.4F}, {0.5F, 0.6F}, {2.0F, 1.0F});
  EXPECT_EQ(robot.motion().onlyWrite(),
            (Write{{key(small::kEar1), key(small::kEye0Green), key(small::kEye0Red)},
                   Lists(3, {2.0F, 1.0F}),
                   {{0.7F * 0.5F, 0.7F * 0.6F}, {0.3F, 0.4F}, {0.1F, 0.2F}}}));
}

TEST_F(ColorCommands, SetGroupRgbRefusesListsOfUnequalLength) {
  const auto refuses = [&](const Floats& reds, const Floats& greens, const Floats& blues) {
    EXPECT_EQ(runtimeError([&] { in.xSetGroupRGB("FaceLeds", reds, greens, blues, {1.0F}); }),
              "Inconsistent vector sizes");
  };
  refuses({}, {1.0F}, {1.0F});
  refuses({1.0F}, {1.0F, 1.0F}, {1.0F});
  refuses({1.0F}, {1.0F}, {});
  refuses({}, {}, {});
  EXPECT_THAT(writes(), IsEmpty());
  EXPECT_THAT(robot.log().lines(), IsEmpty());
}

TEST_F(ColorCommands, SetGroupRgbOverlooksWrongLengthsWhereNothingIsSent) {
  EXPECT_NO_THROW(in.xSetGroupRGB("Nose", {}, {1.0F}, {}, {1.0F}));
  robot.motion().takeAway();
  EXPECT_NO_THROW(in.xSetGroupRGB("FaceLeds", {}, {1.0F}, {}, {1.0F}));
  in.fMotion() = xo::Object();
  EXPECT_NO_THROW(in.xSetGroupRGB("FaceLeds", {}, {1.0F}, {}, {1.0F}));
  EXPECT_THAT(robot.log().lines(), IsEmpty());
}

TEST_F(ColorCommands, SetGroupRgbSendsAnEmptyGroupAndEmptyLists) {
  in.fGroupToDevices()["Empty"];
  in.xSetGroupRGB("Empty", {1.0F}, {1.0F}, {1.0F}, {1.0F});
  EXPECT_EQ(robot.motion().onlyWrite(), Write());
  EXPECT_FALSE(in.fLedsCommanded());
  robot.forget();
  in.xSetGroupRGB("EarLed1", {}, {}, {}, {});
  EXPECT_EQ(robot.motion().onlyWrite(), (Write{{key(small::kEar1)}, {{}}, {{}}}));
}

TEST_F(ColorCommands, SetGroupRgbLogsTheErrorOfAWriteAndSwallowsIt) {
  robot.motion().refuseAll("jammed");
  EXPECT_NO_THROW(leds.fadeRGB("EarLeds", 255, 1.0F));
  EXPECT_THAT(journal().back(), "HBLeds error: Exception in xSetGroupRGB: jammed");
}

TEST(Color, TakesEachByteOfAnIntegerAsAFraction) {
  const Color color(0x00FF8001);
  EXPECT_EQ(color.r, 1.0F);
  EXPECT_EQ(color.g, 128.0F / 255.0F);
  EXPECT_EQ(color.b, 1.0F / 255.0F);
}

TEST(Color, IgnoresTheBitsAboveTwentyFour) {
  for (const int rgb : {0x12FFFFFF, -1}) {
    const Color color(rgb);
    EXPECT_EQ(color.r, 1.0F);
    EXPECT_EQ(color.g, 1.0F);
    EXPECT_EQ(color.b, 1.0F);
  }
  EXPECT_EQ(Color(0x7F000000).r, 0.0F);
}

TEST(Color, KeepsThreeFloatsUnchanged) {
  const Color color(7.0F, -1.0F, 0.1F);
  EXPECT_EQ(color.r, 7.0F);
  EXPECT_EQ(color.g, -1.0F);
  EXPECT_EQ(color.b, 0.1F);
}

}  // namespace
}  // namespace HB::test
