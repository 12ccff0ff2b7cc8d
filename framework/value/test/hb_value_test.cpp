#include "framework/value/hb_value.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <stdexcept>

namespace {

using HB::HBValue;

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInf = std::numeric_limits<float>::infinity();

template <class Thrown>
std::string textThrownBy(const std::function<void()>& action) {
  try {
    action();
  } catch (const Thrown& error) {
    return error.what();
  }
  return "nothing thrown";
}

TEST(HBValueType, HasTheNumbersThatModulesTest) {
  EXPECT_EQ(HBValue().getType(), 0);
  EXPECT_EQ(HBValue(HB::Binary{{1, 2}}).getType(), 1);
  EXPECT_EQ(HBValue(true).getType(), 2);
  EXPECT_EQ(HBValue(1).getType(), 3);
  EXPECT_EQ(HBValue(1.0f).getType(), 4);
  EXPECT_EQ(HBValue("text").getType(), 5);
  EXPECT_EQ(HBValue::list({}).getType(), 6);
  EXPECT_FALSE(HBValue().isValid());
  EXPECT_TRUE(HBValue(0).isValid());
}

TEST(HBValueConstruction, KeepsTextsNumbersAndListsApart) {
  EXPECT_EQ(HBValue(0.5).getType(), HBValue::TypeFloat);
  EXPECT_EQ(HBValue(std::string("a")), HBValue("a"));
  EXPECT_EQ(HBValue(std::string_view("a")), HBValue("a"));
  EXPECT_EQ(HBValue(std::vector<int>{1, 2}), HBValue::list({1, 2}));
  EXPECT_EQ(HBValue(std::vector<std::vector<float>>{{1.0f}, {}}),
            HBValue::list({HBValue::list({1.0f}), HBValue::list({})}));
  EXPECT_NE(HBValue(1), HBValue(1.0f));
  EXPECT_NE(HBValue(kNan), HBValue(kNan));
}

TEST(HBValueSize, IsRefusedForEverythingButAList) {
  EXPECT_EQ(HBValue::list({1, 2, 3}).getSize(), 3);
  EXPECT_EQ(textThrownBy<std::invalid_argument>([] { (void)HBValue(0.5f).getSize(); }),
            "0.5 is a float; expected a list");
  EXPECT_EQ(textThrownBy<std::invalid_argument>([] { (void)HBValue().getSize(); }),
            "null is an invalid value; expected a list");
  for (const HBValue& scalar : {HBValue(), HBValue(true), HBValue(1), HBValue(1.0f), HBValue("abc"),
                                HBValue(HB::Binary{})}) {
    EXPECT_THROW((void)scalar.getSize(), std::invalid_argument) << scalar.toText();
    EXPECT_THROW((void)scalar[0], std::invalid_argument) << scalar.toText();
  }
}

TEST(HBValueElement, IsRefusedOutsideTheList) {
  HBValue list = HBValue::list({1, "b"});
  EXPECT_EQ(list[1], HBValue("b"));
  list[0] = 0.5f;
  EXPECT_EQ(list, HBValue::list({0.5f, "b"}));
  EXPECT_EQ(textThrownBy<std::out_of_range>([&] { (void)list[2]; }),
            "A list of 2 elements has no element 2");
  EXPECT_THROW((void)list[-1], std::out_of_range);
  EXPECT_THROW((void)HBValue::list({})[0], std::out_of_range);
}

TEST(HBValueArraySetSize, MakesAListAndKeepsItsElements) {
  HBValue value = "a text";
  value.arraySetSize(0);
  EXPECT_EQ(value, HBValue::list({}));
  value.arraySetSize(2);
  value[0] = 7;
  value.arraySetSize(3);
  EXPECT_EQ(value, HBValue::list({7, HBValue(), HBValue()}));
  EXPECT_THROW(value.arraySetSize(-1), std::invalid_argument);
  EXPECT_EQ(value.getSize(), 3);
}

TEST(HBValueToInt, WidensAWholeFloatWithin32Bits) {
  EXPECT_EQ(HBValue(-7).toInt(), -7);
  EXPECT_EQ(HBValue(3.0f).toInt(), 3);
  EXPECT_EQ(HBValue(-0.0f).toInt(), 0);
  EXPECT_EQ(HBValue(-2147483648.0f).toInt(), std::numeric_limits<int>::min());
  EXPECT_EQ(HBValue(2147483520.0f).toInt(), 2147483520);  // the greatest float below 2^31
}

TEST(HBValueToInt, RefusesWhatIsNotWholeOrDoesNotFit) {
  for (const float number : {0.5f, -1.25f, 2147483648.0f, -2147483904.0f, 1e30f, -1e30f, kNan, kInf,
                             -kInf, std::numeric_limits<float>::denorm_min()}) {
    EXPECT_THROW((void)HBValue(number).toInt(), std::invalid_argument) << number;
  }
  EXPECT_EQ(textThrownBy<std::invalid_argument>([] { (void)HBValue(0.5f).toInt(); }),
            "0.5 is not whole; expected an integer");
  EXPECT_EQ(textThrownBy<std::invalid_argument>([] { (void)HBValue(1e10f).toInt(); }),
            "1e+10 does not fit into 32 bits; expected an integer");
  EXPECT_THROW((void)HBValue(true).toInt(), std::invalid_argument);
  EXPECT_THROW((void)HBValue("1").toInt(), std::invalid_argument);
}

TEST(HBValueToFloat, TakesNumbersOnly) {
  EXPECT_EQ(HBValue(2).toFloat(), 2.0f);
  EXPECT_EQ(HBValue(0.25f).toFloat(), 0.25f);
  EXPECT_TRUE(std::isnan(HBValue(kNan).toFloat()));
  EXPECT_EQ(HBValue(-kInf).toFloat(), -kInf);
  EXPECT_EQ(textThrownBy<std::invalid_argument>([] { (void)HBValue(true).toFloat(); }),
            "true is a boolean; expected a float");
  EXPECT_THROW((void)HBValue().toFloat(), std::invalid_argument);
}

TEST(HBValueConversions, RefuseEveryOtherType) {
  EXPECT_TRUE(HBValue(true).toBool());
  EXPECT_THROW((void)HBValue(1).toBool(), std::invalid_argument);
  EXPECT_EQ(HBValue("a").toString(), "a");
  EXPECT_EQ(textThrownBy<std::invalid_argument>([] { (void)HBValue(3).toString(); }),
            "3 is an integer; expected a string");
  EXPECT_EQ(HBValue(HB::Binary{{9}}).toBinary().bytes.size(), 1u);
  EXPECT_THROW((void)HBValue("a").toBinary(), std::invalid_argument);
  EXPECT_THROW((void)HBValue("a").toList(), std::invalid_argument);
}

TEST(HBValueConversions, CutTheValueInTheirText) {
  const std::string text =
      textThrownBy<std::invalid_argument>([] { (void)HBValue(std::string(1000, 'x')).toInt(); });
  EXPECT_LT(text.size(), 120u);
  EXPECT_NE(text.find("... is a string; expected an integer"), std::string::npos) << text;
}

TEST(HBValueToText, WritesValuesAsPeopleDo) {
  const struct {
    HBValue value;
    const char* text;
  } cases[] = {
      {HBValue(), "null"},
      {true, "true"},
      {-12, "-12"},
      {1.0f, "1.0"},
      {0.1f, "0.1"},
      {1e20f, "1e+20"},
      {kNan, "nan"},
      {kInf, "inf"},
      {-kInf, "-inf"},
      {"say \"hi\"\n\\", R"("say \"hi\"\n\\")"},
      {std::string("\x01\x7f", 2), R"("\u0001\u007f")"},
      {HBValue::list({1, HBValue::list({}), "a"}), R"([1, [], "a"])"},
      {HB::Binary{{1, 2, 3}}, "<3 bytes>"},
  };
  for (const auto& one : cases) EXPECT_EQ(one.value.toText(), one.text);
}

TEST(HBValueToText, CutsAtTheLengthButNeverWithinACharacter) {
  EXPECT_EQ(HBValue("abcdef").toText(8), "\"abcdef\"");
  EXPECT_EQ(HBValue("abcdef").toText(4), "\"abc...");
  EXPECT_EQ(HBValue("ab\xc3\xa9").toText(4), "\"ab...");
  EXPECT_EQ(HBValue(std::vector<int>(1000000, 7)).toText(6), "[7, 7,...");
}

TEST(HBValueToText, StopsAtTheLengthInADeepList) {
  HBValue deep;
  for (int i = 0; i < 1000; ++i) deep = HBValue::list({deep});
  EXPECT_EQ(deep.toText(3), "[[[...");
}

TEST(TypeName, NamesEveryType) {
  EXPECT_EQ(typeName(HBValue::TypeList), "a list");
  EXPECT_EQ(typeName(HBValue::TypeBinary), "binary data");
}

}  // namespace
