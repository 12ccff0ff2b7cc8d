#include "tools/ledctl/suggest.h"

#include <gmock/gmock.h>

namespace ledctl {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

const std::vector<std::string> kNames{"fade",    "fadeRGB", "_fadeRGB", "listLEDs",
                                      "listLED", "on",      "off",      "_blink"};

TEST(CloseNames, FindsSwappedMissingAndAddedLetters) {
  EXPECT_THAT(closeNames("fadeRBG", kNames), ElementsAre("fadeRGB", "_fadeRGB"));
  EXPECT_THAT(closeNames("lisLEDs", kNames), ElementsAre("listLEDs", "listLED"));
  EXPECT_THAT(closeNames("onn", kNames), ElementsAre("on"));
}

TEST(CloseNames, OverlooksCaseAndALeadingUnderscore) {
  EXPECT_THAT(closeNames("blink", kNames), ElementsAre("_blink"));
  EXPECT_THAT(closeNames("FADE", kNames).front(), "fade");
}

TEST(CloseNames, FindsWhatTheWordBegins) {
  EXPECT_THAT(closeNames("lis", kNames), ElementsAre("listLEDs", "listLED"));
}

TEST(CloseNames, FindsNothingForAForeignWord) {
  EXPECT_THAT(closeNames("temperature", kNames), IsEmpty());
  EXPECT_THAT(closeNames("", kNames), IsEmpty());
}

TEST(DidYouMean, ListsWhatIsClose) {
  EXPECT_EQ(didYouMean("fadeRBG", kNames), "Did you mean 'fadeRGB' or '_fadeRGB'?");
  EXPECT_EQ(didYouMean("blnk", kNames), "Did you mean '_blink'?");
  EXPECT_EQ(didYouMean("temperature", kNames), "");
}

}  // namespace
}  // namespace ledctl
