// The coloured light that runs round the eyes, and the random colours.
#include <gmock/gmock.h>

#include <cmath>
#include <cstdlib>
#include <limits>

#include "hardware/leds/test/support/driven.h"
#include "hardware/leds/test/support/errors.h"
#include "hardware/leds/test/support/leds_access.h"
#include "hardware/leds/test/support/robot.h"
#include "hardware/leds/test/support/script.h"

namespace HB::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using xo::log::Level;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinite = std::numeric_limits<float>::infinity();

const LogLine kPaused{"PassiveBlinking", Level::kVerbose, "Pause passive blinking"};
const LogLine kResumed{"PassiveBlinking", Level::kVerbose, "Resume passive blinking"};

/// The rotation as it is described.
Script rotation(HBLeds& leds, int rgb, float turnSeconds, float totalSeconds) {
  Script script(leds);
  script.group("FaceLeds", 0);
  if (!(totalSeconds > 0)) return script;
  const auto channel = [&](int shift) { return static_cast<float>((rgb >> shift & 255) / 255.0); };
  const float eighth = turnSeconds / 8;
  const auto sleepMs = static_cast<long long>(1000 * eighth);
  float elapsed = 0;
  do {
    for (const char position : {'0', '1', '2', '3', '4', '5', '6', '7'}) {
      script.colors(std::string("FaceLed") + position,
                    {{channel(16), channel(8), channel(0), 4 * eighth}, {0, 0, 0, 5 * eighth}});
      script.sleep(sleepMs);
    }
    elapsed += turnSeconds;
  } while (elapsed < totalSeconds);
  return script;
}

TEST(FadeRotationStep, FadesOnePositionToTheColorAndBackToBlack) {
  Robot robot;
  robot.leds().fadeRotationStep(1, Color(1.0F, 0.5F, 0.25F), 0.5F);
  EXPECT_EQ(robot.motion().onlyWrite(),
            (RecordingMotion::Write{
                {small::kPrefix + small::kEye1Blue, small::kPrefix + small::kEye1Green,
                 small::kPrefix + small::kEye1Red},
                {{2.0F, 2.5F}, {2.0F, 2.5F}, {2.0F, 2.5F}},
                {{0.25F, 0.0F}, {0.5F, 0.0F}, {1.0F, 0.0F}}}));
}

TEST(FadeRotationStep, NamesTheGroupOfItsStep) {
  Robot robot(Surroundings::completeFromFile("models/vanto.xml"));
  for (int step = 0; step < 8; ++step) {
    robot.forget();
    robot.leds().fadeRotationStep(step, Color(0x123456), 0.1F);
    Script script(robot.leds());
    script.colors("FaceLed" + std::to_string(step),
                  {{18 / 255.0F, 52 / 255.0F, 86 / 255.0F, 0.4F}, {0, 0, 0, 0.5F}});
    EXPECT_EQ(difference(script.writes(), untimed(robot.motion().writes())), "") << step;
  }
}

TEST(RotateEyes, DrawsEightStepsATurnWithASleepAfterEach) {
  Robot robot;  // it has the first two positions only
  xo::ManualClock clock;
  const auto drive = driven(clock, [&] { robot.leds().rotateEyes(0x0000FF, 0.8F, 1.0F); });
  using Write = RecordingMotion::Write;
  const auto blue = [](int eye) {
    const std::string angle = eye == 0 ? "0Deg" : "45Deg";
    Write write;
    for (const std::string color : {"Blue", "Green", "Red"}) {
      write.keys.push_back(small::kPrefix + "Face/Led/" + color + "/" + angle + "/Actuator/Value");
      write.times.push_back({0.4F, 0.5F});
      write.values.push_back({color == "Blue" ? 1.0F : 0.0F, 0.0F});
    }
    return write;
  };
  Write off{blue(0).keys, {}, {}};
  for (const auto& key : blue(1).keys) off.keys.push_back(key);
  std::sort(off.keys.begin(), off.keys.end());
  off.times = off.values = RecordingMotion::Lists(6, {0.0F});
  EXPECT_EQ(difference({{off, 0}, {blue(0), 0}, {blue(1), 100}, {blue(0), 800}, {blue(1), 900}},
                       timed(robot.motion(), drive.start)),
            "");
  EXPECT_EQ(drive.ms, 1600);
}

struct Turns {
  float turn;
  float total;
  std::size_t count;
};

