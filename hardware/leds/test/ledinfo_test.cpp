#include "hardware/leds/src/ledinfo.h"

#include <gmock/gmock.h>

#include "hardware/leds/test/support/errors.h"

namespace HB::test {
namespace {

using ::testing::ElementsAre;

TEST(LedInfo, StartsAtFullRatioAndFullDefaultIntensity) {
  const LedInfo info("d", "s", {"g"}, Sim::LEDActuator::Green);
  EXPECT_EQ(info.name, "d");
  EXPECT_EQ(info.intensityRatio, 1.0F);
  EXPECT_EQ(info.defaultIntensity, 1.0F);
  EXPECT_EQ(info.color, Sim::LEDActuator::Green);
}

TEST(LedInfo, CountsItsShortNameAmongItsGroups) {
  EXPECT_THAT(LedInfo("d", "m", {"z", "a", "z"}, Sim::LEDActuator::Red).groups,
              ElementsAre("a", "m", "z"));
  EXPECT_THAT(LedInfo("d", "", {"z"}, Sim::LEDActuator::Red).groups, ElementsAre("", "z"));
}

TEST(LedInfo, RefusesAnEmptyName) {
  EXPECT_EQ(invalidArgument([] { LedInfo("", "s", {}, Sim::LEDActuator::Red); }),
            "Could not construct LedInfo with empty name.");
}

}  // namespace
}  // namespace HB::test
