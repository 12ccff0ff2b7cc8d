#include "tools/ledctl/overload.h"

#include <gmock/gmock.h>

#include "tools/ledctl/test/tables.h"
#include "tools/ledctl/usage_error.h"

namespace ledctl {
namespace {

using HB::HBValue;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

const xo::ObjectInfo kTable = testing::ledTable();

Choice choose(const std::vector<std::string>& words) {
  return chooseMethod("HBLeds", kTable, words.front(), std::span(words).subspan(1));
}

std::string complaintAbout(const std::vector<std::string>& words) {
  try {
    choose(words);
  } catch (const UsageError& error) {
    return error.what();
  }
  return "no complaint";
}

TEST(ChooseMethod, TakesAColourNameForAText) {
  const auto choice = choose({"fadeRGB", "FaceLeds", "red", "1.0"});
  EXPECT_EQ(choice.method, &kTable.methods[3]);
  EXPECT_THAT(choice.args, ElementsAre(HBValue("FaceLeds"), HBValue("red"), HBValue(1.0F)));
}

TEST(ChooseMethod, TakesANumberForAColourRatherThanForAText) {
  for (const char* colour : {"0xff0000", "16711680"}) {
    const auto choice = choose({"fadeRGB", "FaceLeds", colour, "1"});
    EXPECT_EQ(choice.method, &kTable.methods[4]);
    EXPECT_THAT(choice.args, ElementsAre(HBValue("FaceLeds"), HBValue(0xff0000), HBValue(1.0F)));
  }
}

TEST(ChooseMethod, FallsBackToATextForANumberThatIsNoInteger) {
  EXPECT_EQ(choose({"fadeRGB", "FaceLeds", "1.5", "1"}).method, &kTable.methods[3]);
}

TEST(ChooseMethod, GoesByTheNumberOfArguments) {
  EXPECT_EQ(choose({"fadeRGB", "FaceLeds", "1", "0.5", "0", "1"}).method, &kTable.methods[2]);
  EXPECT_EQ(choose({"_blink"}).method, &kTable.methods[6]);
  EXPECT_EQ(choose({"_blink", "255"}).method, &kTable.methods[7]);
}

TEST(ChooseMethod, TakesTheFirstRowOfTheTableAmongEquals) {
  const xo::ObjectInfo table{
      "",
      {testing::method("f", {{"a", testing::kInt}}), testing::method("f", {{"b", testing::kInt}})}};
  const std::vector<std::string> words{"1"};
  EXPECT_EQ(chooseMethod("S", table, "f", words).method, &table.methods[0]);
}

TEST(ChooseMethod, ReadsListsAsTheSignatureAsks) {
  const auto choice = choose({"createGroup", "G", R"(["FaceLeds","ChestLeds"])"});
  EXPECT_EQ(choice.args[1], HBValue(HBValue::List{"FaceLeds", "ChestLeds"}));
}

TEST(ChooseMethod, SuggestsNamesForAnUnknownOne) {
  EXPECT_EQ(complaintAbout({"fadeRBG"}), "HBLeds has no method 'fadeRBG'. Did you mean 'fadeRGB'?");
  EXPECT_EQ(complaintAbout({"zzz"}), "HBLeds has no method 'zzz'. 'ledctl methods' lists them.");
}

TEST(ChooseMethod, ShowsEveryFormWhenTheNumberOfArgumentsIsWrong) {
  EXPECT_EQ(complaintAbout({"fadeRGB", "FaceLeds"}),
            "fadeRGB does not take 1 argument.\nUsage, one of:"
            "\n  ledctl fadeRGB NAME RED GREEN BLUE DURATION"
            "\n  ledctl fadeRGB NAME COLORNAME DURATION"
            "\n  ledctl fadeRGB NAME RGB DURATION");
}

TEST(ChooseMethod, NamesTheArgumentThatCannotBeRead) {
  EXPECT_EQ(complaintAbout({"setIntensity", "FaceLeds", "half"}),
            "setIntensity: INTENSITY 'half' is not a number.\n"
            "Usage: ledctl setIntensity NAME INTENSITY");
  EXPECT_THAT(complaintAbout({"createGroup", "G", "FaceLeds"}),
              AllOf(HasSubstr("LEDNAMES 'FaceLeds' is not a list such as"),
                    HasSubstr(R"('["FaceLeds","ChestLeds"]')")));
}

TEST(FormOf, NamesUndocumentedParametersByTheirType) {
  EXPECT_EQ(formOf(kTable.methods[7]), "_blink INT");
}

}  // namespace
}  // namespace ledctl