TEST(RotateEyes, TurnsWholeTurnsUntilTheirSumInSinglePrecisionReachesTheDuration) {
  Robot robot(Surroundings::completeFromFile("models/vanto.xml"));
  xo::ManualClock clock;
  for (const auto& [turn, total, count] : std::vector<Turns>{{1, 0, 0},
                                                             {1, -0.0F, 0},
                                                             {1, 0.001F, 1},
                                                             {1, 1, 1},
                                                             {1, 1.001F, 2},
                                                             {0.1F, 0.3F, 3},  // 4 in double
                                                             {0.1F, 1.0F, 10},
                                                             {0.007F, 0.05F, 8},
                                                             {86400, 86400, 1},
                                                             {86400, 0.5F, 1}}) {
    robot.forget();
    const auto drive = driven(clock, [&robot, turn = turn, total = total] {
      robot.leds().rotateEyes(0xFFFFFF, turn, total);
    });
    EXPECT_THAT(robot.motion().writes(), SizeIs(1 + 8 * count)) << turn << ", " << total;
    EXPECT_EQ(drive.ms, 8 * static_cast<long long>(count) * static_cast<int>(1000 * turn / 8));
  }
}

class EyesOfModel : public ::testing::TestWithParam<const char*> {
 protected:
  Robot robot{Surroundings::completeFromFile(GetParam())};
  xo::ManualClock clock;
};

TEST_P(EyesOfModel, RotateCallByCall) {
  for (const int rgb : {0, 0xFF, 0x00FF00, 0xFF8001, 0x123456, 0xFFFFFF}) {
    for (const float turn : {0.1023F, 0.33F, 1.0F, 7.7F}) {
      robot.forget();
      const auto drive = driven(clock, [&] { robot.call("rotateEyes", rgb, turn, 2.0F); });
      const auto script = rotation(robot.leds(), rgb, turn, 2.0F);
      EXPECT_EQ(difference(script.writes(), timed(robot.motion(), drive.start)), "")
          << rgb << ", " << turn;
      EXPECT_EQ(drive.ms, script.now());
    }
  }
}

TEST_P(EyesOfModel, TakeRandomColorsInTheStatedOrder) {
  std::srand(1);
  const auto drive = driven(clock, [&] { robot.call("randomEyes", 0.05F); });
  std::srand(1);
  Script script(robot.leds());
  for (int cycle = 0; cycle < 3; ++cycle) {
    for (int angle = 0; angle < 360; angle += 45) {
      for (const std::string side : {"Left", "Right"}) {
        for (const std::string color : {"Red", "Green", "Blue"}) {
          script.device(
              "Face/Led/" + color + "/" + side + "/" + std::to_string(angle) + "Deg/Actuator/Value",
              static_cast<float>((std::rand() % 100) / 100.0));
        }
      }
    }
    script.sleep(20);
  }
  EXPECT_EQ(difference(script.writes(), timed(robot.motion(), drive.start)), "");
  EXPECT_THAT(script.writes(), SizeIs(3 * 48));
  EXPECT_EQ(drive.ms, 60);
}

INSTANTIATE_TEST_SUITE_P(Models, EyesOfModel,
                         ::testing::Values("models/vanto.xml", "models/lirae.xml"));

TEST(RotateEyes, RefusesColorsOfMoreThan24Bits) {
  Robot robot;
  for (const int rgb : {-1, 0x1000000, std::numeric_limits<int>::min()}) {
    EXPECT_EQ(invalidArgument([&] { robot.leds().rotateEyes(rgb, kNaN, kNaN); }),
              "HBLeds: rotateEyes: nRGB: should be in the range 0-16777215 (0-255 for red, 0-255 "
              "for green, 0-255 for blue)");
  }
}

TEST(RotateEyes, RefusesTimesThatAreNotWithinADay) {
  Robot robot;
  for (const float time :
       {-0.001F, std::nextafter(86400.0F, 90000.0F), kInfinite, -kInfinite, kNaN}) {
    EXPECT_EQ(invalidArgument([&] { robot.leds().rotateEyes(0, time, time); }),
              "HBLeds: rotateEyes: rTimeForTurn: should be positive and less than a day!");
    EXPECT_EQ(invalidArgument([&] { robot.leds().rotateEyes(0, 0, time); }),
              "HBLeds: rotateEyes: pDuration: should be positive and less than a day!");
  }
  EXPECT_THAT(robot.motion().writes(), IsEmpty());
}

