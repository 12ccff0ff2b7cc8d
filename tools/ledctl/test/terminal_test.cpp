#include "tools/ledctl/terminal.h"

#include <gtest/gtest.h>

#include <map>
#include <string>

namespace ledctl {
namespace {

using Colors = Palette::Colors;
using Variables = std::map<std::string, std::string>;

Terminal withVariables(const Variables& variables, bool isPlain = false, bool isOut = true) {
  return terminalOf(isOut, true, isPlain, [&](const char* name) -> const char* {
    const auto found = variables.find(name);
    return found == variables.end() ? nullptr : found->second.c_str();
  });
}

TEST(TerminalOf, HasTrueColourWhenTheTerminalSaysSo) {
  EXPECT_EQ(withVariables({{"COLORTERM", "truecolor"}}).palette.colors, Colors::kTrue);
  EXPECT_EQ(withVariables({{"COLORTERM", "24bit"}}).palette.colors, Colors::kTrue);
  EXPECT_EQ(withVariables({}).palette.colors, Colors::kTable);
}

TEST(TerminalOf, HasNoColourButDrawsWhenNoColorIsSet) {
  const auto terminal = withVariables({{"NO_COLOR", ""}, {"COLORTERM", "truecolor"}});
  EXPECT_FALSE(terminal.hasColor);
  EXPECT_TRUE(terminal.canDraw);
  EXPECT_EQ(terminal.palette.colors, Colors::kNone);
}

TEST(TerminalOf, DrawsNothingInPlaceWhenPlainOrDumbOrPiped) {
  EXPECT_FALSE(withVariables({}, true).canDraw);
  EXPECT_FALSE(withVariables({}, true).canProgress);
  EXPECT_FALSE(withVariables({{"TERM", "dumb"}}).canDraw);
  EXPECT_FALSE(withVariables({{"TERM", "dumb"}}).canProgress);
  EXPECT_FALSE(withVariables({}, false, false).canDraw);
  EXPECT_TRUE(withVariables({}, false, false).canProgress) << "standard error is still one";
}

TEST(TerminalOf, TakesTheLettersFromTheFirstVariableThatIsSet) {
  EXPECT_TRUE(withVariables({{"LANG", "C.UTF-8"}}).palette.isUtf8);
  EXPECT_TRUE(withVariables({{"LC_CTYPE", "en_US.utf8"}, {"LANG", "C"}}).palette.isUtf8);
  EXPECT_FALSE(withVariables({{"LC_ALL", "C"}, {"LANG", "C.UTF-8"}}).palette.isUtf8);
  EXPECT_FALSE(withVariables({}).palette.isUtf8);
}

}  // namespace
}  // namespace ledctl
