#include "services/robotmodel/src/hbrobotmodel.h"

#include <set>
#include <string_view>
#include <utility>
#include <vector>

#include "framework/xo/log.h"

namespace HB {
namespace {

constexpr const char* kName = "HBRobotModel";
const xo::log::Category kLog("HBRobotModel");

std::string memoryKey(const Sim::LEDActuator& led) {
  return "Device/SubDeviceList/" + led.name() + "/Actuator/Value";
}

}  // namespace

HBRobotModel::HBRobotModel(std::shared_ptr<HBBroker> broker)
    : HBModule(std::move(broker), kName), fFile(getParentBroker()->getSetting("model")) {
  xLogWarnings();
  getParentBroker()->getSession()->waitForService("HBMemory").value();
  xFillMemory(*getParentBroker()->getSpecialisedProxy<HBMemoryProxy>("HBMemory"));
  xPublish();
}

HBRobotModel::~HBRobotModel() { shutDown(); }

std::string HBRobotModel::getConfig() const { return fFile.xml(); }

std::string HBRobotModel::getRobotName() const { return fFile.model().prettyName(0); }

std::string HBRobotModel::getPrettyName() const { return fFile.model().prettyName(2); }

void HBRobotModel::xLogWarnings() const {
  for (const auto& warning : fFile.model().warnings()) {
    const auto line = warning.line > 0 ? ":" + std::to_string(warning.line) : std::string();
    kLog.warning(fFile.path() + line + ": " + warning.text);
  }
}

void HBRobotModel::xFillMemory(const HBMemoryProxy& memory) const {
  std::vector<std::string> devices;
  for (const auto* led : fFile.model().ledActuators()) devices.push_back(memoryKey(*led));
  const std::set<std::string_view> taken(devices.begin(), devices.end());
  std::vector<std::string> keys;
  std::vector<HBValue> values;
  for (const auto& [key, value] : fFile.model().config()) {
    if (taken.count(key) != 0) {
      throw HBError(fFile.path() + ": the configuration key \"" + key +
                    "\" is where the value of a device stands; choose another");
    }
    keys.push_back(key);
    values.emplace_back(value);
  }
  memory.floatHandles(devices);
  memory.insertDataBatch(keys, values);
}

void HBRobotModel::xPublish() {
  setModuleDescription(
      "What the robot is made of: its LEDs, their names, groups, colours and places, and its "
      "configuration, as the model file says that the robot was started with. Every device and "
      "every configuration key of it stands in HBMemory.");

  functionName("getConfig", kName, "The whole model.");
  setReturn("xml", "The text of the model file, unchanged (XML, UTF-8).");
  addMethodExample("python", "xml = proxy.getConfig()");
  advertiseMethod(this, &HBRobotModel::getConfig);

  functionName("getRobotName", kName, "The robot's name.");
  setReturn("name", "As the model says it, for example \"Vanto\".");
  addMethodExample("python", "name = proxy.getRobotName()");
  advertiseMethod(this, &HBRobotModel::getRobotName);

  functionName("getPrettyName", kName, "The robot's name with its versions, for people.");
  setReturn("name", "For example \"Vanto 1.0 (head Vanto 4.1.0)\".");
  addMethodExample("python", "print(proxy.getPrettyName())");
  advertiseMethod(this, &HBRobotModel::getPrettyName);
}

}  // namespace HB
