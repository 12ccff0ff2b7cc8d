// The green, yellow and red pattern on eyes, feet and chest.
#include <gmock/gmock.h>

#include <limits>

#include "hardware/leds/test/support/driven.h"
#include "hardware/leds/test/support/errors.h"
#include "hardware/leds/test/support/leds_access.h"
#include "hardware/leds/test/support/robot.h"
#include "hardware/leds/test/support/script.h"

namespace HB::test {
namespace {

using ::testing::ElementsAre;
using ::testing::SizeIs;
using xo::log::Level;

const LogLine kPaused{"PassiveBlinking", Level::kVerbose, "Pause passive blinking"};
const LogLine kResumed{"PassiveBlinking", Level::kVerbose, "Resume passive blinking"};

/// Which of red and green a third of the pattern has on.
struct Light {
  float red;
  float green;
};
constexpr Light kRed{1, 0};
constexpr Light kYellow{1, 1};
constexpr Light kGreen{0, 1};

/// That many cycles of the pattern as it is described, and the reset.
Script pattern(HBLeds& leds, int cycles) {
  Script script(leds);
  script.group("AllLeds", 0);
  int offset = 0;
  for (int cycle = 0; cycle < cycles; ++cycle) {
    constexpr Light kPositions[8] = {kRed, kRed, kRed, kYellow, kYellow, kGreen, kGreen, kGreen};
    for (int p = 0; p < 8; ++p) {
      const std::string angle = std::to_string((p * 45 + offset) % 360) + "Deg/Actuator/Value";
      const auto both = [&](const std::string& color, float value) {
        for (const std::string side : {"/Left/", "/Right/"}) {
          const std::string device = "Face/Led/" + color + side + angle;
          if (script.hasDevice(device)) script.device(device, value);
        }
      };
      both("Blue", 0);
      both("Green", kPositions[p].green);
      both("Red", kPositions[p].red);
    }
    offset = (offset + 45) % 360;
    const auto part = [&](const std::string& name, int phase) {
      constexpr Light kPhases[3] = {kRed, kYellow, kGreen};
      const Light& light = kPhases[phase % 3];
      if (!script.hasLed(name + "Red") || !script.hasLed(name + "Green") ||
          !script.hasLed(name + "Blue")) {
        return;
      }
      script.led(name + "Red", light.red);
      script.led(name + "Green", light.green);
      script.led(name + "Blue", 0);
    };
    const int third = (offset + 1) / 120;
    part("LeftFootLeds", third);
    part("ChestLeds", third + 1);
    part("RightFootLeds", third + 2);
    script.sleep(200);
  }
  script.reset("AllLeds");
  return script;
}

/// One LED of a part of the body per channel, as animations address them.
void addPart(RobotXml& xml, const std::string& name, const std::string& groups) {
  xml.led(name + "Red", groups, {{name + "/Red", "red"}});
  xml.led(name + "Green", groups, {{name + "/Green", "green"}});
  xml.led(name + "Blue", groups, {{name + "/Blue", "blue"}});
}

TEST(Rasta, WritesDeviceByDeviceAndResets) {
  RobotXml xml;
  xml.led("Eye", "FaceLeds AllLeds",
          {{"Face/Led/Red/Left/45Deg", "red"}, {"Face/Led/Green/Right/180Deg", "green"}});
  addPart(xml, "ChestLeds", "ChestLeds AllLeds");
  Robot robot(xml);
  xo::ManualClock clock;
  const auto drive = driven(clock, [&] { robot.leds().rasta(0.1F); });
  const auto write = [](const std::string& device, float value) {
    return RecordingMotion::Write{
        {small::kPrefix + device + "/Actuator/Value"}, {{0.0F}}, {{value}}};
  };
  RecordingMotion::Write off;
  for (const std::string device : {"ChestLeds/Blue", "ChestLeds/Green", "ChestLeds/Red",
                                   "Face/Led/Green/Right/180Deg", "Face/Led/Red/Left/45Deg"}) {
    off.keys.push_back(small::kPrefix + device + "/Actuator/Value");
    off.times.push_back({0.0F});
    off.values.push_back({0.0F});
  }
  EXPECT_EQ(difference({{off, 0},
                        {write("Face/Led/Red/Left/45Deg", 1), 0},
                        {write("Face/Led/Green/Right/180Deg", 1), 0},
                        {write("ChestLeds/Red", 1), 0},
                        {write("ChestLeds/Green", 1), 0},
                        {write("ChestLeds/Blue", 0), 0},
                        {write("ChestLeds/Blue", 0), 200},
                        {write("ChestLeds/Green", 0), 200},
                        {write("ChestLeds/Red", 0), 200},
                        {write("Face/Led/Green/Right/180Deg", 1), 200},
                        {write("Face/Led/Red/Left/45Deg", 1), 200}},
                       timed(robot.motion(), drive.start)),
            "");
  EXPECT_EQ(drive.ms, 200);
}

/// The lights of feet and chest, cycle by cycle: 'r', 'y' and 'g' for left foot, chest, right foot.
TEST(Rasta, ShiftsFeetAndChestByAThirdOfTheTurn) {
  RobotXml xml;
  addPart(xml, "LeftFootLeds", "AllLeds");
  addPart(xml, "ChestLeds", "AllLeds");
  addPart(xml, "RightFootLeds", "AllLeds");
  Robot robot(xml);
  xo::ManualClock clock;
  driven(clock, [&] { robot.leds().rasta(1.6F); });
  const auto writes = robot.motion().writes();
  ASSERT_THAT(writes, SizeIs(1 + 9 * 9 + 9));
  std::vector<std::string> cycles;
  for (std::size_t cycle = 0; cycle < 9; ++cycle) {
    std::string lights;
    for (const std::size_t part : {0u, 1u, 2u}) {
      const auto value = [&](std::size_t channel) {
        return writes[1 + cycle * 9 + part * 3 + channel].values.at(0).at(0);
      };
      EXPECT_EQ(value(2), 0.0F);
      lights += value(0) == 0 ? 'g' : value(1) == 0 ? 'r' : 'y';
    }
    cycles.push_back(lights);
  }
  EXPECT_THAT(cycles, ElementsAre("ryg", "ryg", "ygr", "ygr", "ygr", "gry", "gry", "ryg", "ryg"));
}

class RastaOfModel : public ::testing::TestWithParam<const char*> {
 protected:
  Robot robot{Surroundings::completeFromFile(GetParam())};
  xo::ManualClock clock;
};

TEST_P(RastaOfModel, RunsCallByCall) {
  const auto drive = driven(clock, [&] { robot.call("rasta", 3.3F); });
  const auto script = pattern(robot.leds(), 19);  // 3630 ms
  EXPECT_EQ(difference(script.writes(), timed(robot.motion(), drive.start)), "");
  EXPECT_EQ(drive.ms, 3800);
}

TEST_P(RastaOfModel, OfOneSecondIsSixCyclesAndAReset) {
  const auto drive = driven(clock, [&] { robot.leds().rasta(1.0F); });
  const auto script = pattern(robot.leds(), 6);
  EXPECT_EQ(difference(script.writes(), timed(robot.motion(), drive.start)), "");
  EXPECT_EQ(drive.ms, 1200);
  EXPECT_THAT(robot.log().lines(), ElementsAre(kPaused, kResumed));
}

INSTANTIATE_TEST_SUITE_P(Models, RastaOfModel,
                         ::testing::Values("models/vanto.xml", "models/lirae.xml"));

TEST(Rasta, LastsAsManyCyclesAsBeginInElevenTenthsOfItsDuration) {
  constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
  constexpr float kInfinite = std::numeric_limits<float>::infinity();
  Robot robot(Surroundings::completeFromFile("models/vanto.xml"));
  xo::ManualClock clock;
  for (const auto& [duration, cycles] : std::vector<std::pair<float, int>>{{0.0F, 0},
                                                                           {-1.0F, 0},
                                                                           {-kInfinite, 0},
                                                                           {kNaN, 0},
                                                                           {0.0009F, 0},
                                                                           {0.00092F, 1},
                                                                           {0.18F, 1},
                                                                           {0.183F, 2},
                                                                           {0.9F, 5},
                                                                           {0.95F, 6}}) {
    robot.forget();
    const auto drive =
        driven(clock, [&robot, duration = duration] { robot.leds().rasta(duration); });
    const auto script = pattern(robot.leds(), cycles);
    EXPECT_EQ(difference(script.writes(), timed(robot.motion(), drive.start)), "") << duration;
    EXPECT_EQ(drive.ms, 200 * cycles);
  }
}

TEST(Rasta, OfAnEndlessDurationGoesOnUntilItIsStopped) {
  Robot robot;
  xo::ManualClock clock;
  for (const float duration : {1e9F, std::numeric_limits<float>::infinity()}) {
    xo::StopFlag stop;
    robot.motion().clear();
    robot.motion().onWrite([&](std::size_t number) {
      if (number > 1000) stop.raise();
    });
    const auto drive = driven(
        clock, [&robot, duration = duration] { robot.leds().rasta(duration); }, &stop);
    EXPECT_GE(drive.ms, 200 * 100);
    EXPECT_EQ(drive.ms % 200, 0);
  }
}

TEST(Rasta, NeedsAllThreeChannelsOfAPart) {
  RobotXml xml;
  xml.led("LeftFootLedsRed", "AllLeds", {{"LFoot/Red", "red"}});
  xml.led("LeftFootLedsGreen", "AllLeds", {{"LFoot/Green", "green"}});
  addPart(xml, "RightFootLeds", "AllLeds");
  Robot robot(xml);
  xo::ManualClock clock;
  const auto drive = driven(clock, [&] { robot.leds().rasta(0.1F); });
  const auto script = pattern(robot.leds(), 1);
  EXPECT_THAT(script.writes(), SizeIs(1 + 3 + 5));
  EXPECT_EQ(difference(script.writes(), timed(robot.motion(), drive.start)), "");
}

TEST(Rasta, PassesOnThatThereIsNothingToReset) {
  RobotXml xml;
  addPart(xml, "ChestLeds", "ChestLeds");
  Robot robot(xml);
  EXPECT_EQ(invalidArgument([&] { robot.leds().rasta(0.0F); }),
            "Could not parse 'AllLeds 'as a LED Device, RGB-LED or Group");
  EXPECT_EQ(robot.journal().count("Resume passive blinking"), 1u);
}

TEST(Rasta, GoesOnWhenWritesAreRefused) {
  Robot robot;
  robot.motion().refuseAll("jammed");
  xo::ManualClock clock;
  const auto drive = driven(clock, [&] { robot.leds().rasta(0.3F); });
  EXPECT_EQ(difference(pattern(robot.leds(), 2).writes(), timed(robot.motion(), drive.start)), "");
  EXPECT_THAT(robot.log().texts("HBLeds"), ElementsAre("Exception in xSetGroupIntensity: jammed"));
}

}  // namespace
}  // namespace HB::test
