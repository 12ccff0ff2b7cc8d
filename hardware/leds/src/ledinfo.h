// The record of one device: one single-colour LED channel of the robot.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "framework/sim/model.h"

namespace HB {

/// Owned by HBLeds, one per device, for the module's whole life. Not synchronised: HBLeds guards
/// the settings and the groups with `fLedsMutex`.
struct LedInfo {
  /// A device of short LED name `shortName`, which becomes one of its groups. Errors:
  /// `std::invalid_argument` "Could not construct LedInfo with empty name.".
  LedInfo(const std::string& deviceName, const std::string& shortName,
          const std::vector<std::string>& modelGroups, Sim::LEDActuator::Color channel);

  /// The device name; never empty.
  std::string name;
  /// Factor applied to every requested intensity; 0.4..1 or NaN (see `HBLeds::_setIntensityRatio`).
  float intensityRatio;
  /// What `HBLeds::reset` restores, 0..1.
  float defaultIntensity;
  /// Every group that contains the device, and its short LED name.
  std::set<std::string> groups;
  /// The channel that the device drives.
  Sim::LEDActuator::Color color;
};

}  // namespace HB
