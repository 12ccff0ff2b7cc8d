// One call of each method of the LED service.
#pragma once

#include <vector>

#include "framework/value/hb_value.h"

namespace tavro {

/// A method and arguments that are good for it.
struct Command {
  const char* method;
  HB::HBValue::List args;
};

/// All of the service's table, in its order. Animations are short.
inline std::vector<Command> everyCommand() {
  using HB::HBValue;
  return {{"createGroup", {"Mine", HBValue::list({"EarLeds", "FaceLed0"})}},
          {"earLedsSetAngle", {90, 0.05F, true}},
          {"fade", {"EarLeds", 0.5F, 0.02F}},
          {"fadeListRGB", {"FaceLeds", HBValue::list({255, 65280}), HBValue::list({0.01F, 0.02F})}},
          {"fadeRGB", {"FaceLeds", 1.0F, 0.5F, 0.0F, 0.02F}},
          {"fadeRGB", {"FaceLedRight0", "red", 0.02F}},
          {"fadeRGB", {"ChestLeds", 0x00ff00, 0.02F}},
          {"_fadeRGB", {"FaceLeds", 1.0F, 0.5F, 0.0F, 0.02F}},
          {"reset", {"AllLeds"}},
          {"_setIntensityRatio", {"BrainLeds", 0.7F}},
          {"getIntensity", {"FaceLedRight0"}},
          {"listLEDs", {}},
          {"listLED", {"FaceLedRight0"}},
          {"listGroup", {"FaceLeds"}},
          {"listGroups", {}},
          {"off", {"FaceLeds"}},
          {"on", {"FaceLed3"}},
          {"rasta", {0.05F}},
          {"rotateEyes", {0xff00ff, 0.01F, 0.02F}},
          {"randomEyes", {0.04F}},
          {"setIntensity", {"BrainLeds", 0.5F}},
          {"_blink", {}},
          {"_blink", {255}},
          {"_setAnyLedIntensity", {"FaceLeds", 0.5F}},
          {"_startPassiveBlinking", {}},
          {"_startPassiveBlinking", {255}},
          {"_stopPassiveBlinking", {}},
          {"_blinkWithShadow", {}},
          {"_setTimeBetweenTwoBlinks", {1.0F, 7.0F}},
          {"_startEyesRotationASR", {}},
          {"_stopEyesRotationASR", {}},
          {"_setEnabledEyesRotationASR", {true}},
          {"_startEarsRotationASR", {}},
          {"_stopEarsRotationASR", {}},
          {"_setEnabledEarsRotationASR", {true}}};
}

}  // namespace tavro
