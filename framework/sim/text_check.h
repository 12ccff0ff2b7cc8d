// The look at a model's text before it is parsed: what the parser would accept, or need more time
// or memory for than the text is worth. For the files of this folder.
#pragma once

#include <string_view>

namespace Sim::detail {

/// Passes a text of UTF-8 whose tags are closed in order, that holds nothing but elements,
/// attributes and comments, and that stays within the limits of Model and these. Linear in the
/// text. Errors: ModelError.
void checkText(std::string_view xml);

constexpr int kMaxAttributes = 64;  // of one element
constexpr int kMaxNodes = 1000000;  // elements and comments

}  // namespace Sim::detail
