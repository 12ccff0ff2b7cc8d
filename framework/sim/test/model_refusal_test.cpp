// What is refused, each with its line: nothing that cannot be read, drawn or bounded comes through.
#include <gmock/gmock.h>

#include "framework/sim/model.h"

namespace Sim {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

/// What the reading of `xml` says; "" when it is accepted.
std::string refusal(const std::string& xml) {
  try {
    const Model model(xml);
    return "";
  } catch (const ModelError& error) {
    EXPECT_THAT(error.what(), Not(HasSubstr("\n")));
    EXPECT_THAT(error.what(), HasSubstr(error.problem()));
    return error.what();
  }
}

struct Case {
  const char* name;
  std::string xml;
  std::string text;
};

void PrintTo(const Case& bad, std::ostream* out) { *out << bad.name; }

std::string led(const std::string& attributes) {
  return "<robot name=\"T\"><leds>\n<led short=\"s\" " + attributes +
         "><device name=\"n\" color=\"red\"/></led></leds></robot>";
}

std::string device(const std::string& attributes) {
  return "<robot name=\"T\"><leds><led short=\"s\">\n<device " + attributes +
         "/></led></leds></robot>";
}

std::string repeated(const std::string& text, int times) {
  std::string all;
  for (int i = 0; i < times; ++i) all += text;
  return all;
}

class Refused : public testing::TestWithParam<Case> {};

TEST_P(Refused, InOneLineThatSaysWhereAndWhy) {
  EXPECT_EQ(refusal(GetParam().xml), GetParam().text);
}

const std::string kNoElement =
    "line 1: not a model: there is no element; a model begins with <robot>";
const std::string kDoctype =
    ": DOCTYPE, CDATA and their like are not allowed; a model is made of elements, attributes and "
    "comments";

INSTANTIATE_TEST_SUITE_P(
    Text, Refused,
    testing::Values(
        Case{"empty", "", kNoElement}, Case{"blank", " ", kNoElement},
        Case{"noXml", "LEDs: 3", "line 1: not XML: begins with \"LEDs: 3\""},
        Case{"json", "\n{\"a\": 1}", "line 2: not XML: begins with \"{\"a\": 1}\""},
        Case{"nul", std::string("<robot>\n\0", 9), "line 2: a NUL byte; a model is XML in UTF-8"},
        Case{"utf16", std::string("<\0r\0", 4), "line 1: a NUL byte; a model is XML in UTF-8"},
        Case{"control", "<robot name=\"\x1b[2J\"/>",
             "line 1: a control character; a model is XML in UTF-8"},
        Case{"latin1", "<robot name=\"\xe9t\"/>",
             "line 1: bytes that are not UTF-8; a model is XML in UTF-8"},
        Case{"overlong", "<robot name=\"\xc0\xaf\"/>",
             "line 1: bytes that are not UTF-8; a model is XML in UTF-8"},
        Case{"surrogate", "<robot name=\"\xed\xa0\x80\"/>",
             "line 1: bytes that are not UTF-8; a model is XML in UTF-8"},
        Case{"cutCharacter", "<robot name=\"\xe2\x82",
             "line 1: bytes that are not UTF-8; a model is XML in UTF-8"},
        Case{"doctype", "<?xml version=\"1.0\"?>\n<!DOCTYPE robot [<!ENTITY a \"b\">]><robot/>",
             "line 2" + kDoctype},
        Case{"cdata", "<robot name=\"T\"><![CDATA[x]]></robot>", "line 1" + kDoctype},
        Case{"twoRoots", "<robot name=\"T\"/>\n<robot name=\"U\"/>",
             "line 2: a second element, <robot>, after the end of the first"},
        Case{"textInside", "<robot name=\"T\">\nhello <leds/></robot>",
             "line 2: text outside of tags: \"hello \"; everything is said by attributes"},
        Case{"textAfter", "<robot name=\"T\"/>\n.",
             "line 2: text outside of tags: \".\"; everything is said by attributes"},
        Case{"mismatch", "<robot name=\"T\">\n<leds>\n</robot>",
             "line 3: </robot> where </leds> should close the element of line 2"},
        Case{"closesNothing", "</robot>", "line 1: </robot> closes nothing"},
        Case{"noName", "<robot name=\"T\">< leds/></robot>",
             "line 1: \"<\" without the name of an element"},
        Case{"tagNotEnded", "<robot name=\"T\"\n<leds/></robot>",
             "line 2: the tag <robot is not ended by \">\""},
        Case{"lessInValue", "<robot name=\"a<b\"/>",
             "line 1: \"<\" inside a value; write &lt; or end the value by a quote"},
        Case{"ampersand", "<robot name=\"a&b;\"/>",
             "line 1: \"&\" inside a value; write &amp; (also &lt; &gt; &quot; &apos; &#233; are "
             "known)"},
        Case{"nulReference", "<robot name=\"&#0;\"/>",
             "line 1: \"&\" inside a value; write &amp; (also &lt; &gt; &quot; &apos; &#233; are "
             "known)"},
        Case{"attributeTwice", "<robot name=\"T\"\n name=\"U\"/>",
             "line 2: a broken attribute; each is written once, as name=\"value\""},
        Case{"noQuotes", "<robot name=T/>",
             "line 1: a broken attribute; each is written once, as name=\"value\""},
        Case{"lateDeclaration", "<robot name=\"T\">\n<?xml version=\"1.0\"?></robot>",
             "line 2: a declaration (\"<?\") stands only at the beginning"}),
    [](const auto& test) { return test.param.name; });

INSTANTIATE_TEST_SUITE_P(
    Truncated, Refused,
    testing::Values(
        Case{"element", "<robot name=\"T\">\n<leds>\n<led short=\"s\">\n",
             "line 4: truncated: the text ends inside <led> of line 3"},
        Case{"tag", "<robot name=\"T\"> <leds", "line 1: truncated: the text ends inside a tag"},
        Case{"attribute", "<robot name", "line 1: truncated: the text ends inside a tag"},
        Case{"value", "<robot name=\"T", "line 1: truncated: the text ends inside a value"},
        Case{"closingTag", "<robot name=\"T\"></robot",
             "line 1: truncated: the text ends inside a tag"},
        Case{"comment", "<robot name=\"T\"><!-- ",
             "line 1: truncated: the text ends inside a comment"},
        Case{"declaration", "<?xml ", "line 1: truncated: the text ends inside a declaration"}),
    [](const auto& test) { return test.param.name; });

INSTANTIATE_TEST_SUITE_P(
    Content, Refused,
    testing::Values(
        Case{"otherRoot", "<html/>",
             "line 1: the outermost element is <html>; a model begins with <robot>"},
        Case{"noRobotName", "<robot/>", "line 1: <robot> lacks its attribute \"name\""},
        Case{"unknownElement", "<robot name=\"T\">\n<ledz/></robot>",
             "line 2: unknown element <ledz>; allowed: <config> and <leds> inside <robot>"},
        Case{"deviceInLeds", "<robot name=\"T\"><leds><device/></leds></robot>",
             "line 1: unknown element <device>; allowed: <led> and <leds> inside <leds>"},
        Case{"ledInLed", "<robot name=\"T\"><leds><led><led/></led></leds></robot>",
             "line 1: unknown element <led>; allowed: <device> inside <led>"},
        Case{"insideConfig",
             "<robot name=\"T\"><config key=\"a\" value=\"b\"><a/></config></robot>",
             "line 1: unknown element <a>; allowed: nothing inside <config>"},
        Case{"insideDevice",
             "<robot name=\"T\"><leds><led short=\"s\"><device name=\"n\" color=\"red\"><a/>"
             "</device></led></leds></robot>",
             "line 1: unknown element <a>; allowed: nothing inside <device>"},
        Case{"unknownAttribute", device("name=\"n\"\n colour=\"red\""),
             "line 3: unknown attribute \"colour\" of <device>; allowed: name, color, short, "
             "groups"},
        Case{"noKey", "<robot name=\"T\"><config value=\"b\"/></robot>",
             "line 1: <config> lacks its attribute \"key\""},
        Case{"noValue", "<robot name=\"T\"><config key=\"b\"/></robot>",
             "line 1: <config> lacks its attribute \"value\""},
        Case{"noDeviceName", device("color=\"red\""),
             "line 2: <device> lacks its attribute \"name\""},
        Case{"noColor", device("name=\"n\""), "line 2: <device> lacks its attribute \"color\""},
        Case{"unknownColor", device("name=\"n\" color=\"Red\""),
             "line 2: color=\"Red\" is unknown; allowed: red, green, blue, white, amber, infrared"},
        Case{"lineEndInName", device("name=\"a&#10;b\" color=\"red\""),
             "line 2: name=\"a b\" holds a tab or a line end; a name stands on one line"},
        Case{"longName", device("name=\"" + std::string(201, 'a') + "\" color=\"red\""),
             "line 2: name=\"" + std::string(60, 'a') + "...\" is longer than 200 bytes"},
        Case{"longGroup", led("groups=\"b " + std::string(201, 'a') + "\""),
             "line 2: groups=\"b " + std::string(58, 'a') +
                 "...\" has a name longer than 200 bytes"}),
    [](const auto& test) { return test.param.name; });

INSTANTIATE_TEST_SUITE_P(
    Drawing, Refused,
    testing::Values(
        Case{"nan", led("x=\"nan\" y=\"0\""),
             "line 2: x=\"nan\" is no number from -10000 to 10000"},
        Case{"infinite", led("x=\"0\" y=\"-inf\""),
             "line 2: y=\"-inf\" is no number from -10000 to 10000"},
        Case{"tooFar", led("x=\"0\" y=\"1e5\""),
             "line 2: y=\"1e5\" is no number from -10000 to 10000"},
        Case{"overflow", led("x=\"0\" y=\"1e999\""),
             "line 2: y=\"1e999\" is no number from -10000 to 10000"},
        Case{"hex", led("x=\"0x10\" y=\"0\""),
             "line 2: x=\"0x10\" is no number from -10000 to 10000"},
        Case{"unit", led("x=\"3mm\" y=\"0\""),
             "line 2: x=\"3mm\" is no number from -10000 to 10000"},
        Case{"twoSigns", led("x=\"+-3\" y=\"0\""),
             "line 2: x=\"+-3\" is no number from -10000 to 10000"},
        Case{"empty", led("x=\"\" y=\"0\""), "line 2: x=\"\" is no number from -10000 to 10000"},
        Case{"half", led("x=\"1\""), "line 2: <led> has one of x and y; a position has both"},
        Case{"negativeSize", led("width=\"-1\""),
             "line 2: width=\"-1\" is no number from 0 to 10000"},
        Case{"nanSize", led("height=\"NaN\""),
             "line 2: height=\"NaN\" is no number from 0 to 10000"},
        Case{"angle", led("angle=\"361\""), "line 2: angle=\"361\" is no number from -360 to 360"},
        Case{"shape", led("shape=\"star\""),
             "line 2: shape=\"star\" is unknown; allowed: circle, rectangle, sector"}),
    [](const auto& test) { return test.param.name; });

INSTANTIATE_TEST_SUITE_P(
    Bounds, Refused,
    testing::Values(Case{"depth", "<robot name=\"T\">" + repeated("<leds>", 64),
                         "line 1: elements are nested deeper than 64"},
                    Case{"muchDepth", repeated("<a>", 1000000),
                         "line 1: elements are nested deeper than 64"},
                    Case{"attributes", "<robot " + repeated("a=\"\" ", 65) + "/>",
                         "line 1: an element has more than 64 attributes"},
                    Case{"groups",
                         "<robot name=\"T\"><leds groups=\"" + repeated("a ", 40) +
                             "\">\n<led groups=\"" + repeated("b ", 25) + "\"/></leds></robot>",
                         "line 2: an LED in more than 64 groups"},
                    Case{"groupsAtOnce",
                         "<robot name=\"T\"><leds groups=\"" + repeated("a ", 65) + "\"/></robot>",
                         "line 1: groups=\"" + repeated("a ", 30) +
                             "...\" names more groups than the 64 of an LED"},
                    Case{"elements", "<robot name=\"T\">" + repeated("<leds/>", 2000000),
                         "line 1: more than 1000000 elements"}),
    [](const auto& test) { return test.param.name; });

TEST(ModelLimits, AcceptTheDeepestNesting) {
  EXPECT_EQ(
      refusal("<robot name=\"T\">" + repeated("<leds>", 63) + repeated("</leds>", 63) + "</robot>"),
      "");
}

TEST(ModelLimits, RefuseTheFirstLedTooMany) {
  const std::string begin = "<robot name=\"T\"><leds><led short=\"s\">";
  const std::string end = "</led></leds></robot>";
  const std::string most = repeated("<device name=\"n\" color=\"red\"/>", Model::kMaxLeds);
  EXPECT_EQ(refusal(begin + most + end), "");
  EXPECT_EQ(refusal(begin + most + "\n<device name=\"n\" color=\"red\"/>" + end),
            "line 2: more than 200000 LEDs");
}

TEST(ModelLimits, RefuseMoreMembershipsThanMemoryIsWorth) {
  const auto xml = [](int leds) {
    return "<robot name=\"T\"><leds groups=\"" + repeated("a ", 50) + "\"><led short=\"s\">" +
           repeated("<device name=\"n\" color=\"red\"/>", leds) + "</led></leds></robot>";
  };
  EXPECT_EQ(refusal(xml(40000)), "");
  EXPECT_EQ(refusal(xml(40001)), "line 1: more than 2000000 memberships of LEDs in groups");
}

TEST(ModelLimits, RefuseATextOfMoreThan64Megabytes) {
  const std::string xml = "<robot name=\"T\"/>";
  EXPECT_EQ(refusal(xml + std::string(Model::kMaxBytes - xml.size(), ' ')), "");
  EXPECT_EQ(refusal(xml + std::string(Model::kMaxBytes - xml.size() + 1, ' ')),
            "larger than 64 MB");
}

TEST(ModelError, TellsLineAndProblemApart) {
  const ModelError error(7, "too blue");
  EXPECT_EQ(error.line(), 7);
  EXPECT_EQ(error.problem(), "too blue");
  EXPECT_STREQ(error.what(), "line 7: too blue");
  EXPECT_STREQ(ModelError(0, "too large").what(), "too large");
}

}  // namespace
}  // namespace Sim
