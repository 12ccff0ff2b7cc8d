#include "tools/ledctl/literal.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "tools/ledctl/test/tables.h"

namespace ledctl {
namespace {

using HB::HBValue;
using testing::kBool;
using testing::kFloat;
using testing::kInt;
using testing::kString;
using testing::kValue;
using testing::listOf;

std::optional<HBValue> valueAs(const xo::Type& type, std::string_view word) {
  const auto reading = readAs(type, word);
  if (!reading) return std::nullopt;
  return reading->value;
}

TEST(ReadAs, TakesIntegersInDecimalAndHexadecimal) {
  EXPECT_EQ(valueAs(kInt, "255"), HBValue(255));
  EXPECT_EQ(valueAs(kInt, "0xff0000"), HBValue(0xff0000));
  EXPECT_EQ(valueAs(kInt, "0XFF"), HBValue(255));
  EXPECT_EQ(valueAs(kInt, "-3"), HBValue(-3));
  EXPECT_EQ(valueAs(kInt, "+3"), HBValue(3));
  EXPECT_EQ(valueAs(kInt, "2.0"), HBValue(2));
  EXPECT_EQ(valueAs(kInt, "-2147483648"), HBValue(std::numeric_limits<int>::min()));
}

TEST(ReadAs, RefusesIntegersThatDoNotFit) {
  for (const char* word : {"2147483648", "0xffffffff", "99999999999999999999", "1.5", "nan", "red",
                           "", "-", "+-1", "0x", "12abc", "1 2"}) {
    EXPECT_EQ(valueAs(kInt, word), std::nullopt) << word;
  }
}

TEST(ReadAs, TakesFloatsOfEveryForm) {
  EXPECT_EQ(valueAs(kFloat, "0.5"), HBValue(0.5F));
  EXPECT_EQ(valueAs(kFloat, "1"), HBValue(1.0F));
  EXPECT_EQ(valueAs(kFloat, ".5"), HBValue(0.5F));
  EXPECT_EQ(valueAs(kFloat, "-1e-3"), HBValue(-0.001F));
  EXPECT_EQ(valueAs(kFloat, "0x10"), HBValue(16.0F));
  EXPECT_EQ(valueAs(kFloat, "inf"), HBValue(std::numeric_limits<float>::infinity()));
  EXPECT_EQ(valueAs(kFloat, "-Inf"), HBValue(-std::numeric_limits<float>::infinity()));
  EXPECT_TRUE(std::isnan(valueAs(kFloat, "nan").value().toFloat()));
}

TEST(ReadAs, RefusesWhatIsNoNumber) {
  for (const char* word : {"half", "0.5s", "1,5", "1e40", "nan(1)", "[1]", "true", ""}) {
    EXPECT_EQ(valueAs(kFloat, word), std::nullopt) << word;
  }
}

TEST(ReadAs, TakesBooleans) {
  for (const char* word : {"true", "True", "yes", "on"}) EXPECT_EQ(valueAs(kBool, word), true);
  for (const char* word : {"false", "no", "OFF"}) EXPECT_EQ(valueAs(kBool, word), false);
  for (const char* word : {"1", "", "maybe"}) EXPECT_EQ(valueAs(kBool, word), std::nullopt);
}

TEST(ReadAs, TakesAnyWordAsTextUnchanged) {
  for (const char* word : {"red", "255", "[1,2]", "\"quoted\"", "", "true"}) {
    EXPECT_EQ(valueAs(kString, word), HBValue(word));
  }
}

TEST(ReadAs, TakesListsThatFitTheirElementsType) {
  EXPECT_EQ(valueAs(listOf(kString), R"(["FaceLeds", "ChestLeds"])"),
            HBValue(HBValue::List{"FaceLeds", "ChestLeds"}));
  EXPECT_EQ(valueAs(listOf(kFloat), "[1,0.5]"), HBValue(HBValue::List{1, 0.5F}));
  EXPECT_EQ(valueAs(listOf(kInt), "[]"), HBValue(HBValue::List{}));
  EXPECT_EQ(valueAs(listOf(listOf(kInt)), "[[1],[0x2,3]]"),
            HBValue(HBValue::List{HBValue::list({1}), HBValue::list({2, 3})}));
  EXPECT_EQ(valueAs(listOf(kString), "[1]"), std::nullopt);
  EXPECT_EQ(valueAs(listOf(kString), "FaceLeds"), std::nullopt);
  EXPECT_EQ(valueAs(listOf(kInt), "[1.5]"), std::nullopt);
}

TEST(ReadAs, TakesAsAValueWhatTheWordLooksLike) {
  EXPECT_EQ(valueAs(kValue, "[0xff0000,255]"), HBValue(HBValue::list({0xff0000, 255})));
  EXPECT_EQ(valueAs(kValue, "1"), HBValue(1));
  EXPECT_EQ(valueAs(kValue, "0.5"), HBValue(0.5F));
  EXPECT_EQ(valueAs(kValue, "true"), HBValue(true));
  EXPECT_EQ(valueAs(kValue, "null"), HBValue());
  EXPECT_EQ(valueAs(kValue, "\"1\""), HBValue("1"));
  EXPECT_EQ(valueAs(kValue, "hello"), HBValue("hello"));
}

TEST(ReadLiteral, ReadsTextsWithEscapesAndBrackets) {
  EXPECT_EQ(readLiteral(R"(["a\"]", "A,B"])"), HBValue(HBValue::List{"a\"]", "A,B"}));
}

TEST(ReadLiteral, RefusesWhatIsNotWellFormed) {
  for (const char* text : {"[", "[1", "[1,]", "[,]", "[1 2]", "[1]]", "\"open", "[\"open]", "{}",
                           "[{}]", "]", ",", "[1],", "[word]", "\"bad\\x\""}) {
    EXPECT_EQ(readLiteral(text), std::nullopt) << text;
  }
}

TEST(ReadLiteral, RefusesListsThatNestTooDeep) {
  EXPECT_TRUE(readLiteral(std::string(32, '[') + std::string(32, ']')));
  EXPECT_FALSE(readLiteral(std::string(33, '[') + std::string(33, ']')));
  EXPECT_FALSE(readLiteral(std::string(1000000, '[')));
}

}  // namespace
}  // namespace ledctl
