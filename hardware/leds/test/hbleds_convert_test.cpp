// Values in, values out: the conversions and the texts of their refusals.
#include <gmock/gmock.h>

#include <cmath>
#include <limits>

#include "hardware/leds/test/support/errors.h"
#include "hardware/leds/test/support/leds_access.h"
#include "hardware/leds/test/support/robot.h"

namespace HB::test {
namespace {

using ::testing::ElementsAre;
using Floats = std::vector<float>;
using Strings = std::vector<std::string>;
using FloatLimits = std::numeric_limits<float>;

class Conversions : public ::testing::Test {
 protected:
  Robot robot{RobotXml().led("S", "", {{"A", "red"}})};
  LedsAccess in{robot.leds()};

  std::string refusedFloat(const HBValue& value) {
    return invalidArgument([&] { in.xExtractFloat(value, "fadeListRGB"); });
  }
  std::string refusedString(const HBValue& value) {
    return invalidArgument([&] { in.xExtractString(value, "m"); });
  }
  std::string refusedFloats(const HBValue& value) {
    return invalidArgument([&] { in.xExtractVectorOfFloatsFromHBValue(value, "m"); });
  }
  std::string refusedStrings(const HBValue& value) {
    return invalidArgument([&] { in.xExtractVectorOfStringsFromHBValue(value, "m"); });
  }
};

TEST_F(Conversions, FloatIsTakenFromAFloatAndAnInteger) {
  EXPECT_EQ(in.xExtractFloat(HBValue(1), "m"), 1.0F);
  EXPECT_EQ(in.xExtractFloat(HBValue(-7), "m"), -7.0F);
  EXPECT_EQ(in.xExtractFloat(HBValue(0.1F), "m"), 0.1F);
  EXPECT_EQ(in.xExtractFloat(HBValue(16777217), "m"), 16777216.0F);
  EXPECT_TRUE(std::isnan(in.xExtractFloat(HBValue(FloatLimits::quiet_NaN()), "m")));
}

TEST_F(Conversions, FloatIsRefusedFromEverythingElse) {
  const std::string expected = "HBLeds: fadeListRGB Expected a float";
  EXPECT_EQ(refusedFloat(true), expected);
  EXPECT_EQ(refusedFloat("1"), expected);
  EXPECT_EQ(refusedFloat(HBValue::list({1.0F})), expected);
  EXPECT_EQ(refusedFloat(Binary{{1}}), expected);
  EXPECT_EQ(refusedFloat(HBValue()), "HBLeds: fadeListRGB Invalid HBValue");
}

TEST_F(Conversions, StringIsTakenFromAStringOnly) {
  EXPECT_EQ(in.xExtractString("a b", "m"), "a b");
  EXPECT_EQ(in.xExtractString("", "m"), "");
  const std::string expected = "HBLeds: m Expected a string";
  EXPECT_EQ(refusedString(3), expected);
  EXPECT_EQ(refusedString(3.0F), expected);
  EXPECT_EQ(refusedString(true), expected);
  EXPECT_EQ(refusedString(HBValue::list({"a"})), expected);
  EXPECT_EQ(refusedString(Binary{{'a'}}), expected);
  EXPECT_EQ(refusedString(HBValue()), "HBLeds: m Invalid HBValue");
}

TEST_F(Conversions, FloatsAreTakenFromAListInOrder) {
  EXPECT_THAT(in.xExtractVectorOfFloatsFromHBValue(HBValue::list({1, 0.5F, 2}), "m"),
              ElementsAre(1.0F, 0.5F, 2.0F));
}

TEST_F(Conversions, FloatsAreRefusedWithTheFirstBadElement) {
  EXPECT_EQ(refusedFloats(HBValue::list({0.5F, "a"})), "HBLeds: m Expected a float");
  EXPECT_EQ(refusedFloats(HBValue::list({0.5F, HBValue(), "a"})), "HBLeds: m Invalid HBValue");
  EXPECT_EQ(refusedFloats(HBValue::list({0.5F, "a", HBValue()})), "HBLeds: m Expected a float");
}

TEST_F(Conversions, FloatsAreRefusedFromNothing) {
  EXPECT_EQ(refusedFloats(HBValue()), "HBLeds: m HBValue was invalid");
  EXPECT_EQ(refusedFloats(HBValue::List()), "HBLeds: m HBValue was empty");
}

TEST_F(Conversions, StringsAreTakenFromAListInOrder) {
  EXPECT_THAT(in.xExtractVectorOfStringsFromHBValue(HBValue::list({"b", "", "a"}), "m"),
              ElementsAre("b", "", "a"));
}

TEST_F(Conversions, StringsAreRefusedWithTheFirstBadElement) {
  EXPECT_EQ(refusedStrings(HBValue::list({"a", 1})), "HBLeds: m Expected a string");
  EXPECT_EQ(refusedStrings(HBValue::list({"a", HBValue(), 1})), "HBLeds: m Invalid HBValue");
}

TEST_F(Conversions, StringsAreRefusedFromNothing) {
  EXPECT_EQ(refusedStrings(HBValue()), "HBLeds: m HBValue was invalid");
  EXPECT_EQ(refusedStrings(HBValue::List()), "HBLeds: m HBValue was empty");
}

TEST_F(Conversions, ListsAskTheValueItselfForItsSize) {
  const std::string ofScalar = invalidArgument([] { HBValue(1.0F).getSize(); });
  EXPECT_EQ(refusedFloats(1.0F), ofScalar);
  EXPECT_EQ(invalidArgument([&] { in.xExtractVectorOfStringsFromHBValue("a", "m"); }),
            invalidArgument([] { HBValue("a").getSize(); }));
}

TEST_F(Conversions, RefusalsNameTheMethodWithNothingBetween) {
  EXPECT_EQ(invalidArgument([&] { in.xExtractFloat(HBValue(), ""); }), "HBLeds:  Invalid HBValue");
  EXPECT_EQ(invalidArgument([&] { in.xExtractVectorOfFloatsFromHBValue(HBValue(), "a b"); }),
            "HBLeds: a b HBValue was invalid");
}

TEST_F(Conversions, FloatsBecomeAList) {
  EXPECT_EQ(in.xToHBValue(Floats{0.1F, 2.0F}), HBValue::list({0.1F, 2.0F}));
  EXPECT_EQ(in.xToHBValue(Floats{2.0F})[0].getType(), HBValue::TypeFloat);
  EXPECT_EQ(in.xToHBValue(Floats{}), HBValue(HBValue::List()));
}

TEST_F(Conversions, StringsBecomeAList) {
  EXPECT_EQ(in.xToHBValue(Strings{"b", "a"}), HBValue::list({"b", "a"}));
  EXPECT_EQ(in.xToHBValue(Strings{}).getType(), HBValue::TypeList);
  EXPECT_EQ(in.xToHBValue(Strings{}).getSize(), 0);
}

TEST_F(Conversions, ShortNumbersAreWrittenInDecimal) {
  EXPECT_EQ(in.xToString(static_cast<unsigned short>(0)), "0");
  EXPECT_EQ(in.xToString(static_cast<unsigned short>(65535)), "65535");
  EXPECT_EQ(in.xToString(static_cast<unsigned short>(1234)), "1234");
}

TEST_F(Conversions, FloatsAreWrittenWithSixDigitsInEightColumns) {
  const std::vector<std::pair<float, std::string>> cases{{0.0F, "0.000000"},
                                                         {0.5F, "0.500000"},
                                                         {1.0F, "1.000000"},
                                                         {-0.25F, "-0.250000"},
                                                         {255.0F, "255.000000"},
                                                         {-0.0F, "-0.000000"},
                                                         {0.1F, "0.100000"},
                                                         {1e-9F, "0.000000"},
                                                         {FloatLimits::quiet_NaN(), "     nan"},
                                                         {FloatLimits::infinity(), "     inf"},
                                                         {-FloatLimits::infinity(), "    -inf"}};
  for (const auto& [value, text] : cases) EXPECT_EQ(in.xFloatToString(value), text);
}

TEST_F(Conversions, LongestFloatIsWrittenWhole) {
  EXPECT_EQ(in.xFloatToString(-FloatLimits::max()),
            "-340282346638528859811704183484516925440.000000");
  EXPECT_EQ(in.xFloatToString(-FloatLimits::max()).size(), 47u);
}

TEST_F(Conversions, IntegersAreWrittenInDecimal) {
  EXPECT_EQ(in.xDecToString(0), "0");
  EXPECT_EQ(in.xDecToString(-5), "-5");
  EXPECT_EQ(in.xDecToString(std::numeric_limits<int>::max()), "2147483647");
  EXPECT_EQ(in.xDecToString(std::numeric_limits<int>::min()), "-2147483648");
}

TEST_F(Conversions, FractionsLieBetweenZeroAndOneInclusive) {
  for (const float value : {0.0F, -0.0F, 0.5F, 1.0F, FloatLimits::denorm_min()}) {
    EXPECT_TRUE(in.xIsFraction(value)) << value;
  }
  for (const float value : {-0.0001F, 1.0001F, FloatLimits::quiet_NaN(), FloatLimits::infinity(),
                            -FloatLimits::denorm_min(), std::nextafter(1.0F, 2.0F)}) {
    EXPECT_FALSE(in.xIsFraction(value)) << value;
  }
}

}  // namespace
}  // namespace HB::test
