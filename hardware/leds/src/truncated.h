// From float to int without surprises.
#pragma once

#include <cmath>
#include <cstdint>
#include <limits>

namespace HB {

/// Truncated toward zero; NaN gives 0, what does not fit the nearest number.
inline std::int32_t truncated(float number) noexcept {
  if (std::isnan(number)) return 0;
  if (number >= 2147483648.0F) return std::numeric_limits<std::int32_t>::max();
  if (number <= -2147483648.0F) return std::numeric_limits<std::int32_t>::min();
  return static_cast<std::int32_t>(number);
}

}  // namespace HB
