// The tests' way to what HBLeds, PassiveBlinking and their guard keep private: the operations under
// their own names, and the members.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "hardware/leds/src/hbleds.h"
#include "hardware/leds/src/ledsrotationasr.h"
#include "hardware/leds/src/passiveblinking.h"
#include "hardware/leds/src/scopeddisablepassiveblinking.h"

namespace HB {

class LedsAccess {
 public:
  using Floats = std::vector<float>;
  using Strings = std::vector<std::string>;

  explicit LedsAccess(HBLeds& leds) : fLeds(leds) {}

  HBLeds& leds() { return fLeds; }

#define HB_FORWARD(operation)                              \
  template <class... A>                                    \
  decltype(auto) operation(A&&... arguments) {             \
    return fLeds.operation(std::forward<A>(arguments)...); \
  }
  HB_FORWARD(xAddLed)
  HB_FORWARD(xCreateDeviceGroup)
  HB_FORWARD(xAddDeprecatedLed)
  HB_FORWARD(xDisplayDeprecation)
  HB_FORWARD(xIsDeviceName)
  HB_FORWARD(xIsLedName)
  HB_FORWARD(xIsGroupName)
  HB_FORWARD(xGetDeviceNames)
  HB_FORWARD(xSetDeviceIntensity)
  HB_FORWARD(xSetIntensity)
  HB_FORWARD(xSetGroupIntensity)
  HB_FORWARD(xSetAnyLedIntensity)
  HB_FORWARD(xGetDeviceIntensity)
  HB_FORWARD(xGetIntensity)
  HB_FORWARD(xGetGroupIntensity)
  HB_FORWARD(xSetDefaultIntensity)
  HB_FORWARD(xReset)
  HB_FORWARD(xFadeRGB)
  HB_FORWARD(xSetRGB)
  HB_FORWARD(setGroupRGB)
  HB_FORWARD(setGroupColor)
  HB_FORWARD(xSetEar)
  HB_FORWARD(xGetLedNameFromPos)
  HB_FORWARD(xBlinkOnce)
  HB_FORWARD(xExtractFloat)
  HB_FORWARD(xExtractString)
  HB_FORWARD(xExtractVectorOfFloatsFromHBValue)
  HB_FORWARD(xExtractVectorOfStringsFromHBValue)
  HB_FORWARD(xToHBValue)
  HB_FORWARD(xToString)
  HB_FORWARD(xFloatToString)
  HB_FORWARD(xDecToString)
  HB_FORWARD(xIsFraction)
#undef HB_FORWARD
  // Written out, so that lists can be given in braces.
  void xAnimateLeds(const Strings& keys, const std::vector<Floats>& times,
                    const std::vector<Floats>& values) {
    fLeds.xAnimateLeds(keys, times, values);
  }
  void xSetGroupRGB(const std::string& group, const Floats& reds, const Floats& greens,
                    const Floats& blues, const Floats& times) {
    fLeds.xSetGroupRGB(group, reds, greens, blues, times);
  }

  auto& fEarLedCount() { return fLeds.fEarLedCount; }
  auto& fLedNameToDevices() { return fLeds.fLedNameToDevices; }
  auto& fGroupToDevices() { return fLeds.fGroupToDevices; }
  auto& fDeviceInfos() { return fLeds.fDeviceInfos; }
  auto& fLedsMutex() { return fLeds.fLedsMutex; }
  auto& fDeprecatedLeds() { return fLeds.fDeprecatedLeds; }
  auto& fMemoryProxy() { return fLeds.fMemoryProxy; }
  auto& fMotion() { return fLeds.fMotion; }
  auto& fLedsCommanded() { return fLeds.fLedsCommanded; }
  auto& fPassiveBlinking() { return fLeds.fPassiveBlinking; }
  auto& fDevicePrefix() { return fLeds.fDevicePrefix; }
  LedInfo& info(const std::string& device) { return *fLeds.fDeviceInfos.at(device); }

  static const std::string& earLedPrefix() { return HBLeds::fEarLedPrefix; }
  static const std::string& signsAndFeedback() { return HBLeds::fServiceNameSignsAndFeedback; }
  static const xo::log::Category& log() { return HBLeds::fLog; }

  auto& fEyesRotationASR() { return fLeds.fEyesRotationASR; }
  auto& fEarsRotationASR() { return fLeds.fEarsRotationASR; }
  auto& fTasks() { return fLeds.fTasks; }

  static int running(const PassiveBlinking& blinking) { return blinking.fRunning; }
  static int paused(const PassiveBlinking& blinking) { return blinking.fPaused; }
  static float minimum(const PassiveBlinking& blinking) { return blinking.fMinimum; }
  static float maximum(const PassiveBlinking& blinking) { return blinking.fMaximum; }
  static auto& currentBlink(PassiveBlinking& blinking) { return blinking.fCurrentBlink; }
  static auto& ioService(PassiveBlinking& blinking) { return blinking.fIoService; }
  static auto& timer(PassiveBlinking& blinking) { return blinking.fTimer; }
  static auto& blinkMutex(PassiveBlinking& blinking) { return blinking.fBlinkMutex; }
  static void expire(PassiveBlinking& blinking, const boost::system::error_code& error) {
    blinking.xTimeoutPassiveBlinkingTimer(error);
  }
  static auto& timerMutex(PassiveBlinking& blinking) { return blinking.fTimerMutex; }
  static auto& resourcesMutex(PassiveBlinking& blinking) { return blinking.fResourcesMutex; }
  static const std::set<std::string>& conflicts(const PassiveBlinking& blinking) {
    return blinking.fConflictingResources;
  }
  static std::int32_t guardCount() {
    const boost::mutex::scoped_lock lock(ScopedDisablePassiveBlinking::passiveBlinkingMutex);
    return ScopedDisablePassiveBlinking::count;
  }
  static auto& guardMutex() { return ScopedDisablePassiveBlinking::passiveBlinkingMutex; }

  static bool running(const LedsRotationASR& rotation) { return rotation.fRunning; }
  static bool started(const LedsRotationASR& rotation) { return rotation.fStarted; }
  static bool enabled(const LedsRotationASR& rotation) { return rotation.fEnabled; }
  static auto& task(LedsRotationASR& rotation) { return rotation.fTask; }
  static auto& mutex(LedsRotationASR& rotation) { return rotation.fMutex; }
  static int step(const EyesRotationASR& rotation) { return rotation.fStep; }
  static int angle(const EarsRotationASR& rotation) { return rotation.fAngle; }

 private:
  HBLeds& fLeds;
};

}  // namespace HB
