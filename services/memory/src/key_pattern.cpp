#include "services/memory/src/key_pattern.h"

#include <utility>

namespace HB {
namespace {

// The whole of `text` against `pattern`. Each star takes as little as it can; when what follows
// fails, the last star takes one character more (an earlier one never needs to).
bool matchesWhole(std::string_view pattern, std::string_view text) noexcept {
  std::size_t p = 0;
  std::size_t t = 0;
  std::size_t star = std::string_view::npos;
  std::size_t starText = 0;
  while (t < text.size()) {
    if (p < pattern.size() && pattern[p] == '*') {
      star = p++;
      starText = t;
    } else if (p < pattern.size() && pattern[p] == text[t]) {
      ++p;
      ++t;
    } else if (star != std::string_view::npos) {
      p = star + 1;
      t = ++starText;
    } else {
      return false;
    }
  }
  while (p < pattern.size() && pattern[p] == '*') ++p;
  return p == pattern.size();
}

}  // namespace

KeyPattern::KeyPattern(std::string pattern)
    : fPattern(std::move(pattern)),
      fIsEverything(fPattern.find_first_not_of('*') == std::string::npos),
      fMayBeginInside(!fIsEverything && fPattern.front() != '*') {
  if (fMayBeginInside) fPattern.insert(0, "*/");
}

bool KeyPattern::matches(std::string_view key) const noexcept {
  if (fIsEverything) return true;
  if (matchesWhole(fPattern, key)) return true;
  return fMayBeginInside && matchesWhole(std::string_view(fPattern).substr(2), key);
}

}  // namespace HB
