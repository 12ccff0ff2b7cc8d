#include "tools/ledctl/print.h"

#include <gtest/gtest.h>

#include <limits>

namespace ledctl {
namespace {

using HB::HBValue;

const float kInf = std::numeric_limits<float>::infinity();
const float kNan = std::numeric_limits<float>::quiet_NaN();

TEST(PlainText, IsTheBareValue) {
  EXPECT_EQ(plainText(HBValue(0.1F)), "0.1");
  EXPECT_EQ(plainText(HBValue(1.0F)), "1");
  EXPECT_EQ(plainText(HBValue(-kNan)), "nan");
  EXPECT_EQ(plainText(HBValue(-kInf)), "-inf");
  EXPECT_EQ(plainText(HBValue(255)), "255");
  EXPECT_EQ(plainText(HBValue(true)), "true");
  EXPECT_EQ(plainText(HBValue("a b")), "a b");
  EXPECT_EQ(plainText(HBValue()), "");
}

TEST(PlainText, HasAListOfTextsOnePerLine) {
  EXPECT_EQ(plainText(HBValue(HBValue::List{"a", "b"})), "a\nb");
  EXPECT_EQ(plainText(HBValue(HBValue::List{})), "");
}

TEST(PlainText, HasAnyOtherListAsOneLineOfJson) {
  EXPECT_EQ(plainText(HBValue(HBValue::List{1, "a", 0.5F})), R"([1,"a",0.5])");
}

TEST(JsonText, KeepsIntegersAndFloatsApart) {
  EXPECT_EQ(jsonText(HBValue(HBValue::List{1, 1.0F, 1e30F})), "[1,1.0,1e+30]");
}

TEST(JsonText, IsValidJsonForEveryValue) {
  EXPECT_EQ(jsonText(HBValue(HBValue::List{kNan, kInf, -kInf})), R"(["nan","inf","-inf"])");
  EXPECT_EQ(jsonText(HBValue("a\"\n")), R"("a\"\n")");
  EXPECT_EQ(jsonText(HBValue(std::string("\xff"))), "\"\xef\xbf\xbd\"");
  EXPECT_EQ(jsonText(HBValue(HB::Binary{{0, 255}})), "\"00ff\"");
  EXPECT_EQ(jsonText(HBValue()), "null");
  EXPECT_EQ(jsonText(HBValue(false)), "false");
}

TEST(Harmless, TakesControlCharactersOut) { EXPECT_EQ(harmless("a\x1b[2J\nb\a"), "a?[2J\nb?"); }

}  // namespace
}  // namespace ledctl
