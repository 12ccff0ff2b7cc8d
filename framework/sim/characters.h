// Which characters a model's text may hold. For the files of this folder.
#pragma once

#include <string_view>

namespace Sim::detail {

/// Passes UTF-8 without control characters but tab and line ends. Errors: ModelError.
void checkCharacters(std::string_view text);

/// Whether the text begins with "&amp;" or its like, or with the number of a character ("&#233;").
bool isReference(std::string_view text);

/// Whether the text holds characters that would break a line or a log: those below a space.
bool hasControl(std::string_view text);

}  // namespace Sim::detail