TEST(RotateEyes, PausesPassiveBlinkingBeforeItRefuses) {
  Robot robot;
  EXPECT_THROW(robot.leds().rotateEyes(-1, 1.0F, 1.0F), std::invalid_argument);
  EXPECT_THAT(robot.log().lines(), ElementsAre(kPaused, kResumed));
}

TEST(RotateEyes, RefusesBeforeItLocks) {
  Robot robot;
  LedsAccess in(robot.leds());
  std::unique_lock holder(in.fLedsMutex());
  Beside refused([&] {
    EXPECT_THROW(robot.leds().rotateEyes(-1, 1.0F, 1.0F), std::invalid_argument);
    EXPECT_THROW(robot.leds().rotateEyes(0, -1.0F, 1.0F), std::invalid_argument);
    EXPECT_THROW(robot.leds().rotateEyes(0, 1.0F, kNaN), std::invalid_argument);
  });
  EXPECT_TRUE(refused.ends());
  holder.unlock();
}

TEST(RotateEyes, OnlySwitchesTheFaceOffForNoDuration) {
  Robot robot;
  robot.leds().rotateEyes(0xFFFFFF, 1.0F, 0.0F);
  EXPECT_EQ(robot.motion().onlyWrite().values, RecordingMotion::Lists(6, {0.0F}));
  EXPECT_THAT(robot.motion().onlyWrite().keys, SizeIs(6));
}

TEST(RotateEyes, LogsRefusedWritesAndGoesOn) {
  Robot robot;
  robot.motion().refuseAll("jammed");
  xo::ManualClock clock;
  const auto drive = driven(clock, [&] { robot.leds().rotateEyes(0xFFFFFF, 0.8F, 0.8F); });
  EXPECT_EQ(drive.ms, 800);
  EXPECT_THAT(
      robot.log().texts("HBLeds", Level::kError),
      ElementsAre("Exception in xSetGroupIntensity: jammed", "Exception in xSetGroupRGB: jammed",
                  "Exception in xSetGroupRGB: jammed"));
}

TEST(RandomEyes, LastsAsManyCyclesOfTwentyMillisecondsAsBeginInItsDuration) {
  Robot robot(Surroundings::completeFromFile("models/vanto.xml"));
  xo::ManualClock clock;
  for (const auto& [duration, cycles] : std::vector<std::pair<float, int>>{{0.0F, 0},
                                                                           {-1.0F, 0},
                                                                           {kNaN, 0},
                                                                           {-kInfinite, 0},
                                                                           {0.0009F, 0},
                                                                           {0.001F, 1},
                                                                           {0.02F, 1},
                                                                           {0.021F, 2},
                                                                           {0.2F, 10}}) {
    robot.forget();
    const auto drive =
        driven(clock, [&robot, duration = duration] { robot.leds().randomEyes(duration); });
    EXPECT_THAT(robot.motion().writes(), SizeIs(48 * cycles)) << duration;
    EXPECT_EQ(drive.ms, 20 * cycles);
    EXPECT_THAT(robot.log().lines(), ElementsAre(kPaused, kResumed));
  }
}

TEST(RandomEyes, LogsWhatGoesWrongAndReturns) {
  Robot robot;  // its eyes have no left and right
  robot.leds().randomEyes(1.0F);
  EXPECT_THAT(robot.motion().writes(), IsEmpty());
  EXPECT_THAT(robot.log().lines(),
              ::testing::UnorderedElementsAre(
                  kPaused, kResumed,
                  LogLine{"HBLeds", Level::kError,
                          "Error in randomEyes: HBLeds: setIntensity: Could not parse "
                          "'Face/Led/Red/Left/0Deg/Actuator/Value 'as a LED Device, "
                          "RGB-LED or Group"}));
}

TEST(XGetLedNameFromPos, RoundsTowardZeroWithinTheCircle) {
  Robot robot;
  LedsAccess in(robot.leds());
  for (const auto& [position, text] : std::vector<std::pair<int, std::string>>{{0, "0Deg"},
                                                                               {44, "0Deg"},
                                                                               {45, "45Deg"},
                                                                               {100, "90Deg"},
                                                                               {359, "315Deg"},
                                                                               {360, "0Deg"},
                                                                               {725, "0Deg"},
                                                                               {-44, "0Deg"},
                                                                               {-50, "-45Deg"},
                                                                               {-400, "0Deg"},
                                                                               {-405, "-45Deg"}}) {
    EXPECT_EQ(in.xGetLedNameFromPos(position), text) << position;
  }
}

}  // namespace
}  // namespace HB::test
