// The intensity ratio as clients set it, and the futures of time that fades return.
#include <gmock/gmock.h>

#include <cmath>
#include <limits>

#include "hardware/leds/test/support/errors.h"
#include "hardware/leds/test/support/leds_access.h"
#include "hardware/leds/test/support/robot.h"
#include "hardware/leds/test/support/threads.h"

namespace HB::test {
namespace {

using std::chrono::microseconds;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using xo::log::Level;
using Lists = RecordingMotion::Lists;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();
const std::string kOutside = "Intensity ratio should be between 0.4 and 1.";

class IntensityRatio : public ::testing::Test {
 protected:
  Robot robot;
  LedsAccess in{robot.leds()};

  float ratio(const std::string& device) { return in.info(device).intensityRatio; }
};

TEST_F(IntensityRatio, ScalesLaterWritesAndReads) {
  robot.leds()._setIntensityRatio(small::kEar1, 0.5F);
  EXPECT_THAT(robot.motion().writes(), IsEmpty());
  robot.leds().setIntensity(small::kEar1, 1.0F);
  EXPECT_EQ(robot.motion().onlyWrite().values, (Lists{{0.5F}}));
  robot.memory().set(small::kPrefix + small::kEar1, 0.5F);
  EXPECT_EQ(robot.leds().getIntensity(small::kEar1), HBValue(1.0F));
}

TEST_F(IntensityRatio, IsSetForEveryDeviceOfAnyKindOfName) {
  robot.leds()._setIntensityRatio("EarLeds", 0.5F);
  robot.leds()._setIntensityRatio("Eye0", 0.75F);
  EXPECT_EQ(ratio(small::kEar1), 0.5F);
  EXPECT_EQ(ratio(small::kEar2), 0.5F);
  EXPECT_EQ(ratio(small::kEye0Blue), 0.75F);
  EXPECT_EQ(ratio(small::kEye0Red), 0.75F);
  EXPECT_EQ(ratio(small::kEye1Red), 1.0F);
}

TEST_F(IntensityRatio, AcceptsItsBounds) {
  robot.leds()._setIntensityRatio("Ear1", 0.4F);
  EXPECT_EQ(ratio(small::kEar1), 0.4F);
  robot.leds()._setIntensityRatio("Ear1", 1.0F);
  EXPECT_EQ(ratio(small::kEar1), 1.0F);
}

TEST_F(IntensityRatio, RefusesWhatLiesOutsideAndChangesNothing) {
  for (const float value : {0.39F, 1.01F, 0.0F, -1.0F, kInfinity, -kInfinity,
                            std::nextafter(0.4F, 0.0F), std::nextafter(1.0F, 2.0F)}) {
    EXPECT_EQ(invalidArgument([&] { robot.leds()._setIntensityRatio("Ear1", value); }), kOutside);
  }
  EXPECT_EQ(ratio(small::kEar1), 1.0F);
}

TEST_F(IntensityRatio, AcceptsNotANumberWhichMotionThenRefuses) {
  robot.leds()._setIntensityRatio("EarLeds", kNaN);
  EXPECT_TRUE(std::isnan(ratio(small::kEar1)));
  robot.motion().refuseAll("not finite");
  EXPECT_NO_THROW(robot.leds().on("EarLeds"));
  EXPECT_NO_THROW(robot.leds().on("Ear1"));
  ASSERT_THAT(robot.motion().writes(), SizeIs(2));
  EXPECT_TRUE(std::isnan(robot.motion().writes()[0].values.at(0).at(0)));
  EXPECT_THAT(
      robot.log().lines(),
      ElementsAre(LogLine{"HBLeds", Level::kError, "Exception in xSetGroupIntensity: not finite"}));
}

TEST_F(IntensityRatio, RefusesAnUnknownName) {
  EXPECT_EQ(invalidArgument([&] { robot.leds()._setIntensityRatio("Nose", 0.5F); }),
            "Could not parse 'Nose 'as a LED Device, RGB-LED or Group");
  for (const auto& [device, info] : in.fDeviceInfos()) EXPECT_EQ(info->intensityRatio, 1.0F);
  EXPECT_TRUE(canExclude(in.fLedsMutex()));
}

TEST_F(IntensityRatio, ChecksItsValueBeforeItsName) {
  EXPECT_EQ(invalidArgument([&] { robot.leds()._setIntensityRatio("Nose", 2.0F); }), kOutside);
}

TEST_F(IntensityRatio, PausesBeforeItChecks) {
  EXPECT_THROW(robot.leds()._setIntensityRatio("FaceLeds", 2.0F), std::invalid_argument);
  EXPECT_THAT(robot.log().texts("PassiveBlinking"),
              ElementsAre("Pause passive blinking", "Resume passive blinking"));
}

TEST_F(IntensityRatio, ChecksBeforeItLocks) {
  const std::unique_lock holder(in.fLedsMutex());
  Beside refused([&] { robot.leds()._setIntensityRatio("Ear1", 2.0F); });
  EXPECT_TRUE(refused.ends());
  EXPECT_THROW(refused.get(), std::invalid_argument);
}

TEST_F(IntensityRatio, ResolvesItsNameUnderTheLock) {
  std::shared_lock reader(in.fLedsMutex());
  Beside refused([&] { robot.leds()._setIntensityRatio("Nose", 0.5F); });
  EXPECT_TRUE(refused.isKeptOut());
  reader.unlock();
  EXPECT_TRUE(refused.ends());
  EXPECT_THROW(refused.get(), std::invalid_argument);
}

TEST_F(IntensityRatio, IsKeptOutByACommandThatRuns) {
  std::shared_lock command(in.fLedsMutex());
  Beside set([&] { robot.leds()._setIntensityRatio("FaceLeds", 0.5F); });
  ASSERT_TRUE(becomesTrue([&] { return robot.journal().count("Pause passive blinking") == 1; }));
  EXPECT_TRUE(set.isKeptOut());
  EXPECT_EQ(ratio(small::kEye0Red), 1.0F);
  EXPECT_EQ(robot.journal().count("Resume passive blinking"), 0u);
  command.unlock();
  EXPECT_TRUE(set.ends());
  EXPECT_EQ(ratio(small::kEye0Red), 0.5F);
  EXPECT_EQ(robot.journal().count("Resume passive blinking"), 1u);
}

TEST_F(IntensityRatio, WarnsOfNoDeprecatedName) {
  robot.leds()._setIntensityRatio("ChestLeds", 0.5F);
  EXPECT_THAT(robot.log().lines(), IsEmpty());
}

class BlockFor : public ::testing::Test {
 protected:
  xo::ManualClock clock;
};

TEST_F(BlockFor, IsReadyExactlyAfterItsTime) {
  const auto future = blockFor(2.0F);
  EXPECT_TRUE(future.isRunning());
  clock.advance(microseconds(1999999));
  EXPECT_TRUE(future.isRunning());
  clock.advance(microseconds(1));
  EXPECT_TRUE(future.hasValue());
}

TEST_F(BlockFor, MultipliesInSinglePrecision) {
  const auto future = blockFor(0.7F);  // 699999 µs by a product in double precision
  clock.advance(microseconds(699999));
  EXPECT_TRUE(future.isRunning());
  clock.advance(microseconds(1));
  EXPECT_TRUE(future.hasValue());
}

TEST_F(BlockFor, DropsTheFractionOfAMicrosecond) {
  const auto future = blockFor(0.0000015F);
  clock.advance(std::chrono::nanoseconds(999));
  EXPECT_TRUE(future.isRunning());
  clock.advance(std::chrono::nanoseconds(1));
  EXPECT_TRUE(future.hasValue());
}

TEST_F(BlockFor, IsOverAtOnceForNoTimeAndLess) {
  for (const float seconds : {0.0F, 0.0000004F, -0.0F, -1.0F, -1e30F, -kInfinity, kNaN}) {
    const auto future = blockFor(seconds);
    EXPECT_TRUE(becomesTrue([&] { return future.hasValue(); })) << seconds;
  }
}

TEST_F(BlockFor, IsNeverOverForTimesBeyondAllReckoning) {
  const auto infinite = blockFor(kInfinity);
  const auto astronomical = blockFor(1e30F);
  const auto oneYear = blockFor(31536000.0F);
  clock.advance(std::chrono::hours(24 * 365 * 100));
  EXPECT_TRUE(oneYear.hasValue());
  EXPECT_TRUE(infinite.isRunning());
  EXPECT_TRUE(astronomical.isRunning());
}

TEST_F(BlockFor, IsReadyInTheOrderOfTheTimes) {
  std::vector<xo::Future<void>> futures;
  for (int n = 1000; n > 0; --n) futures.push_back(blockFor(static_cast<float>(n)));
  clock.advance(std::chrono::seconds(500));
  for (std::size_t i = 0; i < futures.size(); ++i) EXPECT_EQ(futures[i].hasValue(), i >= 500) << i;
}

}  // namespace
}  // namespace HB::test
