#include "tools/ledctl/suggest.h"

#include <algorithm>
#include <cctype>

namespace ledctl {

namespace {

constexpr std::size_t kMostSuggestions = 3;

std::string plainForm(std::string_view name) {
  name.remove_prefix(std::min(name.find_first_not_of("_-"), name.size()));
  std::string made(name);
  for (char& one : made) one = static_cast<char>(std::tolower(static_cast<unsigned char>(one)));
  return made;
}

/// Letters to change, add, drop or swap with their neighbour to make one word the other.
std::size_t distance(const std::string& a, const std::string& b) {
  std::vector<std::vector<std::size_t>> table(a.size() + 1, std::vector<std::size_t>(b.size() + 1));
  for (std::size_t i = 0; i <= a.size(); ++i) {
    for (std::size_t j = 0; j <= b.size(); ++j) {
      if (i == 0 || j == 0) {
        table[i][j] = i + j;
        continue;
      }
      const std::size_t change = a[i - 1] == b[j - 1] ? 0 : 1;
      table[i][j] =
          std::min({table[i - 1][j] + 1, table[i][j - 1] + 1, table[i - 1][j - 1] + change});
      if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
        table[i][j] = std::min(table[i][j], table[i - 2][j - 2] + 1);
      }
    }
  }
  return table[a.size()][b.size()];
}

}  // namespace

std::vector<std::string> closeNames(std::string_view word, std::span<const std::string> names) {
  const std::string wanted = plainForm(word);
  const std::size_t allowed = std::max<std::size_t>(1, wanted.size() / 3);
  std::vector<std::pair<std::size_t, std::string>> close;
  for (const std::string& name : names) {
    const std::string candidate = plainForm(name);
    const std::size_t apart = distance(wanted, candidate);
    if (apart <= allowed) {
      close.emplace_back(apart, name);
    } else if (wanted.size() >= 2 && candidate.starts_with(wanted)) {
      close.emplace_back(allowed + 1, name);
    }
  }
  std::stable_sort(close.begin(), close.end(),
                   [](const auto& a, const auto& b) { return a.first < b.first; });
  std::vector<std::string> made;
  for (const auto& [apart, name] : close) {
    if (made.size() < kMostSuggestions && std::ranges::find(made, name) == made.end()) {
      made.push_back(name);
    }
  }
  return made;
}

std::string didYouMean(std::string_view word, std::span<const std::string> names) {
  const auto close = closeNames(word, names);
  std::string text;
  for (std::size_t i = 0; i < close.size(); ++i) {
    text += i == 0 ? "Did you mean '" : i + 1 == close.size() ? "' or '" : "', '";
    text += close[i];
  }
  return text.empty() ? text : text + "'?";
}

}  // namespace ledctl
