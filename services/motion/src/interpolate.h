// The one loop that a tick spends its time in.
#pragma once

#include <cstddef>

namespace HB {

/// For every i below `count`: `after[i]` = start[i] + slope[i] * (now - since[i]), limited to 0..1.
/// Returns how many differ from `before`. At most 2^31 - 1 of them; everything is finite and no
/// two lists overlap. Built so
/// that the compiler makes vectors of it, see CMakeLists.txt.
std::size_t interpolate(std::size_t count, double now, const float* start, const double* slope,
                        const double* since, const float* before, float* after) noexcept;

}  // namespace HB
