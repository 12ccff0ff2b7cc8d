#include "tools/ledctl/robot_picture.h"

#include <gmock/gmock.h>

#include <limits>

#include "framework/sim/model.h"

namespace ledctl {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;
using Colors = Palette::Colors;

constexpr auto kModel = R"(<robot name="Tiny">
  <leds groups="AllLeds">
    <led x="0" y="0" shape="sector" width="2" height="2">
      <device name="Eye/Red" color="red"/>
      <device name="Eye/Green" color="green"/>
    </led>
    <led><device name="Hidden/Blue" color="blue"/></led>
  </leds>
</robot>)";

std::string key(const std::string& device) {
  return "Device/SubDeviceList/" + device + "/Actuator/Value";
}

std::string joined(const std::vector<std::string>& lines) {
  std::string text;
  for (const auto& line : lines) text += line + '\n';
  return text;
}

std::string drawn(const RobotPicture& picture, const Palette& palette, int columns = 40) {
  return joined(picture.lines(5, columns, palette));
}

TEST(RobotPicture, KnowsTheRobotAndItsLeds) {
  const RobotPicture picture(kModel);
  EXPECT_EQ(picture.robotName(), "Tiny");
  EXPECT_EQ(picture.leds(), 2U);
  EXPECT_THROW(RobotPicture("<robot"), Sim::ModelError);
}

TEST(RobotPicture, ShowsAnLedThatIsOffAsADimDot) {
  EXPECT_THAT(drawn(RobotPicture(kModel), {Colors::kTrue, true}), HasSubstr("\x1b[90m·\x1b[0m"));
}

TEST(RobotPicture, MixesTheChannelsOfOnePlace) {
  RobotPicture picture(kModel);
  picture.set(key("Eye/Red"), 1);
  picture.set(key("Eye/Green"), 1);
  EXPECT_THAT(drawn(picture, {Colors::kTrue, true}), HasSubstr("\x1b[38;2;255;255;0m●\x1b[0m"));
  EXPECT_THAT(drawn(picture, {Colors::kTable, true}), HasSubstr("\x1b[38;5;226m●\x1b[0m"));
}

TEST(RobotPicture, ShowsAFaintLightBrighterThanItsPower) {
  RobotPicture picture(kModel);
  picture.set(key("Eye/Red"), 0.1F);
  EXPECT_THAT(drawn(picture, {Colors::kTrue, true}), HasSubstr("\x1b[38;2;90;0;0m●"));
}

TEST(RobotPicture, TellsBrightnessByShapeWhereThereAreNoColours) {
  RobotPicture picture(kModel);
  const Palette none{Colors::kNone, true};
  for (const auto& [value, shape] : std::vector<std::pair<float, std::string>>{
           {0.0F, "·"}, {0.2F, "○"}, {0.5F, "◍"}, {1.0F, "●"}}) {
    picture.set(key("Eye/Red"), value);
    EXPECT_THAT(drawn(picture, none), HasSubstr(shape)) << value;
    EXPECT_THAT(drawn(picture, none), Not(HasSubstr("\x1b")));
  }
  EXPECT_THAT(drawn(picture, {Colors::kNone, false}), HasSubstr("@"));
}

TEST(RobotPicture, ListsBelowTheLedsThatHaveNoPlace) {
  RobotPicture picture(kModel);
  picture.set(key("Hidden/Blue"), 1);
  const auto lines = picture.lines(5, 40, {Colors::kNone, false});
  ASSERT_EQ(lines.size(), 5U);
  EXPECT_EQ(lines.back(), "without a place: @");
  EXPECT_THAT(picture.lines(5, 9, {}), ::testing::SizeIs(5));
}

TEST(RobotPicture, IgnoresOtherKeysAndOddValues) {
  RobotPicture picture(kModel);
  picture.set("RobotConfig/Head", 1);
  picture.set(key("Eye/Red"), std::numeric_limits<float>::quiet_NaN());
  EXPECT_THAT(drawn(picture, {Colors::kNone, false}), Not(HasSubstr("@")));
  picture.set(key("Eye/Red"), 1e30F);
  EXPECT_THAT(drawn(picture, {Colors::kNone, false}), HasSubstr("@"));
}

TEST(RobotPicture, HasAsManyLinesAsAskedForHoweverFew) {
  for (int rows = 1; rows < 6; ++rows) {
    EXPECT_THAT(RobotPicture(kModel).lines(rows, 1, {}),
                ::testing::SizeIs(static_cast<std::size_t>(rows)));
  }
}

}  // namespace
}  // namespace ledctl
