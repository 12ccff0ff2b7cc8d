// While one lives, no blink can be started: the linker leads the module's call of `startBlink`
// through here.
#pragma once

#include <exception>

namespace HB::test {

class [[nodiscard]] BlinkRefusal {
 public:
  /// Starting throws `error`. One at a time.
  explicit BlinkRefusal(std::exception_ptr error);
  ~BlinkRefusal();
  BlinkRefusal(const BlinkRefusal&) = delete;
  BlinkRefusal& operator=(const BlinkRefusal&) = delete;
};

}  // namespace HB::test
