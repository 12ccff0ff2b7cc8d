// The parts of the target for what people type.
#pragma once

#include <string_view>

#include "framework/xo/method.h"

namespace fuzz {

/// A table with a row for every type that an argument can have.
const xo::ObjectInfo& tableOfAllTypes();
/// The words of a shell's line, one a line of `text`, and what completion makes of them.
void tryCompletion(std::string_view text);

}  // namespace fuzz
