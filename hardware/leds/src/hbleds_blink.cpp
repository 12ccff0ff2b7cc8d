// Blinks of the eyes and the published control of passive blinking.
#include <shared_mutex>
#include <stdexcept>
#include <string>

#include "hardware/leds/src/blink.h"
#include "hardware/leds/src/hbleds.h"
#include "hardware/leds/src/passiveblinking.h"
#include "hardware/leds/src/scopeddisablepassiveblinking.h"

namespace HB {
namespace {

constexpr int kNoShadow = -1;
constexpr int kWhite = 0xFFFFFF;
constexpr int kBlack = 0x000000;
constexpr int kPink = 0xFF007F;
constexpr float kStepSeconds = 0.05F;

constexpr const char* kShadowRange =
    "The color of eyeshadow should be in the range 0-16777215 (0xRRGGBB)";

}  // namespace

xo::Future<void> HBLeds::xBlinkOnce(int eyeShadow) {
  if (eyeShadow == kNoShadow) {
    eyeShadow = kWhite;
  } else if (static_cast<unsigned>(eyeShadow) >= kColorEnd) {
    throw std::invalid_argument(kShadowRange);
  }
  return startBlink(*fTasks, {kWhite, kBlack, eyeShadow, kStepSeconds},
                    [this](int position, int rgb, float seconds) {
                      drawGroup("FaceLed" + xDecToString(position), Color(rgb), seconds);
                    });
}

xo::Future<void> HBLeds::cancellableBlink() {
  constexpr const char* kText = "An error occured during blink";
  try {
    // Both end as soon as the chain is launched, not when the blink ends.
    const ScopedDisablePassiveBlinking pause(fPassiveBlinking);
    const std::shared_lock lock(fLedsMutex);
    return xBlinkOnce(kNoShadow);
  } catch (const std::exception& error) {
    fLog.error(std::string(kText) + ": " + error.what());
  } catch (...) {
  }
  return xo::makeFailedFuture<void>(kText);
}

void HBLeds::blink() {
  cancellableBlink().wait();  // how it ended is nobody's business here
}

void HBLeds::blink(const int& /*eyeShadow*/) {
  // The colour is not handed on: the service draws the blink in its own.
  const ScopedDisablePassiveBlinking pause(fPassiveBlinking);
  const std::shared_lock lock(fLedsMutex);
  try {
    fSession->service(fServiceNameSignsAndFeedback, "", 60000)
        .value()
        .call("triggerBit", "BlinkWithShadow");
  } catch (const std::exception& error) {
    fLog.error(std::string("An error occured during blink: ") + error.what());
  }
}

void HBLeds::blinkWithShadow() { xBlinkOnce(kPink); }

void HBLeds::startPassiveBlinking() { fPassiveBlinking->start(kNoShadow); }

void HBLeds::startPassiveBlinking(const int& eyeShadow) {
  if (static_cast<unsigned>(eyeShadow) >= kColorEnd) throw std::invalid_argument(kShadowRange);
  fPassiveBlinking->start(eyeShadow);
}

void HBLeds::stopPassiveBlinking() { fPassiveBlinking->stop(); }

void HBLeds::setTimeBetweenTwoBlinks(const float& min, const float& max) {
  fPassiveBlinking->setTimeBetweenTwoBlinks(min, max);
}

}  // namespace HB
