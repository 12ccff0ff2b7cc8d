// What the LED service does when motion is not well, and that nobody else suffers: a robot in a
// process of its own, its faults caused as anybody can cause them. Prints what it measured.
#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <future>
#include <iostream>
#include <thread>

#include "remote/client/robot_client.h"
#include "tavro/test/every_command.h"
#include "tests/system/robot.h"

namespace tests {
namespace {

using namespace std::chrono_literals;
using HB::HBValue;
using std::chrono::steady_clock;
using ::testing::HasSubstr;
using ::testing::Not;

class Client {
 public:
  explicit Client(const std::string& address) : fRobot(remote::RobotClient::connect(address)) {}

  HBValue call(const std::string& service, const std::string& method, const HBValue::List& args) {
    return fRobot->call(service, method, args).value;
  }
  void leds(const std::string& method, const HBValue::List& args) { call("HBLeds", method, args); }
  void setFault(const std::string& kind, float amount) {
    call("HBMotion", "_setFault", {kind, amount});
  }
  void host(const std::string& method) { call("HBHost", method, {"motion"}); }
  float chest() { return value("ChestBoard/Led/Red"); }
  float value(const std::string& device) {
    return fRobot->readMemory("Device/SubDeviceList/" + device + "/Actuator/Value").toFloat();
  }
  bool has(const std::string& service) {
    const auto all = fRobot->services();
    return std::ranges::find(all, service) != all.end();
  }

 private:
  const std::unique_ptr<remote::RobotClient> fRobot;
};

long long millisecondsSince(steady_clock::time_point start) {
  return (steady_clock::now() - start) / 1ms;
}

class MotionFault : public testing::Test {
 protected:
  void callEveryCommand() {
    for (const auto& command : tavro::everyCommand()) {
      EXPECT_NO_THROW(fClient.leds(command.method, command.args)) << command.method;
    }
  }
  std::future<long long> inBackground(const std::string& method, const HBValue::List& args) {
    return std::async(std::launch::async, [this, method, args] {
      const auto start = steady_clock::now();
      fOther.leds(method, args);
      return millisecondsSince(start);
    });
  }
  bool runs(const std::string& method) {
    const auto client = remote::RobotClient::connect(fRobot.address());
    return eventually([&] {
      return std::ranges::any_of(client->calls().running,
                                 [&](const auto& one) { return one.method == method; });
    });
  }
  /// The longest of many short calls that need no motion.
  long long longestOfOthers() {
    long long longest = 0;
    for (int i = 0; i < 100; ++i) {
      const auto start = steady_clock::now();
      fClient.leds("listGroups", {});
      fClient.leds("getIntensity", {"FaceLedRight0"});
      fClient.call("HBMotion", "listLEDs", {});
      fClient.call("HBRobotModel", "getRobotName", {});
      fClient.chest();
      longest = std::max(longest, millisecondsSince(start));
    }
    return longest;
  }
  void expectRecovered(const std::string& fault, steady_clock::time_point lifted) {
    fClient.leds("off", {"ChestLeds"});
    fClient.leds("on", {"ChestLeds"});
    EXPECT_EQ(fClient.chest(), 1.0F);
    std::cout << "measured: " << fault << ": recovered in " << millisecondsSince(lifted) << " ms\n";
  }
  Outcome endRobot() {
    fRobot.process().signal(SIGTERM);
    return fRobot.process().wait();
  }

