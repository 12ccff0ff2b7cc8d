// The two looping animations that show that the robot listens: a blue light running round the eyes,
// and a sweep of the ears. Each is owned by HBLeds and driven by a periodic task of its own.
#pragma once

#include <boost/thread/recursive_mutex.hpp>
#include <string>

#include "framework/xo/periodic_task.h"
#include "hardware/leds/src/color.h"

namespace HB {

class HBLeds;

/// Started and enabled are two independent wishes; the animation runs while both hold.
///
///     started | enabled | runs
///     no      | any     | no
///     yes     | no      | no
///     yes     | yes     | yes      (begins with a preparation, then the first tick at once)
///
/// Thread-safe. The recursive lock is held over flags, preparation (50 ms asleep) and the task's
/// start and stop. Ticks take no lock of this object and pass the module's gate, which the module
/// closes before this object goes.
class LedsRotationASR {
 public:
  LedsRotationASR(const LedsRotationASR&) = delete;
  LedsRotationASR& operator=(const LedsRotationASR&) = delete;

  /// The client's wishes. Errors: what the preparation throws; the wish is recorded then and the
  /// animation does not run. `stop` and `setEnabled(false)` return when no tick runs.
  void start();
  void stop();
  void setEnabled(const bool& enabled);

 protected:
  /// `period` in microseconds.
  LedsRotationASR(HBLeds* leds, int period, std::string taskName);
  // Not virtual: each object is destroyed as what it is.
  ~LedsRotationASR() = default;

  HBLeds& leds() const { return *fLeds; }

 private:
  friend class LedsAccess;

  /// Prepares the LEDs each time the animation starts; under the lock, on the caller's thread.
  virtual void xInitBeforeStart() = 0;
  /// One step; on the task's thread.
  virtual void xCallbackPeriodicTask() = 0;

  void xStartStopAPI(bool wanted);
  /// Makes the animation run or not, if both wishes allow; the lock is held.
  void xTryStartStopActual(bool wanted);

  HBLeds* const fLeds;
  xo::PeriodicTask fTask;
  boost::recursive_mutex fMutex;
  bool fRunning = false;
  bool fStarted = false;
  bool fEnabled = true;
};

/// One eighth of a turn per tick; goes on from where it stopped.
class EyesRotationASR final : public LedsRotationASR {
 public:
  explicit EyesRotationASR(HBLeds* leds);

 private:
  friend class LedsAccess;
  void xInitBeforeStart() override;
  void xCallbackPeriodicTask() override;

  const float fSecondsPerTurn = 0.8F;
  const Color fColor{0.0F, 1.0F / 3.0F, 1.0F};
  int fStep = 0;  // 0..7; ticks only
};

/// One sweep per tick, back and forwards in turn.
class EarsRotationASR final : public LedsRotationASR {
 public:
  explicit EarsRotationASR(HBLeds* leds);

 private:
  friend class LedsAccess;
  void xInitBeforeStart() override;
  void xCallbackPeriodicTask() override;

  int fAngle = 90;  // degrees; ticks only
};

}  // namespace HB
