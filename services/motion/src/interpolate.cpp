#include "services/motion/src/interpolate.h"

namespace HB {

std::size_t interpolate(std::size_t count, double now, const float* __restrict start,
                        const double* __restrict slope, const double* __restrict since,
                        const float* __restrict before, float* __restrict after) noexcept {
  int same = 0;  // as wide as the values, so that it is counted in the same vectors
  for (std::size_t i = 0; i < count; ++i) {
    float value = static_cast<float>(static_cast<double>(start[i]) + slope[i] * (now - since[i]));
    value = value > 0.0f ? value : 0.0f;
    value = value < 1.0f ? value : 1.0f;
    after[i] = value;
    same += value == before[i] ? 1 : 0;
  }
  return count - static_cast<std::size_t>(same);
}

}  // namespace HB
