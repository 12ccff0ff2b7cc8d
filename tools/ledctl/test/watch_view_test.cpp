#include "tools/ledctl/watch_view.h"

#include <gmock/gmock.h>

#include <sstream>

namespace ledctl {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

const std::string kRed = "Device/SubDeviceList/Face/Led/Red/Left/0Deg/Actuator/Value";
const std::string kBlue = "Device/SubDeviceList/Face/Led/Blue/Left/0Deg/Actuator/Value";

TEST(LedOf, FindsTheLedAndItsChannel) {
  EXPECT_EQ(ledOf(kRed), (LedKey{"Face/Led/Left/0Deg", 0}));
  EXPECT_EQ(ledOf(kBlue), (LedKey{"Face/Led/Left/0Deg", 2}));
  EXPECT_EQ(ledOf("Device/SubDeviceList/ChestBoard/Led/Green/Actuator/Value"),
            (LedKey{"ChestBoard/Led", 1}));
  EXPECT_EQ(ledOf("Red/Actuator/Value"), (LedKey{"", 0}));
}

TEST(LedOf, FindsNothingInOtherKeys) {
  EXPECT_EQ(ledOf("RobotConfig/Head/Type"), std::nullopt);
  EXPECT_EQ(ledOf("Device/SubDeviceList/Head/Led/Rear/Actuator/Value"), std::nullopt);
  EXPECT_EQ(ledOf("RobotConfig/Red"), std::nullopt);
}

TEST(LineView, WritesOneLineAValue) {
  std::ostringstream out;
  LineView(out, false).show({true, {{kRed, 0.5F}, {"a", "text"}, {"b", HB::HBValue::list({1})}}});
  EXPECT_EQ(out.str(), kRed + " 0.5\na text\nb [1]\n");
}

TEST(LineView, WritesOneObjectAValueAsJson) {
  std::ostringstream out;
  LineView(out, true).show({true, {{"a\"", 1.0F}}});
  EXPECT_EQ(out.str(), "{\"key\":\"a\\\"\",\"value\":1.0}\n");
}

TEST(NaturalOrder, TakesDigitsAsNumbers) {
  const NaturalOrder isBefore;
  EXPECT_TRUE(isBefore("Left/9Deg", "Left/45Deg"));
  EXPECT_TRUE(isBefore("Left/45Deg", "Right/0Deg"));
  EXPECT_TRUE(isBefore("a1b2", "a1b10"));
  EXPECT_TRUE(isBefore("a", "a1"));
  EXPECT_FALSE(isBefore("a", "a"));
  EXPECT_NE(isBefore("a01", "a1"), isBefore("a1", "a01"));
}

TEST(ScreenView, ShowsAnLedWithItsColourInOneRow) {
  std::ostringstream out;
  ScreenView view(out, [] { return ScreenView::Size{24, 80}; });
  view.show({true, {{kBlue, 0.0F}, {kRed, 1.0F}}});
  EXPECT_THAT(out.str(), HasSubstr("\x1b[48;2;255;0;0m    \x1b[0m 1.000  -    0.000  "
                                   "Face/Led/Left/0Deg\x1b[K\n"));
}

TEST(ScreenView, RedrawsInPlaceWithTheNewValue) {
  std::ostringstream out;
  ScreenView view(out, [] { return ScreenView::Size{24, 80}; });
  view.show({true, {{kRed, 1.0F}, {"Head/Type", "x"}}});
  out.str("");
  view.show({false, {{kRed, 0.5F}}});
  EXPECT_THAT(out.str(), ::testing::StartsWith("\x1b[2A\r\x1b[48;2;128;0;0m"));
  EXPECT_THAT(out.str(), HasSubstr("Head/Type \"x\""));
}

TEST(ScreenView, CountsWhatDoesNotFitOnTheScreen) {
  std::ostringstream out;
  ScreenView view(out, [] { return ScreenView::Size{4, 80}; });
  view.show({true, {{"a", 1}, {"b", 2}, {"c", 3}}});
  EXPECT_THAT(out.str(), HasSubstr("(1 more"));
  EXPECT_THAT(out.str(), Not(HasSubstr("\rc ")));
}

TEST(ScreenView, LetsNoNameDriveTheTerminal) {
  std::ostringstream out;
  ScreenView view(out, [] { return ScreenView::Size{24, 80}; });
  view.show({true, {{"evil\x1b[2J", "t\x1b[2J"}}});
  EXPECT_THAT(out.str(), Not(HasSubstr("\x1b[2J")));
}

}  // namespace
}  // namespace ledctl
