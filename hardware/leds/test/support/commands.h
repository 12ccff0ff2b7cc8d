// Every command that may disturb the eyes, for facts that hold of all of them.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "hardware/leds/src/hbleds.h"

namespace HB::test {

struct Command {
  std::string name;  // letters and digits only
  std::function<void(HBLeds&, const std::string& ledName)> run;
  bool takesDevices = true;
  /// Writes to the motion service under a shared lock; the other one sets a ratio under an
  /// exclusive lock.
  bool sends = true;
};

inline std::vector<Command> commands() {
  using Name = const std::string&;
  return {
      {"setIntensity", [](HBLeds& leds, Name name) { leds.setIntensity(name, 0.5F); }},
      {"setAnyLedIntensity", [](HBLeds& leds, Name name) { leds.setAnyLedIntensity(name, 0.5F); }},
      {"fade", [](HBLeds& leds, Name name) { leds.fade(name, 0.5F, 1.0F); }},
      {"on", [](HBLeds& leds, Name name) { leds.on(name); }},
      {"off", [](HBLeds& leds, Name name) { leds.off(name); }},
      {"reset", [](HBLeds& leds, Name name) { leds.reset(name); }},
      {"fadeRGBFloats", [](HBLeds& leds, Name name) { leds.fadeRGB(name, 1.0F, 0.0F, 0.0F, 1.0F); },
       false},
      {"fadeRGBName", [](HBLeds& leds, Name name) { leds.fadeRGB(name, std::string("red"), 1.0F); },
       false},
      {"fadeRGBInteger", [](HBLeds& leds, Name name) { leds.fadeRGB(name, 0xFF0000, 1.0F); },
       false},
      {"underscoreFadeRGB",
       [](HBLeds& leds, Name name) { leds._fadeRGB(name, 1.0F, 0.0F, 0.0F, 1.0F); }, false},
      {"fadeListRGB",
       [](HBLeds& leds, Name name) {
         leds.fadeListRGB(name, HBValue::list({0xFF0000}), HBValue::list({1}));
       },
       false},
      {"setIntensityRatio", [](HBLeds& leds, Name name) { leds._setIntensityRatio(name, 0.5F); },
       true, false},
  };
}

inline std::string nameOfCommand(const ::testing::TestParamInfo<Command>& info) {
  return info.param.name;
}

}  // namespace HB::test
