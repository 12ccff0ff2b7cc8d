// Bytes as text, for the values that JSON has no form for.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace web {

/// With padding.
std::string toBase64(const std::vector<std::uint8_t>& bytes);

/// Nothing for a text that `toBase64` would not make.
std::optional<std::vector<std::uint8_t>> fromBase64(std::string_view text);

}  // namespace web
