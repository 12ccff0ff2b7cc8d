// The commands that fade LEDs and groups to colours, and the group colour writes behind them.
//
// Two rules tell a device's channel, and they differ on purpose: for a short LED name its LedInfo,
// for a group its name, so that a single-colour device in a group takes the blue value.

#include <exception>
#include <stdexcept>
#include <utility>

#include "hardware/leds/src/hbleds.h"
#include "hardware/leds/src/lookup.h"
#include "hardware/leds/src/scopeddisablepassiveblinking.h"

namespace HB {

namespace {

struct NamedColor {
  const char* word;
  const char* letter;
  Color color;
};
constexpr NamedColor kNamedColors[] = {
    {"red", "r", {1, 0, 0}},    {"green", "g", {0, 1, 0}},   {"blue", "b", {0, 0, 1}},
    {"yellow", "y", {1, 1, 0}}, {"magenta", "m", {1, 0, 1}}, {"cyan", "c", {0, 1, 1}},
    {"white", "w", {1, 1, 1}},
};

/// Errors: `std::invalid_argument`. Case counts.
const Color& colorOfName(const std::string& name) {
  for (const auto& known : kNamedColors) {
    if (name == known.word || name == known.letter) return known.color;
  }
  throw std::invalid_argument("Color given as parameter " + name +
                              " is not supported. Supported colors are: white, red, green, blue, "
                              "yellow, magenta, cyan");
}

/// The list for a device of a group.
const std::vector<float>& channelOfName(const std::string& device, const std::vector<float>& reds,
                                        const std::vector<float>& greens,
                                        const std::vector<float>& blues) {
  if (device.find("Red") != std::string::npos) return reds;
  if (device.find("Green") != std::string::npos) return greens;
  return blues;
}

}  // namespace

xo::Future<void> HBLeds::fadeRGB(const std::string& name, const float& red, const float& green,
                                 const float& blue, const float& duration) {
  const ScopedDisablePassiveBlinking guard(fPassiveBlinking, name);
  const std::shared_lock lock(fLedsMutex);
  xFadeRGB(name, red, green, blue, duration);
  xDisplayDeprecation(name);  // after the command, unlike the intensity commands
  return blockFor(duration);
}

xo::Future<void> HBLeds::fadeRGB(const std::string& name, const std::string& colorName,
                                 const float& duration) {
  const Color& color = colorOfName(colorName);
  return fadeRGB(name, color.r, color.g, color.b, duration);
}

xo::Future<void> HBLeds::fadeRGB(const std::string& name, const int& rgb, const float& duration) {
  const Color color(rgb);
  return fadeRGB(name, color.r, color.g, color.b, duration);
}

xo::Future<void> HBLeds::_fadeRGB(const std::string& name, const float& red, const float& green,
                                  const float& blue, const float& duration) {
  const ScopedDisablePassiveBlinking guard(fPassiveBlinking, name);
  const std::shared_lock lock(fLedsMutex);
  xFadeRGB(name, red, green, blue, duration);
  return blockFor(duration);
}

xo::Future<void> HBLeds::fadeListRGB(const std::string& name, const HBValue& rgbList,
                                     const HBValue& timeList) {
  const ScopedDisablePassiveBlinking guard(fPassiveBlinking, name);
  const int steps = rgbList.getSize();
  if (steps != timeList.getSize()) {
    throw std::invalid_argument("HBLeds: fadeListRGB: The two lists are not the same length (" +
                                xDecToString(steps) + " != " + xDecToString(timeList.getSize()) +
                                ")");
  }
  const std::shared_lock lock(fLedsMutex);
  if (xIsDeviceName(name)) {
    throw std::invalid_argument("HBLeds: fadeListRGB: The name '" + name +
                                " ' shouldn't be a single device, it must be an RGB-LED or Group");
  }
  const bool isLed = xIsLedName(name);
  if (!isLed && !xIsGroupName(name)) {
    throw std::invalid_argument("HBLeds: fadeListRGB: Could not parse '" + name +
                                " 'as a LED Device, RGB-LED or Group");
  }
  xDisplayDeprecation(name);
  float total = 0.0F;  // the end of the current step, seconds from now
  for (int i = 0; i < steps; ++i) {
    // Converted one by one: a bad element leaves the steps before it sent.
    const Color color(rgbList[i].toInt());
    total += timeList[i].toFloat();
    if (isLed) {
      xSetRGB(name, color.r, color.g, color.b, total);
    } else {
      setGroupColor(name, color, total);
    }
  }
  return blockFor(total);
}

void HBLeds::xFadeRGB(const std::string& name, float red, float green, float blue, float duration) {
  // The quotes differ from those of the other commands on purpose.
  if (xIsDeviceName(name)) {
    throw std::invalid_argument("HBLeds: fadeRGB: The name '" + name +
                                "' can't be a single device, it must be an RGB-LED or Group");
  }
  if (xIsLedName(name)) {
    xSetRGB(name, red, green, blue, duration);
  } else if (xIsGroupName(name)) {
    setGroupRGB(name, red, green, blue, duration);
  } else {
    throw std::invalid_argument("HBLeds: fadeRGB: Could not parse '" + name +
                                "' as a LED Device, RGB-LED or Group");
  }
}

void HBLeds::xSetRGB(const std::string& ledName, float red, float green, float blue,
                     float duration) {
  for (const auto& device : atKey(fLedNameToDevices, ledName)) {
    switch (atKey(fDeviceInfos, device)->color) {
      case Sim::LEDActuator::Red:
        xSetDeviceIntensity(device, red, duration);
        break;
      case Sim::LEDActuator::Green:
        xSetDeviceIntensity(device, green, duration);
        break;
      case Sim::LEDActuator::Blue:
        xSetDeviceIntensity(device, blue, duration);
        break;
      default:
        break;  // no channel of an RGB LED
    }
  }
}

void HBLeds::setGroupRGB(const std::string& group, float red, float green, float blue,
                         float duration) {
  xSetGroupRGB(group, {red}, {green}, {blue}, {duration});
}

void HBLeds::setGroupColor(const std::string& group, const Color& color, float duration) {
  setGroupRGB(group, color.r, color.g, color.b, duration);
}

void HBLeds::xSetGroupRGB(const std::string& group, const std::vector<float>& reds,
                          const std::vector<float>& greens, const std::vector<float>& blues,
                          const std::vector<float>& times) {
  const auto found = fGroupToDevices.find(group);
  if (found == fGroupToDevices.end() || !xHasMotion()) return;
  // Only now: without a group or a motion service wrong lengths pass unnoticed.
  if (reds.size() != times.size() || greens.size() != times.size() ||
      blues.size() != times.size()) {
    throw std::runtime_error("Inconsistent vector sizes");
  }
  const DeviceSet& devices = found->second;
  std::vector<std::string> names;
  std::vector<std::vector<float>> values;
  names.reserve(devices.size());
  values.reserve(devices.size());
  AscendingLookup infos(fDeviceInfos);
  for (const auto& device : devices) {
    names.push_back(xKeyOf(device));
    auto& scaled = values.emplace_back(channelOfName(device, reds, greens, blues));
    const float ratio = infos.at(device)->intensityRatio;
    for (float& value : scaled) value *= ratio;
  }
  try {
    xAnimateLeds(names, std::vector<std::vector<float>>(devices.size(), times), values);
  } catch (const std::exception& error) {
    fLog.error(std::string("Exception in xSetGroupRGB: ") + error.what());
  }
}

}  // namespace HB