  Robot fRobot;
  Client fClient{fRobot.address()};
  Client fOther{fRobot.address()};
};

TEST_F(MotionFault, GoneMakesEveryCommandDoNothingInSilence) {
  fClient.leds("setIntensity", {"ChestLeds", 0.5F});
  fClient.host("unloadModule");
  callEveryCommand();
  EXPECT_EQ(fClient.chest(), 0.5F);
  const auto lifted = steady_clock::now();
  fClient.host("loadModule");
  expectRecovered("gone", lifted);
  EXPECT_THAT(endRobot().err, Not(HasSubstr("Exception in")));
}

TEST_F(MotionFault, ThatFailsEverySecondWriteLosesThoseAndNothingElse) {
  fClient.setFault("failing", 2);
  // A device a write, ascending: the second of the three is lost.
  fClient.leds("on", {"FaceLedRight0"});
  EXPECT_EQ(fClient.value("Face/Led/Blue/Right/0Deg"), 1.0F);
  EXPECT_EQ(fClient.value("Face/Led/Green/Right/0Deg"), 0.0F);
  EXPECT_EQ(fClient.value("Face/Led/Red/Right/0Deg"), 1.0F);
  // A whole group in one write: the fourth is lost, the fifth is not.
  fClient.leds("on", {"ChestLeds"});
  EXPECT_EQ(fClient.chest(), 0.0F);
  fClient.leds("on", {"ChestLeds"});
  EXPECT_EQ(fClient.chest(), 1.0F);
  const auto lifted = steady_clock::now();
  fClient.setFault("none", 0);
  expectRecovered("every second write fails", lifted);
  EXPECT_THAT(endRobot().err, HasSubstr("Exception in xSetGroupIntensity: HBMotion: _animateLEDs: "
                                        "refused by the simulated fault 'failing'"));
}

TEST_F(MotionFault, ThatFailsEveryWriteLetsEveryCommandReturnWithoutAnError) {
  fClient.setFault("failing", 1);
  callEveryCommand();
  EXPECT_EQ(fClient.chest(), 0.0F);
  const auto lifted = steady_clock::now();
  fClient.setFault("none", 0);
  expectRecovered("every write fails", lifted);
}

TEST_F(MotionFault, OfFiveSecondsDelaysTheCommandAndNoOther) {
  fClient.setFault("slow", 5);
  auto slow = inBackground("on", {"FaceLeds"});
  ASSERT_TRUE(runs("on"));
  const long long others = longestOfOthers();
  EXPECT_EQ(slow.wait_for(0s), std::future_status::timeout);
  const long long took = slow.get();
  EXPECT_GE(took, 5000);
  EXPECT_EQ(fClient.value("Face/Led/Red/Left/0Deg"), 1.0F);
  std::cout << "measured: 5 s slow: a group took " << took
            << " ms, the longest of five other calls together " << others << " ms\n";
  auto waiting = inBackground("off", {"FaceLeds"});
  ASSERT_TRUE(runs("off"));
  const auto lifted = steady_clock::now();
  fClient.setFault("none", 0);
  EXPECT_LT(waiting.get(), 5000);
  expectRecovered("5 s slow", lifted);
}

TEST_F(MotionFault, ThatIsDeadHoldsItsCallersAndNobodyElse) {
  fClient.setFault("dead", 0);
  auto held = inBackground("on", {"FaceLeds"});
  ASSERT_TRUE(runs("on"));
  const long long others = longestOfOthers();
  EXPECT_EQ(held.wait_for(0s), std::future_status::timeout);
  const auto lifted = steady_clock::now();
  fClient.setFault("none", 0);
  held.get();
  EXPECT_EQ(fClient.value("Face/Led/Red/Left/0Deg"), 1.0F);
  expectRecovered("dead", lifted);
  std::cout << "measured: dead: the longest of five other calls together " << others << " ms\n";
}

TEST_F(MotionFault, ThatIsDeadLetsACallGoWhoseClientHasGivenUp) {
  fClient.setFault("dead", 0);
  const auto client = remote::RobotClient::connect(fRobot.address());
  remote::CallOptions options;
  options.timeout = 200ms;
  const HBValue::List args{"FaceLeds"};
  EXPECT_THROW(client->call("HBLeds", "on", args, options), remote::RemoteError);
  EXPECT_TRUE(eventually([&] { return client->calls().running.empty(); }));
  // Nobody holds the lock any more that this one takes exclusively.
  EXPECT_NO_THROW(fClient.leds("createGroup", {"Mine", HBValue::list({"EarLeds"})}));
}

TEST_F(MotionFault, ThatIsDeadCanBeReplacedByOneThatLives) {
  fClient.setFault("dead", 0);
  auto held = inBackground("on", {"FaceLeds"});
  ASSERT_TRUE(runs("on"));
  const auto lifted = steady_clock::now();
  fClient.host("unloadModule");
  held.get();
  fClient.host("loadModule");
  expectRecovered("dead, loaded anew", lifted);
}

TEST_F(MotionFault, ThatIsDeadDoesNotKeepTheRobotFromEnding) {
  fClient.setFault("dead", 0);
  auto held = inBackground("rotateEyes", {0xff0000, 1.0F, 60.0F});
  ASSERT_TRUE(runs("rotateEyes"));
  const auto start = steady_clock::now();
  EXPECT_EQ(endRobot().status, 0);
  std::cout << "measured: dead: the robot ended in " << millisecondsSince(start) << " ms\n";
  EXPECT_EQ(held.wait_for(kDeadline), std::future_status::ready);
}

TEST_F(MotionFault, ThatFlapsLetsEveryCommandReturnWithoutAnError) {
  fClient.setFault("flapping", 0.05F);
  for (int round = 0; round < 3; ++round) callEveryCommand();
  const auto lifted = steady_clock::now();
  fClient.setFault("none", 0);
  expectRecovered("flapping", lifted);
}

TEST_F(MotionFault, ThatComesAndGoesLetsEveryCommandReturnWithoutAnError) {
  std::atomic<bool> isOver{false};
  std::thread flapping([&] {
    while (!isOver) {
      fOther.host("unloadModule");
      fOther.host("loadModule");
    }
  });
  for (int round = 0; round < 5; ++round) callEveryCommand();
  isOver = true;
  const auto lifted = steady_clock::now();
  flapping.join();
  expectRecovered("coming and going", lifted);
}

TEST(MissingMotion, KeepsTheLedServiceWaitingUntilSomebodyLendsOneAndNobodyElse) {
  const TemporaryFolder folder;
  Process tavro(robotCommand("models/vanto.xml", folder.file("s"), {"--without", "motion"}));
  const std::string listening = tavro.waitForLine("listening grpc=");
  const std::string address = listening.substr(0, listening.find(' '));
  Client client(address);
  EXPECT_TRUE(eventually([&] { return client.has("HBRobotModel"); }));
  EXPECT_EQ(client.chest(), 0.0F);
  EXPECT_FALSE(client.has("HBLeds"));
  EXPECT_THROW(client.leds("on", {"ChestLeds"}), remote::RemoteError);

  const auto lifted = steady_clock::now();
  using Lists = std::vector<std::vector<float>>;
  std::atomic<int> writes{0};
  xo::ObjectBuilder motion;
  motion.add(xo::makeMethod<void(const std::vector<std::string>&, const Lists&, const Lists&)>(
      {"_animateLEDs", "", {}, {}, {}},
      [&](const std::vector<std::string>&, const Lists&, const Lists&) { ++writes; }));
  const auto lender = remote::RobotClient::connect(address);
  const auto lending = lender->lend("HBMotion", std::move(motion));
  tavro.waitForLine("ready ");
  client.leds("on", {"ChestLeds"});
  EXPECT_EQ(writes, 1);
  std::cout << "measured: missing: recovered in " << millisecondsSince(lifted) << " ms\n";
  tavro.signal(SIGTERM);
  EXPECT_EQ(tavro.wait().status, 0);
}

}  // namespace
}  // namespace tests
