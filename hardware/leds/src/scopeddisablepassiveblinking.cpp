#include "hardware/leds/src/scopeddisablepassiveblinking.h"

#include <boost/thread/lock_guard.hpp>
#include <utility>

#include "hardware/leds/src/passiveblinking.h"

namespace HB {

std::int32_t ScopedDisablePassiveBlinking::count = 0;
boost::mutex ScopedDisablePassiveBlinking::passiveBlinkingMutex;

ScopedDisablePassiveBlinking::ScopedDisablePassiveBlinking(
    boost::shared_ptr<PassiveBlinking> passiveBlinking)
    : fPassiveBlinking(std::move(passiveBlinking)), fActive(true) {
  const boost::lock_guard<boost::mutex> lock(passiveBlinkingMutex);
  _pausePassiveBlinking();
}

ScopedDisablePassiveBlinking::ScopedDisablePassiveBlinking(
    boost::shared_ptr<PassiveBlinking> passiveBlinking, const std::string& name)
    : fPassiveBlinking(std::move(passiveBlinking)), fActive(false) {
  const boost::lock_guard<boost::mutex> lock(passiveBlinkingMutex);
  if (fPassiveBlinking) fActive = fPassiveBlinking->isConflictingResource(name);
  _pausePassiveBlinking();
}

ScopedDisablePassiveBlinking::~ScopedDisablePassiveBlinking() {
  const boost::lock_guard<boost::mutex> lock(passiveBlinkingMutex);
  if (!fActive) return;
  --count;
  if (count == 0 && fPassiveBlinking) {
    PassiveBlinking::fLog.verbose("Resume passive blinking");
    fPassiveBlinking->resume();
  }
}

void ScopedDisablePassiveBlinking::_pausePassiveBlinking() {
  if (!fActive) return;
  // An active guard counts also without a pointer; only pausing and resuming need one.
  const std::int32_t old = count;
  count = old + 1;
  if (old == 0 && fPassiveBlinking) {
    PassiveBlinking::fLog.verbose("Pause passive blinking");
    fPassiveBlinking->pause();
  }
}

}  // namespace HB
