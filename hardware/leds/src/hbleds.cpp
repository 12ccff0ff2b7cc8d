// How the LED service comes and goes.

#include "hardware/leds/src/hbleds.h"

#include <boost/smart_ptr/make_shared.hpp>
#include <exception>
#include <utility>

#include "hardware/leds/src/ledsrotationasr.h"
#include "hardware/leds/src/passiveblinking.h"

namespace HB {

const xo::log::Category HBLeds::fLog("HBLeds");
const std::string HBLeds::fEarLedPrefix = "EarLed";
const std::string HBLeds::fServiceNameSignsAndFeedback = "HBSignsAndFeedback";

HBLeds::HBLeds(std::shared_ptr<HBBroker> broker)
    : HBModule(std::move(broker), "HBLeds"),
      fTasks(std::make_unique<xo::TaskGroup>(&ending())),
      fEarLedCount(0),
      fLedsCommanded(false),
      fPassiveBlinking(boost::make_shared<PassiveBlinking>(this)),
      fEyesRotationASR(boost::make_shared<EyesRotationASR>(this)),
      fEarsRotationASR(boost::make_shared<EarsRotationASR>(this)),
      fDevicePrefix("Device/SubDeviceList/") {
  xConnectToMemory();
  xConnectToSession();
  xConnectToMotion();
  const std::string xml = xReadRobotConfig();
  xDiscoverLeds(xml);
  xApplyHeadIntensityRatios(xml);
  xApplyDefaultIntensities();
  xMarkDeprecatedLeds();
  xRegisterFaceConflicts();
  xCountEarLeds();
  xPublishMethods();
}

HBLeds::~HBLeds() {
  // From here on no blink step, tick or timer gets in, and none is inside: what follows is
  // harmless.
  fTasks->close();
  // One by one: a map that is cleared promises no order, and devices go in ascending order. The
  // members follow in reverse order of their declaration.
  for (auto& device : fDeviceInfos) device.second.reset();
}

void HBLeds::xConnectToMemory() {
  try {
    fMemoryProxy = getParentBroker()->getSpecialisedProxy<HBMemoryProxy>("HBMemory");
  } catch (const std::exception& error) {
    fLog.error(std::string("Could not connect to HBMemory: ") + error.what());
    throw;
  }
}

void HBLeds::xConnectToSession() {
  try {
    fSession = getParentBroker()->getSession();
  } catch (const std::exception& error) {
    fLog.error(std::string("Error at session initialization, got: ") + error.what());
    throw;
  }
}

void HBLeds::xConnectToMotion() {
  constexpr int kDeliveryTimeout = 60000;  // milliseconds
  fSession->waitForService("HBMotion").value();
  try {
    // Written after the wait, not before it: that is where readers of the log look for it.
    fLog.info("Waiting for HBMotion...");
    fMotion = fSession->service("HBMotion", "", kDeliveryTimeout).value();
  } catch (const std::exception&) {
    // A robot whose motion service cannot be had still has an LED service; its writes do nothing.
  }
}

std::string HBLeds::xReadRobotConfig() {
  fLog.info("Waiting for HBRobotModel...");
  fSession->waitForService("HBRobotModel").value();
  return getParentBroker()->getProxy("HBRobotModel")->call<std::string>("getConfig");
}

void HBLeds::xCountEarLeds() {
  // A gap hides every later position: the ear animations walk the positions by number.
  while (xIsGroupName(fEarLedPrefix + std::to_string(fEarLedCount + 1))) ++fEarLedCount;
}

}  // namespace HB
