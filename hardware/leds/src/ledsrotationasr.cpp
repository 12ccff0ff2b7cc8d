#include "hardware/leds/src/ledsrotationasr.h"

#include <utility>

#include "framework/xo/os.h"
#include "hardware/leds/src/hbleds.h"

namespace HB {
namespace {

constexpr int kEyesPeriodUs = 100000;
// Shorter than any sweep, which sleeps by itself: it only bounds the gap between two. Intended.
constexpr int kEarsPeriodUs = 400;
constexpr float kPreparationSeconds = 0.05F;
constexpr int kPreparationMs = 50;

}  // namespace

LedsRotationASR::LedsRotationASR(HBLeds* leds, int period, std::string taskName) : fLeds(leds) {
  fTask.setName(std::move(taskName));
  fTask.setUsPeriod(period);
  fTask.setCallback([this] {
    if (const auto token = fLeds->enter()) xCallbackPeriodicTask();
  });
}

void LedsRotationASR::start() { xStartStopAPI(true); }

void LedsRotationASR::xStartStopAPI(bool wanted) {
  const boost::recursive_mutex::scoped_lock lock(fMutex);
  fStarted = wanted;
  xTryStartStopActual(wanted);
}

void LedsRotationASR::stop() { xStartStopAPI(false); }

void LedsRotationASR::setEnabled(const bool& enabled) {
  const boost::recursive_mutex::scoped_lock lock(fMutex);
  fEnabled = enabled;
  xTryStartStopActual(enabled);
}

void LedsRotationASR::xTryStartStopActual(bool wanted) {
  const boost::recursive_mutex::scoped_lock lock(fMutex);
  if (fRunning == wanted) return;
  if (wanted) {
    if (!fStarted || !fEnabled) return;
    xInitBeforeStart();
    fTask.start(true);
  } else {
    fTask.stop();
  }
  fRunning = wanted;
}

EyesRotationASR::EyesRotationASR(HBLeds* leds)
    : LedsRotationASR(leds, kEyesPeriodUs, "EyesRotationASR") {}

void EyesRotationASR::xInitBeforeStart() {
  leds().drawGroup("FaceLeds", fColor, kPreparationSeconds);
  xo::os::msleep(kPreparationMs);
  leds().drawGroup("FaceLeds", Color(0, 0, 0), 0);
}

void EyesRotationASR::xCallbackPeriodicTask() {
  leds().drawRotationStep(fStep, fColor, fSecondsPerTurn * 0.125F);
  fStep = (fStep + 1) % 8;
}

EarsRotationASR::EarsRotationASR(HBLeds* leds)
    : LedsRotationASR(leds, kEarsPeriodUs, "EarsRotationASR") {}

void EarsRotationASR::xInitBeforeStart() {
  leds().fade("EarLeds", 1.0F, kPreparationSeconds);  // nobody waits for its end
  xo::os::msleep(kPreparationMs);
}

void EarsRotationASR::xCallbackPeriodicTask() {
  fAngle = (fAngle + 180) % 360;
  leds().earLedsSetAngle(fAngle, 0.4F, true);
}

}  // namespace HB
