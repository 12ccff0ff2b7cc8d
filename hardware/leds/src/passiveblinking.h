// Passive blinking: the eyes blink by themselves, at random intervals, while no command uses them.
// Owned by HBLeds and by the guards that pause it; runs a thread of its own.
#pragma once

#include <atomic>
#include <boost/asio/deadline_timer.hpp>
#include <boost/asio/io_service.hpp>
#include <boost/thread/mutex.hpp>
#include <boost/thread/recursive_mutex.hpp>
#include <boost/thread/thread.hpp>
#include <cstdint>
#include <set>
#include <string>

#include "framework/xo/future.h"
#include "framework/xo/log.h"

namespace HB {

class HBLeds;

/// Whole seconds from one passive blink to the next: `min` and `max` (seconds) with their fractions
/// cut off, `random` >= 0 as std::rand gives it. At least the truncated minimum. Bounds that are
/// NaN or too large count as their nearest useful number (NaN 0), so that nothing overflows or
/// divides by zero.
std::int32_t secondsToNextBlink(float min, float max, std::int32_t random) noexcept;

/// Thread-safe.
///
///     Stopped --start()--> Running, waiting --pause()--> Running, paused
///        ^                    |       ^ expiry: a blink     |
///        +------ stop() ------+       +----- resume() ------+
///
/// The timer is armed by `resume` only, that is at the end of a pause; every blink makes a pause of
/// its own. Locks: the blink lock (start, stop and the blink step, recursive; a blink is made under
/// it), the timer lock, the resources lock. The last two are never held together.
class PassiveBlinking {
 public:
  /// Starts the thread "PassiveBlinking.ioservice", which takes the name "PassiveBlinking.timeout"
  /// at its first expiry. Nothing blinks before `start`. `leds` owns this object and closes its own
  /// gate before it goes, so that no blink is made any more.
  explicit PassiveBlinking(HBLeds* leds);
  /// Joins the thread: must not run on it.
  ~PassiveBlinking();
  PassiveBlinking(const PassiveBlinking&) = delete;
  PassiveBlinking& operator=(const PassiveBlinking&) = delete;

  /// Starts, and blinks at once unless paused; `eyeShadow` (0x00RRGGBB, or -1 for none) is for that
  /// first blink only. Blinks again when running already. Blocks for as long as a blink with a
  /// shadow takes, up to a minute while the service that draws it is absent; `stop` waits behind
  /// it.
  void start(int eyeShadow);
  /// Cancels the current blink and waits for its end. A pending expiry comes and does nothing.
  void stop();
  /// No passive blink starts until `resume`; cancels the pending expiry. Pausing again does
  /// nothing.
  void pause();
  /// Ends a pause; when running, draws the next interval from now.
  void resume();
  /// Seconds, from the next interval on. Errors, changing nothing: `std::invalid_argument` for a
  /// negative minimum or one above the maximum. NaN passes both checks, intended.
  void setTimeBetweenTwoBlinks(float minimum, float maximum);

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

  /// The thread's body.
  void xRunIOService();
  void xTimeoutPassiveBlinkingTimer(const boost::system::error_code& error);
  /// One blink, unless stopped or paused.
  void xBlinkOnce(int eyeShadow);

  HBLeds* const fLeds;
  /// Flags, written by exchange.
  std::atomic<std::int32_t> fRunning{0};
  std::atomic<std::int32_t> fPaused{0};
  /// The last asynchronous blink; guarded by the blink lock.
  xo::Future<void> fCurrentBlink;
  boost::asio::io_service fIoService;
  boost::asio::io_service::work fWork;
  boost::thread fThread;
  boost::asio::deadline_timer fTimer;
  float fMinimum = 1.0F;
  float fMaximum = 7.0F;
  boost::mutex fTimerMutex;
  std::set<std::string> fConflictingResources;
  mutable boost::mutex fResourcesMutex;
  boost::recursive_mutex fBlinkMutex;
};

}  // namespace HB
