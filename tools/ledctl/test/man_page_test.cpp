// The man page and --help tell of the same things.
#include <gmock/gmock.h>

#include <algorithm>
#include <fstream>
#include <iterator>

#include "tools/ledctl/options.h"

namespace ledctl {
namespace {

using ::testing::HasSubstr;

std::string manPage() {
  std::ifstream file("tools/ledctl/ledctl.1");
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

/// As a man page writes it: every dash that people type.
std::string typed(std::string_view text) {
  std::string made;
  for (const char one : text) made += one == '-' ? std::string("\\-") : std::string(1, one);
  return made;
}

TEST(ManPage, NamesEveryOptionAndCommandThatThereIs) {
  for (const auto& option : optionNames()) {
    EXPECT_THAT(manPage(), HasSubstr(typed(option.name)));
  }
  for (const auto& command : commandNames()) {
    EXPECT_THAT(manPage(), HasSubstr(".B " + std::string(command)));
  }
}

TEST(HelpText, NamesEveryOptionAndCommandThatThereIs) {
  for (const auto& option : optionNames()) {
    EXPECT_THAT(helpText(), HasSubstr(option.name));
  }
  for (const auto& command : commandNames()) {
    EXPECT_THAT(helpText(), HasSubstr("\n  " + std::string(command)));
  }
}

TEST(HelpText, NamesNoOptionThatThereIsNot) {
  const std::string help = helpText();
  for (auto at = help.find("--"); at != std::string::npos; at = help.find("--", at + 2)) {
    const auto end = help.find_first_not_of("abcdefghijklmnopqrstuvwxyz-", at);
    const std::string word = help.substr(at, end - at);
    if (word == "--") continue;
    EXPECT_TRUE(std::ranges::any_of(optionNames(), [&](const OptionName& option) {
      return option.name == word;
    })) << word;
  }
}

TEST(HelpText, FitsATerminal) {
  const std::string help = helpText();
  for (std::size_t at = 0; at < help.size();) {
    const auto end = help.find('\n', at);
    EXPECT_LE(end - at, 100U) << help.substr(at, end - at);
    at = end + 1;
  }
}

}  // namespace
}  // namespace ledctl
