// Devices, short LED names and groups: what a name stands for, and groups made at run time.

#include <mutex>
#include <stdexcept>
#include <utility>

#include "hardware/leds/src/hbleds.h"
#include "hardware/leds/src/lookup.h"
#include "hardware/leds/src/passiveblinking.h"

namespace HB {

namespace {

std::vector<std::string> keysOf(const std::map<std::string, std::set<std::string>>& table) {
  std::vector<std::string> keys;
  keys.reserve(table.size());
  for (const auto& entry : table) keys.push_back(entry.first);
  return keys;
}

}  // namespace

void HBLeds::createGroup(const std::string& groupName, const std::vector<std::string>& ledNames) {
  if (groupName.empty()) {
    throw std::invalid_argument("HBLeds: createGroup: Cannot create an empty group name");
  }
  if (ledNames.empty()) {
    throw std::invalid_argument("HBLeds: createGroup: Cannot create an empty group");
  }
  const std::unique_lock lock(fLedsMutex);
  for (const auto& name : ledNames) {
    if (!xIsDeviceName(name) && !xIsLedName(name) && !xIsGroupName(name)) {
      throw std::invalid_argument("HBLeds: createGroup: Could not parse one of the led names '" +
                                  name + "' as a device name or a short name or a group.");
    }
  }
  DeviceSet devices;
  for (const auto& name : ledNames) {
    xDisplayDeprecation(name);
    if (xIsLedName(name) || xIsGroupName(name)) {
      devices.merge(xGetDeviceNames(name));
    } else {
      devices.insert(name);
    }
  }
  xCreateDeviceGroup(groupName, std::move(devices));
}

std::vector<std::string> HBLeds::listLEDs() const { return keysOf(fLedNameToDevices); }

std::vector<std::string> HBLeds::listLED(const std::string& name) const {
  xDisplayDeprecation(name);
  const auto led = fLedNameToDevices.find(name);
  if (led == fLedNameToDevices.end()) {
    throw std::invalid_argument("HBLeds: listLED: Could not parse ledName as a LED name");
  }
  return {led->second.begin(), led->second.end()};
}

std::vector<std::string> HBLeds::listGroup(const std::string& name) const {
  const std::shared_lock lock(fLedsMutex);
  xDisplayDeprecation(name);
  const auto group = fGroupToDevices.find(name);
  if (group == fGroupToDevices.end()) {
    throw std::invalid_argument("HBLeds: listGroup: Could not parse pName as a group name");
  }
  return {group->second.begin(), group->second.end()};
}

std::vector<std::string> HBLeds::listGroups() const {
  const std::shared_lock lock(fLedsMutex);
  return keysOf(fGroupToDevices);
}

void HBLeds::xAddLed(const std::string& device, const std::string& shortName,
                     const std::vector<std::string>& groups, Sim::LEDActuator::Color color) {
  fLedNameToDevices[shortName].insert(device);
  // A device that the model lists again keeps the record of its first listing.
  if (xIsDeviceName(device)) return;
  fDeviceInfos.emplace(device, std::make_unique<LedInfo>(device, shortName, groups, color));
}

void HBLeds::xCreateDeviceGroup(const std::string& groupName, DeviceSet devices) {
  const auto existing = fGroupToDevices.find(groupName);
  if (existing != fGroupToDevices.end()) {
    fLog.warning("Overwritting existing LED group " + groupName);  // the known spelling
    for (const auto& device : existing->second) {
      atKey(fDeviceInfos, device)->groups.erase(groupName);
    }
  }
  const DeviceSet& members = fGroupToDevices[groupName] = std::move(devices);
  bool conflicts = false;
  for (const auto& device : members) {
    atKey(fDeviceInfos, device)->groups.insert(groupName);
    if (fPassiveBlinking->isConflictingResource(device)) conflicts = true;
  }
  if (conflicts) {
    fPassiveBlinking->addConflictingResource(groupName);
  } else {
    fPassiveBlinking->removeConflictingResource(groupName);
  }
}

void HBLeds::xAddDeprecatedLed(const std::string& name) { fDeprecatedLeds.insert(name); }

void HBLeds::xDisplayDeprecation(const std::string& name) const {
  if (fDeprecatedLeds.count(name) == 0) return;
  fLog.warning("The use of this LED (" + name +
               ") is deprecated since 1.14. You will not be able to set its intensity or its "
               "color anymore in further versions.");
}

bool HBLeds::xIsDeviceName(const std::string& name) const { return fDeviceInfos.count(name) != 0; }

bool HBLeds::xIsLedName(const std::string& name) const {
  return fLedNameToDevices.count(name) != 0;
}

bool HBLeds::xIsGroupName(const std::string& name) const {
  return fGroupToDevices.count(name) != 0;
}

HBLeds::DeviceSet HBLeds::xGetDeviceNames(const std::string& name) const {
  if (xIsDeviceName(name)) return {name};
  if (const auto led = fLedNameToDevices.find(name); led != fLedNameToDevices.end()) {
    return led->second;
  }
  if (const auto group = fGroupToDevices.find(name); group != fGroupToDevices.end()) {
    return group->second;
  }
  throw std::invalid_argument("Could not parse '" + name +
                              " 'as a LED Device, RGB-LED or Group");  // spaced as it always was
}

}  // namespace HB
