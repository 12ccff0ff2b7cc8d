#include "hardware/leds/src/passiveblinking.h"

#include <boost/thread/lock_guard.hpp>

namespace HB {

const xo::log::Category PassiveBlinking::fLog("PassiveBlinking");

PassiveBlinking::PassiveBlinking(HBLeds* leds) : fLeds(leds) {}

PassiveBlinking::~PassiveBlinking() = default;

void PassiveBlinking::pause() {
  const boost::lock_guard<boost::mutex> lock(fTimerMutex);
  fPaused.exchange(1);
}

void PassiveBlinking::resume() {
  // The end of a pause is also where the interval to the next blink is drawn, under this lock.
  const boost::lock_guard<boost::mutex> lock(fTimerMutex);
  fPaused.exchange(0);
}

void PassiveBlinking::addConflictingResource(const std::string& name) {
  const boost::lock_guard<boost::mutex> lock(fResourcesMutex);
  fConflictingResources.insert(name);
}

void PassiveBlinking::addConflictingResource(const std::set<std::string>& names) {
  const boost::lock_guard<boost::mutex> lock(fResourcesMutex);
  fConflictingResources.insert(names.begin(), names.end());
}

void PassiveBlinking::removeConflictingResource(const std::string& name) {
  const boost::lock_guard<boost::mutex> lock(fResourcesMutex);
  fConflictingResources.erase(name);
}

bool PassiveBlinking::isConflictingResource(const std::string& name) const {
  if (name.empty()) return false;  // also when it was added: an LED may lack a short name
  const boost::lock_guard<boost::mutex> lock(fResourcesMutex);
  return fConflictingResources.count(name) != 0;
}

}  // namespace HB
