// Passive blinking: the eyes blink by themselves while no command uses them. So far it knows which
// names disturb the eyes and whether it is paused. Owned by HBLeds and by the guards that pause it.
#pragma once

#include <atomic>
#include <boost/thread/mutex.hpp>
#include <cstdint>
#include <set>
#include <string>

#include "framework/xo/log.h"

namespace HB {

class HBLeds;

/// Thread-safe. Nothing here calls outwards; each operation holds one of the two locks, never both.
class PassiveBlinking {
 public:
  /// `leds` owns this object and outlives it, or at least its activity.
  explicit PassiveBlinking(HBLeds* leds);
  ~PassiveBlinking();
  PassiveBlinking(const PassiveBlinking&) = delete;
  PassiveBlinking& operator=(const PassiveBlinking&) = delete;

  /// No passive blink starts until `resume`. Takes the timer lock. Pausing again does nothing.
  void pause();
  /// Ends a pause. Takes the timer lock.
  void resume();

  /// A conflicting resource is a name (device, short LED name or group) whose use pauses passive
  /// blinking. Adding twice does nothing. These four take the resources lock.
  void addConflictingResource(const std::string& name);
  void addConflictingResource(const std::set<std::string>& names);
  /// Does nothing for a name that was not added.
  void removeConflictingResource(const std::string& name);
  /// Whether exactly this name was added; never true for the empty name.
  bool isConflictingResource(const std::string& name) const;

  /// The category of everything that passive blinking and its guards log.
  static const xo::log::Category fLog;

 private:
  friend class LedsAccess;

  /// Whose eyes blink; read by the blinks alone.
  [[maybe_unused]] HBLeds* const fLeds;
  /// 1 while paused. Written by exchange under `fTimerMutex`.
  std::atomic<std::int32_t> fPaused{0};
  boost::mutex fTimerMutex;
  std::set<std::string> fConflictingResources;
  mutable boost::mutex fResourcesMutex;
};

}  // namespace HB
