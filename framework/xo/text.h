// What several layers ask of a text.
#pragma once

#include <algorithm>
#include <string_view>

namespace xo {

/// Whether every character is printable ASCII and none a blank.
inline bool isPlain(std::string_view text) {
  return std::ranges::all_of(text, [](char c) { return c > ' ' && c <= '~'; });
}

}  // namespace xo
