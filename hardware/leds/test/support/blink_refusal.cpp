#include "hardware/leds/test/support/blink_refusal.h"

#include <utility>

#include "hardware/leds/src/blink.h"

namespace {

std::exception_ptr gRefusal;

}  // namespace

// The linker's names of the two ends of the detour
// (-Wl,--wrap=_ZN2HB10startBlinkERN2xo9TaskGroupERKSt5tupleIJiiifEESt8functionIFviifEE).
xo::Future<void>
realStartBlink(xo::TaskGroup& tasks, const HB::BlinkParameters& parameters, HB::DrawEyePosition draw) asm(
    "__real__ZN2HB10startBlinkERN2xo9TaskGroupERKSt5tupleIJiiifEESt8functionIFviifEE");
xo::Future<void>
wrappedStartBlink(xo::TaskGroup& tasks, const HB::BlinkParameters& parameters, HB::DrawEyePosition draw) asm(
    "__wrap__ZN2HB10startBlinkERN2xo9TaskGroupERKSt5tupleIJiiifEESt8functionIFviifEE");

xo::Future<void> wrappedStartBlink(xo::TaskGroup& tasks, const HB::BlinkParameters& parameters,
                                   HB::DrawEyePosition draw) {
  if (gRefusal) std::rethrow_exception(gRefusal);
  return realStartBlink(tasks, parameters, std::move(draw));
}

namespace HB::test {

BlinkRefusal::BlinkRefusal(std::exception_ptr error) { gRefusal = std::move(error); }

BlinkRefusal::~BlinkRefusal() { gRefusal = nullptr; }

}  // namespace HB::test
