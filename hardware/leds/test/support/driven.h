// Running an animation under the hand-driven clock: its sleeps pass in no time, and every write is
// known by the millisecond.
#pragma once

#include <atomic>
#include <chrono>

#include "framework/xo/call.h"
#include "framework/xo/clock.h"
#include "framework/xo/os.h"
#include "hardware/leds/test/support/threads.h"

namespace HB::test {

/// When a driven action began, on the hand-driven clock, and how long it took there.
struct Drive {
  xo::TimePoint start;
  long long ms;
};

/// Runs `action` as one call on a thread of its own, in whose name it sleeps, while this thread
/// drives `clock` on until it has ended. What it throws is thrown here. `stop` (may be null) is
/// what its client raises to stop it.
template <class F>
Drive driven(xo::ManualClock& clock, F action, xo::StopFlag* stop = nullptr) {
  std::atomic<bool> hasEnded{false};
  xo::TimePoint start;
  xo::TimePoint end;
  Beside running([&] {
    const xo::CallScope call(nullptr, stop);
    xo::os::msleep(1);  // known to the clock from here on: it waits for this thread
    start = clock.now();
    const auto finish = [&] {
      end = clock.now();
      hasEnded = true;
    };
    try {
      action();
    } catch (...) {
      finish();
      throw;
    }
    finish();
  });
  clock.awaitSleepers(1);
  while (!hasEnded) clock.advance(std::chrono::hours(25));
  running.get();
  return {start, std::chrono::duration_cast<std::chrono::milliseconds>(end - start).count()};
}

}  // namespace HB::test
