#include "tools/ledctl/picture_view.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <sstream>

namespace ledctl {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

constexpr auto kModel = R"(<robot name="Tiny"><leds groups="AllLeds">
    <led x="0" y="0"><device name="Eye/Red" color="red"/></led>
  </leds></robot>)";
constexpr auto kKey = "Device/SubDeviceList/Eye/Red/Actuator/Value";
const Palette kLetters{Palette::Colors::kNone, false};

struct Shown {
  std::ostringstream out;
  PictureView::Size size{24, 80};
  PictureView view{out, RobotPicture(kModel), "unix:/s", kLetters, [this] { return size; }};
};

TEST(PictureView, DrawsTheRobotBelowItsNameAndAddress) {
  Shown shown;
  shown.view.show({true, {{kKey, 1.0F}}});
  EXPECT_THAT(shown.out.str(), StartsWith("\x1b[H Tiny"));
  EXPECT_THAT(shown.out.str(), HasSubstr("unix:/s \x1b[K\r\n"));
  EXPECT_THAT(shown.out.str(), HasSubstr("@"));
  EXPECT_THAT(shown.out.str(), HasSubstr(" q or Ctrl-C quits"));
}

TEST(PictureView, FillsTheScreenWithoutScrollingIt) {
  Shown shown;
  for (const int rows : {1, 3, 5, 8, 24}) {
    shown.size = {rows, 20};
    shown.out.str("");
    shown.view.redraw();
    const std::string frame = shown.out.str();
    EXPECT_EQ(std::ranges::count(frame, '\n'), rows - 1);
    EXPECT_THAT(frame, ::testing::EndsWith("\x1b[K\x1b[J"));
  }
}

TEST(PictureView, LeavesOutTheTitleWhereThereIsNoRoom) {
  Shown shown;
  shown.size = {6, 20};
  shown.view.redraw();
  EXPECT_THAT(shown.out.str(), Not(HasSubstr("Tiny")));
}

TEST(PictureView, DrawsWhatItKnowsAgain) {
  Shown shown;
  shown.view.show({true, {{kKey, 1.0F}}});
  shown.out.str("");
  shown.view.redraw();
  EXPECT_THAT(shown.out.str(), HasSubstr("@"));
}

TEST(PictureView, IgnoresValuesThatAreNoFloats) {
  Shown shown;
  shown.view.show({true, {{kKey, "text"}}});
  EXPECT_THAT(shown.out.str(), Not(HasSubstr("@")));
}

}  // namespace
}  // namespace ledctl
