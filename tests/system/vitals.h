// What the system tells of a process: its descriptors, threads, memory and processor time.
#pragma once

#include <sys/types.h>

namespace tests {

struct Vitals {
  long descriptors = 0;
  long threads = 0;
  long residentKib = 0;
  long peakKib = 0;  ///< the most of `residentKib` since `forgetPeak`, or since its start
  double cpuSeconds = 0;
};

/// Errors: `std::runtime_error` when there is no such process.
Vitals vitalsOf(pid_t pid);

/// What it holds now is the peak, until it holds more.
void forgetPeak(pid_t pid);

/// Whether memory tells anything: under a sanitizer what was freed is kept on purpose.
#if defined(__SANITIZE_ADDRESS__)
inline constexpr bool kIsMemoryTelling = false;
#elif defined(__has_feature)
inline constexpr bool kIsMemoryTelling = !__has_feature(address_sanitizer);
#else
inline constexpr bool kIsMemoryTelling = true;
#endif

}  // namespace tests
