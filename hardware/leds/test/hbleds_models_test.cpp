// The module on the robots whose models are shipped.
#include <gmock/gmock.h>

#include <fstream>
#include <sstream>

#include "hardware/leds/test/support/leds_access.h"
#include "hardware/leds/test/support/robot.h"

namespace HB::test {
namespace {

using ::testing::SizeIs;
using Strings = std::vector<std::string>;

/// The module on the robot of that file (tests run at the root of the tree).
std::unique_ptr<Robot> robotOf(const std::string& path) {
  std::ifstream file(path);
  std::ostringstream text;
  text << file.rdbuf();
  auto around = std::make_unique<Surroundings>();
  around->addMemory();
  around->addMotion();
  around->model = std::make_unique<FakeRobotModel>(*around->session, around->journal, text.str());
  return std::make_unique<Robot>(std::move(around));
}

class ShippedModel : public ::testing::TestWithParam<std::string> {
 protected:
  std::unique_ptr<Robot> robot = robotOf(GetParam());
  HBLeds& leds = robot->leds();
  LedsAccess in{leds};
};

TEST_P(ShippedModel, HasRecordsAndGroupsThatAgree) {
  EXPECT_FALSE(in.fDeviceInfos().empty());
  for (const auto& [device, info] : in.fDeviceInfos()) {
    EXPECT_EQ(device.substr(device.rfind("/Actuator/Value")), "/Actuator/Value");
    EXPECT_EQ(info->name, device);
    for (const auto& [group, devices] : in.fGroupToDevices()) {
      EXPECT_EQ(devices.count(device), info->groups.count(group)) << device << " in " << group;
    }
  }
  for (const auto& [led, devices] : in.fLedNameToDevices()) {
    EXPECT_GE(devices.size(), 1u) << led;
    EXPECT_LE(devices.size(), 3u) << led;
  }
  EXPECT_EQ(leds.listGroup("AllLeds").size(), in.fDeviceInfos().size());
}

TEST_P(ShippedModel, LightsItsFaceRedInOneWrite) {
  leds.fadeRGB("FaceLeds", std::string("red"), 1.0F);
  const auto write = robot->motion().onlyWrite();
  ASSERT_EQ(write.keys.size(), leds.listGroup("FaceLeds").size());
  for (std::size_t i = 0; i < write.keys.size(); ++i) {
    const auto device = write.keys[i].substr(small::kPrefix.size());
    const bool isRed = in.info(device).color == Sim::LEDActuator::Red;
    EXPECT_EQ(write.values[i].at(0), isRed ? in.info(device).intensityRatio : 0.0F) << device;
    EXPECT_EQ(write.times[i].at(0), 1.0F);
  }
}

TEST_P(ShippedModel, ResetsEveryDeviceWithOneWriteEach) {
  leds.reset("AllLeds");
  EXPECT_THAT(robot->motion().writes(), SizeIs(in.fDeviceInfos().size()));
}

INSTANTIATE_TEST_SUITE_P(Robots, ShippedModel,
                         ::testing::Values("models/vanto.xml", "models/lirae.xml",
                                           "models/minimal.xml"),
                         [](const auto& tested) {
                           const auto start = tested.param.find('/') + 1;
                           return tested.param.substr(start, tested.param.find('.') - start);
                         });

TEST(Vanto, HasEyesEarsChestAndFeet) {
  const auto robot = robotOf("models/vanto.xml");
  auto& leds = robot->leds();
  LedsAccess in(leds);
  EXPECT_EQ(in.fEarLedCount(), 10);
  EXPECT_THAT(leds.listGroup("FaceLeds"), SizeIs(48));
  EXPECT_THAT(leds.listGroup("LeftEye"), SizeIs(24));
  EXPECT_THAT(leds.listGroup("RightEye"), SizeIs(24));
  EXPECT_THAT(leds.listGroup("EarLeds"), SizeIs(20));
  EXPECT_THAT(leds.listGroup("ChestLeds"), SizeIs(3));
  EXPECT_THAT(leds.listGroup("FeetLeds"), SizeIs(6));
  for (int n = 0; n < 8; ++n) {
    EXPECT_THAT(leds.listGroup("FaceLed" + std::to_string(n)), SizeIs(6)) << n;
  }
  for (int n = 1; n <= 10; ++n) {
    EXPECT_THAT(leds.listGroup("EarLed" + std::to_string(n)), SizeIs(2)) << n;
  }
}

TEST(Vanto, KnowsItsDeprecatedChestByEveryName) {
  const auto robot = robotOf("models/vanto.xml");
  LedsAccess in(robot->leds());
  for (const auto& name : in.fDeprecatedLeds()) {
    EXPECT_TRUE(in.xIsDeviceName(name) || in.xIsLedName(name) || in.xIsGroupName(name)) << name;
  }
}

TEST(Vanto, DimsItsEarsAndNothingElse) {
  const auto robot = robotOf("models/vanto.xml");
  for (const auto& [device, info] : LedsAccess(robot->leds()).fDeviceInfos()) {
    EXPECT_EQ(info->intensityRatio, info->groups.count("EarLeds") ? 0.5F : 1.0F) << device;
  }
}

TEST(Lirae, DimsItsEarsAndItsFace) {
  const auto robot = robotOf("models/lirae.xml");
  for (const auto& [device, info] : LedsAccess(robot->leds()).fDeviceInfos()) {
    const bool isDim = info->groups.count("EarLeds") || info->groups.count("FaceLeds");
    EXPECT_EQ(info->intensityRatio, isDim ? 0.7F : 1.0F) << device;
  }
}

}  // namespace
}  // namespace HB::test
