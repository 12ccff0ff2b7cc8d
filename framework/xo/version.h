// Comparison of dotted version numbers.
#pragma once

#include <string_view>

namespace xo::version {

/// Negative, zero or positive as `a` is before, equal to or after `b`. Components compare as
/// numbers
/// ("4.10.0" is after "4.9.0"); a missing component counts as 0 ("4.1" equals "4.1.0"). Errors:
/// `std::invalid_argument` when a text is empty or a component is not a decimal number.
int compare(std::string_view a, std::string_view b);

}  // namespace xo::version
