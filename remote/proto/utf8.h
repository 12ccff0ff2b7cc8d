// Which texts are UTF-8, since the wire's texts must be.
#pragma once

#include <string>
#include <string_view>

namespace remote {

/// Whether `text` is well-formed UTF-8: no overlong forms, no surrogates, nothing over U+10FFFF.
bool isUtf8(std::string_view text) noexcept;

/// `text` with every byte that is not part of a well-formed sequence replaced by U+FFFD.
std::string replaceInvalidUtf8(std::string_view text);

}  // namespace remote
