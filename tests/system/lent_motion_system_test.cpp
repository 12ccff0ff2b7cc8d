// A robot whose motion runs in another process, which is killed, stopped and started again.
#include <gmock/gmock.h>

#include <csignal>
#include <iostream>

#include "access/access.h"
#include "framework/hb/hb_broker.h"
#include "remote/client/remote_session.h"
#include "remote/server/server.h"
#include "tavro/module_loader.h"
#include "tests/system/process.h"

namespace tests {
namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;

std::string robotModule(const std::string& name) {
  return std::string(ROBOT_MODULE_DIRECTORY "/lib") + name + ".so";
}

remote::Server::Options anywhere() {
  remote::Server::Options options;
  options.listen = "127.0.0.1:0";
  return options;
}

/// The robot's memory, model and LEDs in this process, behind a real door.
class LentMotion : public testing::Test {
 protected:
  LentMotion() {
    for (const char* name : {"memory", "robotmodel", "leds"}) fLoader.load(robotModule(name));
  }
  ~LentMotion() override {
    fServer.stop();
    fLoader.unloadAll();
  }

  std::unique_ptr<Process> startMotion() const {
    auto motion = std::make_unique<Process>(
        std::vector<std::string>{LENT_MOTION_PROGRAM, fServer.tcpAddress()});
    motion->waitForLine("lent");
    return motion;
  }
  xo::Object leds() const { return fSession->find("HBLeds"); }
  float intensity(const std::string& device) const {
    const auto memory = fSession->find("HBMemory");
    return memory.call<float>("getData", "Device/SubDeviceList/" + device + "/Actuator/Value");
  }
  /// Sends a long fade, runs `harm` in its middle, and tells how long the call lasted after that.
  template <class F>
  steady_clock::duration callAfter(Process& motion, F harm) {
    const long before = animations(motion);
    std::thread caller([this] {
      try {
        leds().call<xo::Future<void>>("fade", "FaceLeds", 1.0F, 60.0F);
      } catch (const std::exception&) {
        // What HBLeds makes of it is its own affair.
      }
    });
    EXPECT_TRUE(eventually([&] { return animations(motion) > before; }));
    const auto start = steady_clock::now();
    harm();
    caller.join();
    return steady_clock::now() - start;
  }
  static long animations(const Process& motion) {
    const std::string text = motion.outputSoFar();
    long count = 0;
    for (auto at = text.find("animating"); at != std::string::npos;
         at = text.find("animating", at + 1)) {
      ++count;
    }
    return count;
  }

  std::shared_ptr<xo::Session> fSession = std::make_shared<xo::Session>();
  std::shared_ptr<HB::HBBroker> fBroker =
      HB::HBBroker::create(fSession, {{"model", "models/vanto.xml"}});
  door::Access fAccess{fSession};
  remote::Server fServer{fAccess, anywhere()};
  tavro::OutputTap fTap{std::cout};
  tavro::ModuleLoader fLoader{fBroker, fTap};
};

TEST_F(LentMotion, LetsTheLedsStandAndFillsTheMemory) {
  EXPECT_FALSE(leds().isAlive());  // waits for its motion
  const auto motion = startMotion();
  ASSERT_TRUE(fLoader.waitUntilAllStand());
  leds().call("on", "ChestLeds");
  EXPECT_EQ(intensity("ChestBoard/Led/Red"), 1.0F);
  leds().call("off", "ChestLeds");
  EXPECT_EQ(intensity("ChestBoard/Led/Red"), 0.0F);
}

TEST_F(LentMotion, KilledInTheMiddleOfAnAnimationLetsItsCallersGoAndIsDrivenAgainWhenItIsBack) {
  auto motion = startMotion();
  ASSERT_TRUE(fLoader.waitUntilAllStand());
  const auto handle = fSession->find("HBMotion");
  const auto time = callAfter(*motion, [&] { motion->signal(SIGKILL); });
  EXPECT_LT(time, 10s);  // and not the minute that it was to last
  RecordProperty("milliseconds", static_cast<int>(time / 1ms));
  EXPECT_TRUE(eventually([&] { return !handle.isAlive(); }));
  EXPECT_NO_THROW(leds().call("createGroup", "free", std::vector<std::string>{"ChestLeds"}));

  motion = startMotion();
  EXPECT_TRUE(handle.isAlive());
  leds().call("on", "ChestLeds");
  EXPECT_EQ(intensity("ChestBoard/Led/Red"), 1.0F);
}

TEST_F(LentMotion, StoppedInTheMiddleOfAnAnimationLetsItsCallersGoAndComesBackByItself) {
  const auto motion = startMotion();
  ASSERT_TRUE(fLoader.waitUntilAllStand());
  const auto handle = fSession->find("HBMotion");
  const auto time = callAfter(*motion, [&] { motion->signal(SIGSTOP); });
  EXPECT_LT(time, 10s);
  RecordProperty("milliseconds", static_cast<int>(time / 1ms));
  EXPECT_TRUE(eventually([&] { return !handle.isAlive(); }));
  motion->signal(SIGCONT);
  EXPECT_TRUE(eventually([&] { return handle.isAlive(); }));
  leds().call("on", "ChestLeds");
  EXPECT_EQ(intensity("ChestBoard/Led/Red"), 1.0F);
}

TEST_F(LentMotion, TheLedsAreCalledFromAThirdProcessAsFromTheirOwn) {
  const auto motion = startMotion();
  ASSERT_TRUE(fLoader.waitUntilAllStand());
  const auto broker = HB::HBBroker::create(remote::connect(fServer.tcpAddress()));
  const auto proxy = broker->getProxy("HBLeds");
  proxy->call("setIntensity", "ChestLeds", 0.5F);
  EXPECT_EQ(intensity("ChestBoard/Led/Red"), 0.5F);
  EXPECT_THROW(proxy->call("setIntensity", "Nowhere", 0.5F), std::invalid_argument);
}

}  // namespace
}  // namespace tests
