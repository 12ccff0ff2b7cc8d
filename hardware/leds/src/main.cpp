// The library's entry point.

#include <iostream>
#include <memory>
#include <utility>

#include "framework/hb/module_factory.h"
#include "hardware/leds/src/hbleds.h"

/// Makes the LED service for the robot of `broker`. Returns 0, also when the framework refused it:
/// the loader tells success by the service that then stands. Every other exception passes through.
HB_MODULE_ENTRY_POINT _createModule(std::shared_ptr<HB::HBBroker> broker) {
  try {
    HB::createModule<HB::HBLeds>(std::move(broker));
  } catch (const HB::HBError& error) {
    std::cout << "leds : error while trying to create module HBLeds: " << error.what() << std::endl;
  }
  return 0;
}
