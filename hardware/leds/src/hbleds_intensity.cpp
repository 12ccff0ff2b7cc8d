// The commands that set, fade, switch, reset and read one intensity.

#include <stdexcept>

#include "hardware/leds/src/hbleds.h"
#include "hardware/leds/src/scopeddisablepassiveblinking.h"

namespace HB {

// The blank before the quote and the missing one after it belong to each "Could not parse" text.

void HBLeds::setAnyLedIntensity(const std::string& name, const float& intensity) {
  const ScopedDisablePassiveBlinking guard(fPassiveBlinking, name);
  if (!xIsFraction(intensity)) {
    throw std::invalid_argument(
        "HBLeds: setIntensity: Could not parse pIntensity as a fraction: intensity = " +
        xFloatToString(intensity));
  }
  const std::shared_lock lock(fLedsMutex);
  xSetAnyLedIntensity(name, intensity);
}

void HBLeds::setIntensity(const std::string& name, const float& intensity) {
  // The guard of the call below nests in this one, so the warning comes within one pause.
  const ScopedDisablePassiveBlinking guard(fPassiveBlinking, name);
  xDisplayDeprecation(name);
  setAnyLedIntensity(name, intensity);
}

xo::Future<void> HBLeds::fade(const std::string& name, const float& intensity,
                              const float& duration) {
  const ScopedDisablePassiveBlinking guard(fPassiveBlinking, name);
  if (!xIsFraction(intensity)) {
    throw std::invalid_argument(
        "HBLeds: fade: Could not parse pIntensity as a fraction: intensity = " +
        xFloatToString(intensity));
  }
  const std::shared_lock lock(fLedsMutex);
  xDisplayDeprecation(name);
  if (xIsDeviceName(name)) {
    xSetDeviceIntensity(name, intensity, duration);
  } else if (xIsLedName(name)) {
    xSetIntensity(name, intensity, duration);
  } else if (xIsGroupName(name)) {
    xSetGroupIntensity(name, intensity, duration);
  } else {
    throw std::invalid_argument("HBLeds: fade: Could not parse '" + name +
                                " 'as a LED Device, RGB-LED or Group");
  }
  return blockFor(duration);
}

void HBLeds::on(const std::string& name) {
  const ScopedDisablePassiveBlinking guard(fPassiveBlinking, name);
  const std::shared_lock lock(fLedsMutex);
  xDisplayDeprecation(name);
  xSetAnyLedIntensity(name, 1.0F);
}

void HBLeds::off(const std::string& name) {
  const ScopedDisablePassiveBlinking guard(fPassiveBlinking, name);
  const std::shared_lock lock(fLedsMutex);
  xDisplayDeprecation(name);
  xSetAnyLedIntensity(name, 0.0F);
}

void HBLeds::reset(const std::string& name) {
  const ScopedDisablePassiveBlinking guard(fPassiveBlinking, name);
  const std::shared_lock lock(fLedsMutex);
  xReset(name);
}

HBValue HBLeds::getIntensity(const std::string& name) const {
  const std::shared_lock lock(fLedsMutex);
  xDisplayDeprecation(name);
  if (xIsDeviceName(name)) return xGetDeviceIntensity(name);
  if (xIsLedName(name)) return xGetIntensity(name);
  if (xIsGroupName(name)) return xGetGroupIntensity(name);
  throw std::invalid_argument("HBLeds: getIntensity: Could not parse '" + name +
                              " 'as a LED Device, RGB-LED or Group");
}

}  // namespace HB
