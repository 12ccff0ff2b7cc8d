#include "fuzz/inventory.h"

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <string_view>

#include "hardware/leds/test/support/leds_access.h"

namespace fuzz {
namespace {

using HB::LedsAccess;

std::string joined(std::initializer_list<std::string_view> parts) {
  std::string text;
  for (const auto part : parts) text += part;
  return text;
}

std::string tableFault(LedsAccess& in) {
  const auto& infos = in.fDeviceInfos();
  for (const auto* table : {&in.fLedNameToDevices(), &in.fGroupToDevices()}) {
    for (const auto& [name, devices] : *table) {
      if (devices.empty()) return joined({name, " has no device"});
      for (const auto& device : devices) {
        if (!infos.contains(device)) return joined({name, " has the unknown device ", device});
      }
    }
  }
  for (const auto& [group, devices] : in.fGroupToDevices()) {
    if (group.empty()) return "a group has no name";
    for (const auto& device : devices) {
      if (!infos.at(device)->groups.contains(group))
        return joined({device, " does not know ", group});
    }
  }
  return "";
}

std::string deviceFault(LedsAccess& in) {
  const auto& groups = in.fGroupToDevices();
  const auto& leds = in.fLedNameToDevices();
  for (const auto& [name, info] : in.fDeviceInfos()) {
    for (const auto& group : info->groups) {
      const auto found = groups.find(group);
      const bool isIn = found != groups.end() && found->second.contains(name);
      const auto led = leds.find(group);
      const bool isLed = led != leds.end() && led->second.contains(name);
      if (!isIn && !isLed) return joined({name, " takes itself for one of ", group});
    }
    const float ratio = info->intensityRatio;
    if (!std::isnan(ratio) && !(ratio >= 0.4F && ratio <= 1)) return name + " has a wrong ratio";
    if (!(info->defaultIntensity >= 0 && info->defaultIntensity <= 1)) return name + ": default";
  }
  return "";
}

std::string listFault(HB::HBLeds& leds) {
  const auto groups = leds.listGroups();
  if (!std::ranges::is_sorted(groups)) return "groups are not ascending";
  for (const auto& group : groups) {
    if (!std::ranges::is_sorted(leds.listGroup(group))) return group + " is not ascending";
  }
  const auto names = leds.listLEDs();
  return std::ranges::is_sorted(names) ? "" : "LEDs are not ascending";
}

}  // namespace

std::string inventoryFault(HB::HBLeds& leds) {
  LedsAccess in(leds);
  for (const auto& fault : {tableFault(in), deviceFault(in), listFault(leds)}) {
    if (!fault.empty()) return fault;
  }
  return "";
}

}  // namespace fuzz
