// How ledctl ends.
#pragma once

namespace ledctl {

inline constexpr int kDone = 0;
inline constexpr int kCallFailed = 1;
inline constexpr int kWrongUsage = 2;
inline constexpr int kNotReached = 3;
inline constexpr int kInterrupted = 130;

}  // namespace ledctl
