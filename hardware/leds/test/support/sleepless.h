// Letting framework sleeps end at once.
#pragma once

#include "framework/xo/call.h"

namespace HB::test {

/// Sleeps of this thread, and of the rotations that it starts, end at once, as if their module were
/// being unloaded. It must outlive those rotations' ticks. Make the module before: one that is made
/// while it lives takes itself for one that is being unloaded.
class Sleepless {
 public:
  Sleepless() { fEnding.raise(); }

 private:
  xo::Ending fEnding;
  const xo::CallScope fScope{&fEnding};
};

}  // namespace HB::test
