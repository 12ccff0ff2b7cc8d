// What must always hold of the LED service's tables.
#pragma once

#include <string>

#include "hardware/leds/src/hbleds.h"

namespace fuzz {

/// "" when all of it holds: every LED and group names known devices and none is empty, a device is
/// in a group exactly when it says so, settings are in their ranges, lists are ascending. While no
/// command runs.
std::string inventoryFault(HB::HBLeds& leds);

}  // namespace fuzz
