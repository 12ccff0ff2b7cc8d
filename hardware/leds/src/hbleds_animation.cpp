// Animations of eyes, ears, feet and chest that run on the calling thread until they end or are
// asked to stop.
#include <array>
#include <cstdint>
#include <cstdlib>
#include <shared_mutex>
#include <stdexcept>
#include <string>
#include <string_view>

#include "framework/xo/os.h"
#include "hardware/leds/src/hbleds.h"
#include "hardware/leds/src/scopeddisablepassiveblinking.h"
#include "hardware/leds/src/truncated.h"

namespace HB {
namespace {

constexpr int kEyePositions = 8;
constexpr int kDegreesPerPosition = 45;
constexpr float kSecondsPerDay = 86400.0F;

constexpr int kRastaCycleMs = 200;
constexpr int kRandomCycleMs = 20;

constexpr std::array<const char*, 2> kSides{"Left", "Right"};

/// Whether 0 <= seconds <= a day; false for NaN.
bool isWithinADay(float seconds) noexcept { return seconds >= 0 && seconds <= kSecondsPerDay; }

std::string faceDevice(const char* color, const char* side, const char* angle) {
  std::array<char, 128> name;
  xo::os::snprintf(name.data(), name.size(), "Face/Led/%s/%s/%s/Actuator/Value", color, side,
                   angle);
  return name.data();
}

std::string degreesText(int degrees) {
  std::array<char, 64> text;
  xo::os::snprintf(text.data(), text.size(), "%dDeg", degrees);
  return text.data();
}

}  // namespace

std::string HBLeds::xGetLedNameFromPos(int position) const {
  const int degrees = position % 360;
  return degreesText(degrees / kDegreesPerPosition * kDegreesPerPosition);
}

void HBLeds::fadeRotationStep(int step, const Color& color, float stepDuration) {
  xSetGroupRGB("FaceLed" + xDecToString(step), {color.r, 0}, {color.g, 0}, {color.b, 0},
               {4 * stepDuration, 5 * stepDuration});
}

void HBLeds::drawRotationStep(int step, const Color& color, float stepDuration) {
  const std::shared_lock lock(fLedsMutex);
  fadeRotationStep(step, color, stepDuration);
}

void HBLeds::drawGroup(const std::string& group, const Color& color, float duration) {
  const std::shared_lock lock(fLedsMutex);
  setGroupColor(group, color, duration);
}

void HBLeds::rotateEyes(const int& rgb, const float& timeForRotation, const float& totalDuration) {
  const ScopedDisablePassiveBlinking pause(fPassiveBlinking);
  if (static_cast<unsigned>(rgb) >= kColorEnd) {
    throw std::invalid_argument(
        "HBLeds: rotateEyes: nRGB: should be in the range 0-16777215 (0-255 for red, 0-255 for "
        "green, 0-255 for blue)");
  }
  if (!isWithinADay(timeForRotation)) {
    throw std::invalid_argument(
        "HBLeds: rotateEyes: rTimeForTurn: should be positive and less than a day!");
  }
  if (!isWithinADay(totalDuration)) {
    throw std::invalid_argument(
        "HBLeds: rotateEyes: pDuration: should be positive and less than a day!");
  }
  const Color color(rgb);
  const std::shared_lock lock(fLedsMutex);
  xSetGroupIntensity("FaceLeds", 0, 0);
  const int methodId = getMethodID();
  if (!(totalDuration > 0)) return;

  const float stepDuration = timeForRotation * 0.125F;
  const int stepMs = truncated(1000 * stepDuration);
  // Summed in single precision, as the durations are given: three turns of 0.1 s make up 0.3 s,
  // where double precision would ask for a fourth.
  float elapsed = 0;
  do {
    if (isStopRequired(methodId)) return;  // seen between whole turns only
    for (int step = 0; step < kEyePositions; ++step) {
      fadeRotationStep(step, color, stepDuration);
      xo::os::msleep(stepMs);
    }
    elapsed += timeForRotation;
  } while (totalDuration > elapsed);
}

void HBLeds::rasta(const float& duration) {
  const ScopedDisablePassiveBlinking pause(fPassiveBlinking);
  const std::shared_lock lock(fLedsMutex);
  xSetGroupIntensity("AllLeds", 0, 0);
  const int methodId = getMethodID();
  // Ten per cent longer than asked: intended.
  const int total = truncated(duration * 1000 * 1.1F);
  int offset = 0;
  for (std::int64_t elapsed = 0; elapsed < total; elapsed += kRastaCycleMs) {
    if (isStopRequired(methodId)) break;
    xDrawRastaEyes(offset);
    offset = offset < 315 ? offset + kDegreesPerPosition : offset - 315;
    xDrawRastaBody((offset + 1) / 120);
    xo::os::msleep(kRastaCycleMs);
  }
  xReset("AllLeds");
}

void HBLeds::xDrawRastaEyes(int offset) {
  // In name order, as the channels are written.
  struct Channel {
    const char* color;
    bool on;
  };
  for (int position = 0; position < kEyePositions; ++position) {
    const bool red = position <= 4;
    const bool green = position >= 3;
    const std::array<Channel, 3> channels{{{"Blue", false}, {"Green", green}, {"Red", red}}};
    const std::string angle = xGetLedNameFromPos(position * kDegreesPerPosition + offset);
    for (const Channel& channel : channels) {
      for (const char* side : kSides) {
        const std::string device = faceDevice(channel.color, side, angle.c_str());
        if (xIsDeviceName(device)) xSetDeviceIntensity(device, channel.on ? 1.0F : 0.0F, 0);
      }
    }
  }
}

void HBLeds::xDrawRastaBody(int phase) {
  for (const std::string part : {"LeftFootLeds", "ChestLeds", "RightFootLeds"}) {
    const int color = phase++ % 3;  // 0 red, 1 yellow, 2 green
    const std::string red = part + "Red";
    const std::string green = part + "Green";
    const std::string blue = part + "Blue";
    if (!xIsLedName(red) || !xIsLedName(green) || !xIsLedName(blue)) continue;
    xSetIntensity(red, color != 2 ? 1.0F : 0.0F, 0);
    xSetIntensity(green, color != 0 ? 1.0F : 0.0F, 0);
    xSetIntensity(blue, 0, 0);
  }
}

void HBLeds::randomEyes(const float& duration) {
  try {
    const ScopedDisablePassiveBlinking pause(fPassiveBlinking);
    const std::shared_lock lock(fLedsMutex);
    const int methodId = getMethodID();
    const int total = truncated(duration * 1000);
    for (std::int64_t elapsed = 0; elapsed < total; elapsed += kRandomCycleMs) {
      if (isStopRequired(methodId)) return;
      for (int angle = 0; angle < 360; angle += kDegreesPerPosition) {
        for (const char* side : kSides) {
          for (const char* color : {"Red", "Green", "Blue"}) {
            const float value = static_cast<float>(std::rand() % 100) / 100.0F;
            xSetAnyLedIntensity(faceDevice(color, side, degreesText(angle).c_str()), value);
          }
        }
      }
      xo::os::msleep(kRandomCycleMs);
    }
  } catch (...) {
    fLog.error("Error in randomEyes: " + xo::textOf(xo::copyCurrentException()));
  }
}

void HBLeds::earLedsSetAngle(const int& degrees, const float& duration, const bool& leaveOnAtEnd) {
  if (static_cast<unsigned>(degrees) > 360) {
    throw std::invalid_argument("HBLeds: earLedsSetAngle: pDegrees should be in the range 0-360");
  }
  if (!(duration > 0 && duration <= kSecondsPerDay)) {
    throw std::invalid_argument(
        "HBLeds: earLedsSetAngle: pDuration: should be positive and less than a day's worth of "
        "seconds");
  }
  if (fEarLedCount == 0) return;

  const std::shared_lock lock(fLedsMutex);
  const int half = fEarLedCount / 2;
  const int stepMs = truncated(duration * 1000 / static_cast<float>(half + 2));
  // The ring's own numbering starts at the bottom; 0 degrees is up.
  const int center = static_cast<int>((degrees + 180) % 360 * fEarLedCount / 360.0);
  // Two fronts, each two LEDs long, leave the centre in both directions and meet opposite to it.
  for (int i = 0; i <= half + 2; ++i) {
    const int j = i - 2;
    if ((0 <= j && j < half) || (i == half + 2 && !leaveOnAtEnd)) xSetEar(center + i - 2, false);
    if (0 < j && j < half) xSetEar(center - i + 2, false);
    if (j <= half - 2) xSetEar(center + i, true);
    if (-1 <= j && j < half - 2) xSetEar(center - i, true);
    if (j < half) xo::os::msleep(stepMs);
  }
}

void HBLeds::xSetEar(int position, bool on) {
  int index = position % fEarLedCount;
  if (index < 0) index += fEarLedCount;
  xSetGroupIntensity(fEarLedPrefix + xDecToString(index + 1), on ? 1.0F : 0.0F, 0);
}

}  // namespace HB
