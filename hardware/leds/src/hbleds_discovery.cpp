// What the robot's model decides: the inventory, and a few settings fixed here per robot.

#include <exception>
#include <stdexcept>
#include <utility>

#include "framework/sim/model.h"
#include "framework/sim/model_utils.h"
#include "framework/xo/version.h"
#include "hardware/leds/src/hbleds.h"
#include "hardware/leds/src/lookup.h"
#include "hardware/leds/src/passiveblinking.h"

namespace HB {

namespace {

struct GroupDefault {
  const char* group;
  float intensity;
};
/// What `reset` restores, in ascending order of the groups; every other device has 1.
constexpr GroupDefault kDefaultIntensities[] = {
    {"BrainLeds", 0.4F}, {"ChestLeds", 0.0F}, {"EarLeds", 0.0F},
    {"FaceLeds", 1.0F},  {"FeetLeds", 1.0F},
};

}  // namespace

void HBLeds::xDiscoverLeds(const std::string& xml) {
  const Sim::Model model(xml);
  const auto actuators = model.ledActuators("");
  if (actuators.empty()) {
    throw std::runtime_error("HBLeds could not be started: No LED defined for this robot model: " +
                             model.prettyName(2));
  }
  DeviceTable groups;
  for (const Sim::LEDActuator* actuator : actuators) {
    const std::string device = actuator->name() + "/Actuator/Value";
    xAddLed(device, actuator->shortname(), actuator->groups(), actuator->color());
    for (const auto& group : actuator->groups()) groups[group].insert(device);
  }
  for (auto& [group, devices] : groups) xCreateDeviceGroup(group, std::move(devices));
}

void HBLeds::xApplyHeadIntensityRatios(const std::string& xml) {
  // One block: what fails also skips the rest of it. A Lirae without ears keeps its face undimmed.
  try {
    const auto config = Model::ModelUtils::configMapFromXml(xml);
    const std::string& type = atKey(config, "RobotConfig/Head/Type");
    const std::string& version = atKey(config, "RobotConfig/Head/Version");
    if (type == "Vanto" && xo::version::compare(version, "4.1.0") >= 0) {
      _setIntensityRatio("EarLeds", 0.5F);
    } else if (type == "Lirae" && xo::version::compare(version, "0.6.0") >= 0) {
      _setIntensityRatio("EarLeds", 0.7F);
      _setIntensityRatio("FaceLeds", 0.7F);
    }
  } catch (const std::exception&) {
    // A model without these keys is an ordinary one.
  }
}

void HBLeds::xApplyDefaultIntensities() {
  for (const auto& entry : kDefaultIntensities) {
    try {
      xSetDefaultIntensity(entry.group, entry.intensity);
    } catch (const std::exception&) {
      // A robot may lack the group; the others still get theirs.
    }
  }
}

void HBLeds::xMarkDeprecatedLeds() {
  for (const std::string color : {"Red", "Green", "Blue"}) {
    xAddDeprecatedLed("ChestLeds" + color);
    xAddDeprecatedLed("ChestBoard/Led/" + color + "/Actuator/Value");
  }
  xAddDeprecatedLed("ChestLeds");
}

void HBLeds::xRegisterFaceConflicts() {
  try {
    for (const auto& device : xGetDeviceNames("FaceLeds")) {
      fPassiveBlinking->addConflictingResource(device);
      fPassiveBlinking->addConflictingResource(atKey(fDeviceInfos, device)->groups);
    }
  } catch (const std::exception&) {
    // A robot without a face has nothing that blinks.
  }
}

}  // namespace HB
