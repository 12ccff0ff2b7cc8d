// The wave in the ear rings that points at a direction.
#include <gmock/gmock.h>

#include <cmath>
#include <limits>

#include "hardware/leds/test/support/driven.h"
#include "hardware/leds/test/support/errors.h"
#include "hardware/leds/test/support/leds_access.h"
#include "hardware/leds/test/support/robot.h"
#include "hardware/leds/test/support/script.h"

namespace HB::test {
namespace {

using ::testing::ElementsAre, ::testing::IsEmpty;
using Strings = std::vector<std::string>;

/// A robot with that many ear positions, a LED in each ear for every one, and one LED more.
RobotXml ring(int positions) {
  RobotXml xml;
  xml.led("Brain", "BrainLeds AllLeds", {{"Head/Led/Front", "white"}});
  for (int i = 1; i <= positions; ++i) {
    const std::string number = std::to_string(i);
    for (const std::string side : {"Left", "Right"}) {
      xml.led("Ear" + side + number, "EarLed" + number + " EarLeds AllLeds",
              {{"Ears/Led/" + side + "/" + number, "blue"}});
    }
  }
  return xml;
}

/// The wave as it is described: two lit fronts, two LEDs long, leave the centre both ways.
Script wave(HBLeds& leds, int degrees, float duration, bool leaveOnAtEnd) {
  Script script(leds);
  const int n = script.ears();
  if (n == 0) return script;
  const int half = n / 2;
  const auto stepMs = static_cast<long long>(duration * 1000 / static_cast<float>(half + 2));
  const int turned = (degrees + 180) % 360;
  const auto centre = static_cast<int>(std::floor(turned * n / 360.0));
  const auto set = [&](int position, float intensity) {
    const int index = ((position % n) + n) % n;
    script.group("EarLed" + std::to_string(index + 1), intensity);
  };
  for (int pass = -2; pass <= half; ++pass) {  // counted from the first that puts a LED out
    const bool isLast = pass == half;
    if ((pass >= 0 && !isLast) || (isLast && !leaveOnAtEnd)) set(centre + pass, 0);
    if (pass > 0 && !isLast) set(centre - pass, 0);
    if (pass + 2 <= half) set(centre + pass + 2, 1);
    if (pass >= -1 && pass + 2 < half) set(centre - (pass + 2), 1);
    if (!isLast) script.sleep(stepMs);
  }
  return script;
}

/// "5+" for position 5 lit, "5-" for put out, "|100|" for a pause of 100 ms.
Strings shorthand(const std::vector<TimedWrite>& writes, long long totalMs) {
  Strings all;
  long long now = 0;
  const auto pauseUntil = [&](long long then) {
    if (then > now) all.push_back("|" + std::to_string(then - now) + "|");
    now = then;
  };
  for (const auto& [write, atMs] : writes) {
    pauseUntil(atMs);
    const auto& key = write.keys.at(0);
    const auto number = key.substr(key.find("/Actuator") - 2, 2);
    all.push_back((number.front() == '/' ? number.substr(1) : number) +
                  (write.values.at(0).at(0) > 0 ? "+" : "-"));
  }
  pauseUntil(totalMs);
  return all;
}

Strings shownOn(int positions, int degrees, float duration, bool leaveOnAtEnd) {
  Robot robot(ring(positions));
  xo::ManualClock clock;
  const auto drive =
      driven(clock, [&] { robot.leds().earLedsSetAngle(degrees, duration, leaveOnAtEnd); });
  return shorthand(timed(robot.motion(), drive.start), drive.ms);
}

TEST(EarLedsSetAngle, RunsTwoFrontsRoundARingOfTen) {
  EXPECT_THAT(shownOn(10, 90, 0.7F, true), ElementsAre("8+", "|100|",                     //
                                                       "9+", "7+", "|100|",               //
                                                       "8-", "10+", "6+", "|100|",        //
                                                       "9-", "7-", "1+", "5+", "|100|",   //
                                                       "10-", "6-", "2+", "4+", "|100|",  //
                                                       "1-", "5-", "3+", "|100|",         //
                                                       "2-", "4-", "|100|"));
}

TEST(EarLedsSetAngle, PutsOutTheMeetingPointUnlessItIsToStay) {
  const auto stays = shownOn(10, 90, 0.7F, true);
  auto goes = shownOn(10, 90, 0.7F, false);
  ASSERT_EQ(goes.back(), "3-");
  goes.pop_back();
  EXPECT_EQ(goes, stays);
}

TEST(EarLedsSetAngle, RunsRoundARingOfThree) {
  EXPECT_THAT(shownOn(3, 0, 0.9F, false),
              ElementsAre("2+", "|300|", "3+", "|300|", "2-", "|300|", "3-"));
}

TEST(EarLedsSetAngle, RunsRoundARingOfTwo) {
  EXPECT_THAT(shownOn(2, 180, 0.3F, false),
              ElementsAre("1+", "|100|", "2+", "|100|", "1-", "|100|", "2-"));
}

TEST(EarLedsSetAngle, LightsTheOnlyPositionOfARingOfOne) {
  EXPECT_THAT(shownOn(1, 77, 2.0F, true), ElementsAre("1+", "|2000|"));
  EXPECT_THAT(shownOn(1, 77, 2.0F, false), ElementsAre("1+", "|2000|", "1-"));
}

class EarRing : public ::testing::TestWithParam<int> {
 protected:
  Robot robot{ring(GetParam())};
};

TEST_P(EarRing, ShowsEveryAngleInBothModesCallByCall) {
  xo::Ending ended;
  ended.raise();  // so that it does not sleep
  const xo::CallScope call(&ended);
  for (const bool leaveOnAtEnd : {false, true}) {
    for (int degrees = 0; degrees <= 360; ++degrees) {
      robot.leds().earLedsSetAngle(degrees, 1.0F, leaveOnAtEnd);
      const auto script = wave(robot.leds(), degrees, 1.0F, leaveOnAtEnd);
      ASSERT_EQ(difference(untimed(script.writes()), untimed(robot.motion().writes())), "")
          << degrees << " degrees, " << leaveOnAtEnd;
      robot.forget();
    }
  }
}

TEST_P(EarRing, SleepsAsLongAsDescribedBetweenItsPasses) {
  xo::ManualClock clock;
  for (const float duration : {0.001F, 0.0066F, 0.7F, 1.0F, 3.3333F, 86400.0F}) {
    for (const int degrees : {0, 36, 90, 179, 180, 360}) {
      robot.forget();
      const auto drive =
          driven(clock, [&] { robot.leds().earLedsSetAngle(degrees, duration, degrees == 90); });
      const auto script = wave(robot.leds(), degrees, duration, degrees == 90);
      EXPECT_EQ(difference(script.writes(), timed(robot.motion(), drive.start)), "")
          << degrees << " degrees in " << duration;
      EXPECT_EQ(drive.ms, script.now());
    }
  }
}

TEST_P(EarRing, LeavesAtMostTheOppositeLedLit) {
  xo::Ending ended;
  ended.raise();
  const xo::CallScope call(&ended);
  const int n = GetParam();
  for (const bool leaveOnAtEnd : {false, true}) {
    for (int degrees = 0; degrees <= 360; degrees += 5) {
      robot.forget();
      robot.leds().earLedsSetAngle(degrees, 1.0F, leaveOnAtEnd);
      std::map<std::string, float> state;
      for (const auto& write : robot.motion().writes()) {
        for (std::size_t i = 0; i < write.keys.size(); ++i) {
          state[write.keys[i]] = write.values[i].at(0);
        }
      }
      std::set<std::string> lit;
      for (const auto& [key, value] : state) {
        if (value > 0) lit.insert(key);
      }
      std::set<std::string> expected;
      if (leaveOnAtEnd && n > 0) {
        const int opposite = ((degrees + 180) % 360 * n / 360 + n / 2) % n + 1;
        for (const std::string side : {"Left", "Right"}) {
          expected.insert(small::kPrefix + "Ears/Led/" + side + "/" + std::to_string(opposite) +
                          "/Actuator/Value");
        }
      }
      ASSERT_EQ(lit, expected) << degrees << " degrees";
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Positions, EarRing, ::testing::Values(0, 1, 2, 3, 10, 11));

class EarsOfModel : public ::testing::TestWithParam<const char*> {
 protected:
  Robot robot{Surroundings::completeFromFile(GetParam())};
};

TEST_P(EarsOfModel, ShowTheWaveDimmedAsTheyAre) {
  xo::ManualClock clock;
  ASSERT_GE(LedsAccess(robot.leds()).fEarLedCount(), 10);
  for (const int degrees : {0, 90, 233, 360}) {
    robot.forget();
    const auto drive =
        driven(clock, [&] { robot.call("earLedsSetAngle", degrees, 1.0F, degrees == 90); });
    const auto script = wave(robot.leds(), degrees, 1.0F, degrees == 90);
    EXPECT_EQ(difference(script.writes(), timed(robot.motion(), drive.start)), "") << degrees;
    EXPECT_EQ(drive.ms, script.now());
  }
  EXPECT_EQ(robot.motion().writes().at(0).values.at(0).at(0),
            std::string(GetParam()) == "models/vanto.xml" ? 0.5F : 0.7F);
}

INSTANTIATE_TEST_SUITE_P(Models, EarsOfModel,
                         ::testing::Values("models/vanto.xml", "models/lirae.xml"));

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinite = std::numeric_limits<float>::infinity();

TEST(EarLedsSetAngle, RefusesAnglesOutsideTheCircleFirst) {
  Robot robot(ring(10));
  for (const int degrees :
       {-1, -10, 361, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()}) {
    for (const float duration : {1.0F, kNaN}) {
      EXPECT_EQ(invalidArgument([&] { robot.leds().earLedsSetAngle(degrees, duration, true); }),
                "HBLeds: earLedsSetAngle: pDegrees should be in the range 0-360");
    }
  }
  EXPECT_THAT(robot.journal().lines(), IsEmpty());
}

TEST(EarLedsSetAngle, RefusesDurationsThatAreNotAboveZeroAndAtMostADay) {
  Robot robot(ring(10));
  for (const float duration : {0.0F, -0.0F, -1.0F, std::nextafter(86400.0F, 90000.0F), 1e30F,
                               kInfinite, -kInfinite, kNaN}) {
    EXPECT_EQ(invalidArgument([&] { robot.leds().earLedsSetAngle(90, duration, true); }),
              "HBLeds: earLedsSetAngle: pDuration: should be positive and less than a day's worth "
              "of seconds");
  }
  EXPECT_THAT(robot.journal().lines(), IsEmpty());
}

TEST(EarLedsSetAngle, ChecksBeforeItLocks) {
  Robot robot(ring(10));
  LedsAccess in(robot.leds());
  std::unique_lock holder(in.fLedsMutex());
  Beside refused([&] {
    EXPECT_THROW(robot.leds().earLedsSetAngle(361, 1.0F, true), std::invalid_argument);
    EXPECT_THROW(robot.leds().earLedsSetAngle(0, 0.0F, true), std::invalid_argument);
  });
  EXPECT_TRUE(refused.ends());
  holder.unlock();
}

TEST(EarLedsSetAngle, DoesNothingWithoutEarsNotEvenLock) {
  Robot robot(ring(0));
  LedsAccess in(robot.leds());
  {
    std::unique_lock holder(in.fLedsMutex());
    Beside returns([&] { robot.leds().earLedsSetAngle(90, 86400.0F, true); });
    EXPECT_TRUE(returns.ends());
    holder.unlock();
  }
  EXPECT_THAT(robot.journal().lines(), IsEmpty());
  EXPECT_THROW(robot.leds().earLedsSetAngle(361, 1.0F, true), std::invalid_argument);
}

TEST(EarLedsSetAngle, LeavesPassiveBlinkingAlone) {
  Robot robot(ring(3));
  xo::ManualClock clock;
  driven(clock, [&] { robot.leds().earLedsSetAngle(90, 1.0F, true); });
  EXPECT_THAT(robot.log().lines(), IsEmpty());
}

TEST(EarLedsSetAngle, CannotBeStopped) {
  Robot robot(ring(10));
  xo::ManualClock clock;
  xo::StopFlag stop;
  stop.raise();
  const auto drive = driven(
      clock, [&] { robot.leds().earLedsSetAngle(90, 7.0F, false); }, &stop);
  EXPECT_EQ(
      difference(wave(robot.leds(), 90, 7.0F, false).writes(), timed(robot.motion(), drive.start)),
      "");
  EXPECT_EQ(drive.ms, 7000);
}

TEST(XSetEar, TakesAnyPositionRoundTheRing) {
  Robot robot(ring(10));
  LedsAccess in(robot.leds());
  const std::vector<std::pair<int, std::string>> cases{
      {6, "7"}, {0, "1"}, {9, "10"}, {10, "1"}, {23, "4"}, {-1, "10"}, {-10, "1"}, {-13, "8"}};
  for (const auto& [position, number] : cases) {
    robot.forget();
    in.xSetEar(position, true);
    in.xSetEar(position, false);
    const Strings keys{small::kPrefix + "Ears/Led/Left/" + number + "/Actuator/Value",
                       small::kPrefix + "Ears/Led/Right/" + number + "/Actuator/Value"};
    const RecordingMotion::Lists zeros{{0.0F}, {0.0F}};
    EXPECT_THAT(robot.motion().writes(),
                ElementsAre(RecordingMotion::Write{keys, zeros, {{1.0F}, {1.0F}}},
                            RecordingMotion::Write{keys, zeros, zeros}))
        << position;
  }
}

}  // namespace
}  // namespace HB::test
