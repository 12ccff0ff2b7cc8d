// The only road to the hardware and the only road back, and the settings that scale it.

#include <algorithm>
#include <exception>
#include <mutex>
#include <stdexcept>
#include <utility>

#include "framework/xo/event_loop.h"
#include "hardware/leds/src/hbleds.h"
#include "hardware/leds/src/lookup.h"
#include "hardware/leds/src/scopeddisablepassiveblinking.h"

namespace HB {

xo::Future<void> blockFor(float seconds) {
  return xo::getEventLoop().delay(xo::secondsToDuration(seconds));
}

std::string HBLeds::xKeyOf(const std::string& device) const {
  std::string key;
  key.reserve(fDevicePrefix.size() + device.size());
  return key.append(fDevicePrefix).append(device);
}

void HBLeds::xAnimateLeds(const std::vector<std::string>& names,
                          const std::vector<std::vector<float>>& times,
                          const std::vector<std::vector<float>>& values) {
  if (!names.empty()) fLedsCommanded.exchange(true);
  fMotion.call("_animateLEDs", names, times, values);
}

void HBLeds::xSetDeviceIntensity(const std::string& device, float intensity, float duration) {
  if (!xHasMotion()) return;
  try {
    const float value = atKey(fDeviceInfos, device)->intensityRatio * intensity;
    xAnimateLeds({xKeyOf(device)}, {{duration}}, {{value}});
  } catch (const std::exception&) {
    // One device that cannot be driven is not the client's affair.
  }
}

void HBLeds::xSetIntensity(const std::string& ledName, float intensity, float duration) {
  for (const auto& device : atKey(fLedNameToDevices, ledName)) {
    xSetDeviceIntensity(device, intensity, duration);
  }
}

void HBLeds::xSetGroupIntensity(const std::string& group, float intensity, float duration) {
  const auto found = fGroupToDevices.find(group);
  if (found == fGroupToDevices.end() || !xHasMotion()) return;
  const DeviceSet& devices = found->second;
  std::vector<std::string> names;
  std::vector<std::vector<float>> values;
  names.reserve(devices.size());
  values.reserve(devices.size());
  AscendingLookup infos(fDeviceInfos);
  for (const auto& device : devices) {
    names.push_back(xKeyOf(device));
    values.push_back({infos.at(device)->intensityRatio * intensity});
  }
  const std::vector<std::vector<float>> times(devices.size(), {duration});
  try {
    xAnimateLeds(names, times, values);
  } catch (const std::exception& error) {
    fLog.error(std::string("Exception in xSetGroupIntensity: ") + error.what());
  }
}

void HBLeds::xSetAnyLedIntensity(const std::string& name, float intensity) {
  if (xIsDeviceName(name)) {
    xSetDeviceIntensity(name, intensity, 0.0F);
  } else if (xIsLedName(name)) {
    xSetIntensity(name, intensity, 0.0F);
  } else if (xIsGroupName(name)) {
    xSetGroupIntensity(name, intensity, 0.0F);
  } else {
    throw std::invalid_argument("HBLeds: setIntensity: Could not parse '" + name +
                                " 'as a LED Device, RGB-LED or Group");
  }
}

float HBLeds::xGetDeviceIntensity(const std::string& device) const {
  const float stored = fMemoryProxy->getData(xKeyOf(device)).toFloat();
  // In this order of arguments a quotient that is not a number gives 1.
  return std::min(1.0F, stored / atKey(fDeviceInfos, device)->intensityRatio);
}

HBValue HBLeds::xGetIntensity(const std::string& ledName) const {
  const DeviceSet& devices = atKey(fLedNameToDevices, ledName);
  HBValue::List intensities;
  intensities.reserve(devices.size());
  for (const auto& device : devices) intensities.emplace_back(xGetDeviceIntensity(device));
  return intensities;
}

HBValue HBLeds::xGetGroupIntensity(const std::string& group) const {
  if (!xIsGroupName(group)) return {};
  throw std::runtime_error(
      "HBLeds: xGetGroupIntensity: function not implemented in this version...");
}

void HBLeds::_setIntensityRatio(const std::string& name, const float& ratio) {
  const ScopedDisablePassiveBlinking guard(fPassiveBlinking, name);
  // Written so that a ratio that is not a number passes: that is what callers have always seen.
  if (0.4F > ratio || ratio > 1.0F) {
    throw std::invalid_argument("Intensity ratio should be between 0.4 and 1.");
  }
  const std::unique_lock lock(fLedsMutex);
  for (const auto& device : xGetDeviceNames(name)) {
    atKey(fDeviceInfos, device)->intensityRatio = ratio;
  }
}

void HBLeds::xSetDefaultIntensity(const std::string& name, float value) {
  if (!xIsFraction(value)) {
    throw std::invalid_argument("Default intensity should be between 0 and 1.");
  }
  for (const auto& device : xGetDeviceNames(name)) {
    atKey(fDeviceInfos, device)->defaultIntensity = value;
  }
}

void HBLeds::xReset(const std::string& name) {
  for (const auto& device : xGetDeviceNames(name)) {
    try {
      xSetDeviceIntensity(device, atKey(fDeviceInfos, device)->defaultIntensity, 0.0F);
    } catch (const std::exception&) {
      // The next device is still reset.
    }
  }
}

}  // namespace HB
