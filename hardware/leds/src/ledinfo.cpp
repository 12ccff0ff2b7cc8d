#include "hardware/leds/src/ledinfo.h"

#include <stdexcept>

namespace HB {

LedInfo::LedInfo(const std::string& deviceName, const std::string& shortName,
                 const std::vector<std::string>& modelGroups, Sim::LEDActuator::Color channel)
    : name(deviceName),
      intensityRatio(1.0F),
      defaultIntensity(1.0F),
      groups(modelGroups.begin(), modelGroups.end()),
      color(channel) {
  if (name.empty()) {
    throw std::invalid_argument("Could not construct LedInfo with empty name.");
  }
  groups.insert(shortName);
}

}  // namespace HB
