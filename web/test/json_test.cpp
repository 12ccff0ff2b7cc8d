#include "web/server/json.h"

#include <gmock/gmock.h>

#include <cmath>
#include <limits>

#include "access/refused.h"
#include "web/server/base64.h"

namespace web {
namespace {

using HB::HBValue;
using testing::HasSubstr;

std::string faultOf(const std::string& text) {
  try {
    parseObject(text);
  } catch (const BadMessage& bad) {
    return bad.what();
  }
  return "none";
}

std::string refusalOf(const std::string& text) {
  try {
    fromJson(Json::parse(text), "args[0]");
  } catch (const door::Refused& refused) {
    return refused.what();
  }
  return "none";
}

HBValue read(const std::string& text) { return fromJson(Json::parse(text), "args[0]"); }

std::string nested(std::size_t depth) {
  return "{\"a\":" + std::string(depth - 1, '[') + std::string(depth - 1, ']') + "}";
}

TEST(ParseObject, TakesObjectsAlone) {
  EXPECT_EQ(faultOf(R"({"id":1})"), "none");
  for (const char* text : {"", "{", "{\"id\":1", "nonsense", "{\"id\":1}x", "{'id':1}",
                           "{\"a\":NaN}", "{\"a\":01}", "{\"a\":1e999}", "\xff"}) {
    EXPECT_EQ(faultOf(text), "A message must be JSON") << text;
  }
  for (const char* text : {"1", "[]", "null", "\"text\"", "true"}) {
    EXPECT_EQ(faultOf(text), "A message must be a JSON object") << text;
  }
}

TEST(ParseObject, RefusesWhatIsNestedTooDeeplyHoweverDeep) {
  EXPECT_EQ(faultOf(nested(64)), "none");
  EXPECT_EQ(faultOf(nested(65)), "A message may nest lists and objects 64 deep");
  EXPECT_EQ(faultOf(std::string(1000000, '[')), "A message may nest lists and objects 64 deep");
  EXPECT_EQ(faultOf("{\"a\":\"" + std::string(200, '[') + "\\\"" + std::string(200, '{') + "\"}"),
            "none")
      << "brackets in texts are text";
}

TEST(ToJson, WritesFloatsByTheirShortestDigits) {
  EXPECT_EQ(textOf(toJson(0.3f)), "0.3");
  EXPECT_EQ(textOf(toJson(1.0f)), "1.0");
  EXPECT_EQ(textOf(toJson(16777216.0f)), "16777216.0");
  EXPECT_EQ(textOf(toJson(std::numeric_limits<float>::max())), "3.4028235e+38");
}

TEST(ToJson, HasAFormForEveryValue) {
  const float infinity = std::numeric_limits<float>::infinity();
  const std::vector<std::pair<HBValue, std::string>> table{
      {HBValue(), "null"},
      {true, "true"},
      {-2147483647 - 1, "-2147483648"},
      {std::nanf(""), R"({"float":"NaN"})"},
      {infinity, R"({"float":"Infinity"})"},
      {-infinity, R"({"float":"-Infinity"})"},
      {"<b>\"\n", R"("<b>\"\n")"},
      {HB::Binary{{0, 255, 16}}, R"({"binary":"AP8Q"})"},
      {HBValue::list({1, HBValue::List{}, "a"}), R"([1,[],"a"])"},
  };
  for (const auto& [value, text] : table) {
    EXPECT_EQ(textOf(toJson(value)), text);
    std::string appended;
    appendJson(appended, value);
    EXPECT_EQ(appended, text);
  }
}

TEST(ToJson, ReplacesBytesThatAreNoText) {
  EXPECT_EQ(textOf(toJson(std::string("a\xff"
                                      "b"))),
            "\"a\xEF\xBF\xBD"
            "b\"");
}

TEST(ToJson, RefusesWhatIsNestedTooDeeply) {
  HBValue value(1);
  for (int i = 0; i < 64; ++i) value = HBValue(HBValue::List{value});
  EXPECT_NO_THROW(toJson(value));
  value = HBValue(HBValue::List{value});
  EXPECT_THROW(toJson(value), std::length_error);
  std::string text;
  appendJson(text, value);
  EXPECT_EQ(text, "null");
}

TEST(FromJson, TakesTheFormsThatItGives) {
  EXPECT_EQ(read("null"), HBValue());
  EXPECT_EQ(read("true"), HBValue(true));
  EXPECT_EQ(read("-7"), HBValue(-7));
  EXPECT_EQ(read("2147483647"), HBValue(2147483647));
  EXPECT_EQ(read("1.0"), HBValue(1.0f)) << "a fraction makes it a float";
  EXPECT_EQ(read("1e2"), HBValue(100.0f));
  EXPECT_EQ(read(R"({"int":"-2147483648"})"), HBValue(-2147483647 - 1));
  EXPECT_TRUE(std::isnan(read(R"({"float":"NaN"})").toFloat()));
  EXPECT_EQ(read(R"({"float":"-Infinity"})"), HBValue(-std::numeric_limits<float>::infinity()));
  EXPECT_EQ(read(R"({"binary":"AP8Q"})"), HBValue(HB::Binary{{0, 255, 16}}));
  EXPECT_EQ(read(R"([1,["a"],{"binary":""}])"),
            HBValue::list({1, HBValue::list({"a"}), HB::Binary{}}));
}

TEST(FromJson, NamesWhatDoesNotFitAndWhatIsAllowed) {
  const std::string whole = "; a whole number must lie within -2147483648 to 2147483647";
  EXPECT_EQ(refusalOf("2147483648"), "args[0] is 2147483648" + whole);
  EXPECT_EQ(refusalOf("-2147483649"), "args[0] is -2147483649" + whole);
  EXPECT_EQ(refusalOf("18446744073709551615"), "args[0] is 18446744073709551615" + whole);
  EXPECT_EQ(refusalOf(R"({"int":"99999999999999999999"})"),
            "args[0] is 99999999999999999999" + whole);
  EXPECT_THAT(refusalOf("1e300"), HasSubstr("args[0] is 1e+300; a number must lie within"));
  EXPECT_THAT(refusalOf(R"({"int":"0x10"})"), HasSubstr("'0x10', which is no whole number"));
  EXPECT_THAT(refusalOf(R"({"int":""})"), HasSubstr("no whole number"));
  EXPECT_THAT(refusalOf(R"({"float":"nan"})"), HasSubstr("there are NaN, Infinity and -Infinity"));
  EXPECT_THAT(refusalOf(R"({"binary":"A"})"), HasSubstr("not base64"));
  for (const char* text : {"{}", R"({"a":1})", R"({"int":1})", R"({"int":"1","float":"NaN"})"}) {
    EXPECT_THAT(refusalOf(text), HasSubstr("an object must be")) << text;
  }
  EXPECT_THAT(refusalOf(R"([1,{"x":[]}])"), HasSubstr("args[0] is {\"x\":[]}"));
}

TEST(Base64, GoesThereAndBack) {
  for (std::size_t size = 0; size < 20; ++size) {
    std::vector<std::uint8_t> bytes(size);
    for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<std::uint8_t>(i * 37 + 200);
    EXPECT_EQ(fromBase64(toBase64(bytes)), bytes);
  }
  EXPECT_EQ(toBase64({'M', 'a'}), "TWE=");
}

TEST(Base64, RefusesEverythingElse) {
  for (const char* text :
       {"A", "AP8", "AP8Q=", "AP 8", "AP8\n", "TWF=", "T===", "====", "=AAA", "TWE=TWE="}) {
    EXPECT_FALSE(fromBase64(text)) << text;
  }
}

}  // namespace
}  // namespace web
