// What a robot does when somebody sets its wall clock by an hour: nothing but passive blinking's
// pending wait goes by it. Prints what it measured.
#include <gmock/gmock.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <thread>

#include "tests/system/harmed_robot.h"
#include "web/test/page_client.h"

namespace tests {
namespace {

using namespace std::chrono_literals;
using HB::HBValue;
using std::chrono::steady_clock;

constexpr auto kHour = 1h;

/// A wall clock that a process started with `environment` sees, and no other.
class WallClock {
 public:
  WallClock() { set(0s); }
  std::vector<std::string> environment() const {
    return {std::string("LD_PRELOAD=") + FAKETIME_LIBRARY,
            "FAKETIME_TIMESTAMP_FILE=" + fFolder.file("offset"), "FAKETIME_NO_CACHE=1",
            "DONT_FAKE_MONOTONIC=1", "FAKETIME_DONT_FAKE_MONOTONIC=1"};
  }
  /// From now on it is so far from the true one.
  void set(std::chrono::seconds offset) {
    const auto count = offset.count();
    fFolder.write("next", (count < 0 ? "" : "+") + std::to_string(count) + "\n");
    std::filesystem::rename(fFolder.file("next"), fFolder.file("offset"));
  }

 private:
  const TemporaryFolder fFolder;
};

/// Follows one key, and counts how often it fell to nothing: a blink does that to an eye's light.
class Blinks {
 public:
  explicit Blinks(const std::string& address)
      : fClient(remote::RobotClient::connect(address)), fThread([this] { run(); }) {}
  ~Blinks() {
    fEnd.cancel();
    fThread.join();
  }
  Blinks(const Blinks&) = delete;
  Blinks& operator=(const Blinks&) = delete;
  int count() const { return fCount; }
  bool await(int more) {
    const int before = fCount;
    return eventually([&] { return fCount >= before + more; });
  }

 private:
  void run() {
    float last = 0;
    try {
      fClient->watch(
          "Face/Led/Red/Right/0Deg/Actuator/Value",
          [&](const remote::WatchBatch& batch) {
            for (const auto& [key, value] : batch.items) {
              if (last > 0.5F && value.toFloat() < 0.5F) ++fCount;
              last = value.toFloat();
            }
            return true;
          },
          fEnd);
    } catch (const remote::RemoteError&) {
      // By the token, or what is then missing is told by the counts.
    }
  }
  const std::unique_ptr<remote::RobotClient> fClient;
  const remote::CancelToken fEnd;
  std::atomic<int> fCount{0};
  std::thread fThread;
};

class WallClockOfARobot : public testing::Test {
 protected:
  void leds(const std::string& method, const std::vector<HBValue>& args) {
    fRobot.client().call("HBLeds", method, args);
  }
  void startBlinking() {
    leds("setIntensity", {"FaceLeds", 1.0F});
    leds("_setTimeBetweenTwoBlinks", {1.0F, 1.0F});
    leds("_startPassiveBlinking", {});
  }
  /// The robot's own idea of the wall clock, from its history of calls.
  std::chrono::seconds offset() {
    leds("off", {"ChestLeds"});
    for (const auto& call : fRobot.client().calls().ended) {
      if (call.method == "off") fLastBegan = call.began;
    }
    return std::chrono::round<std::chrono::minutes>(fLastBegan - std::chrono::system_clock::now());
  }
  /// Everything that takes its time takes it, whatever `set` does to the wall clock meanwhile.
  void expectTimed(const std::string& what, const std::function<void()>& set) {
    auto& client = fRobot.client();
    const std::vector<HBValue> fade{"EarLeds", 1.0F, 1.5F};
    const auto start = steady_clock::now();
    const auto future = *client.start("HBLeds", "fade", fade).future;
    std::thread caller([&] {
      const auto other = remote::RobotClient::connect(fRobot.address());
      remote::CallOptions options;
      options.timeout = 1000ms;
      EXPECT_THROW(other->call("HBLeds", "rotateEyes", kEndlessTurns, options),
                   remote::RemoteError);
    });
    EXPECT_TRUE(eventually([&] { return fRobot.runs("rotateEyes"); }));
    set();
    EXPECT_TRUE(future.wait(20000)) << what;
    EXPECT_TRUE(future.hasValue()) << what;
    const auto took = steady_clock::now() - start;
    EXPECT_GE(took, 1500ms) << what;
    caller.join();
    EXPECT_TRUE(eventually([&] { return !fRobot.runs("rotateEyes"); })) << what;
    EXPECT_EQ(client.readMemory("Device/SubDeviceList/Ears/Led/Left/0Deg/Actuator/Value"),
              HBValue(0.5F))
        << "half of what was asked, as the model says";
    leds("setIntensity", {"EarLeds", 0.0F});
    std::cout << "measured: wall clock " << what << ": a fade of 1.5 s took " << took / 1ms
              << " ms\n";
  }

  WallClock fClock;
  HarmedRobot fRobot{fClock.environment()};
  std::chrono::system_clock::time_point fLastBegan;
};

TEST_F(WallClockOfARobot, SetForwardOrBackAtAnyTimeMovesNoFadeNoWatchAndNoCallsEnd) {
  fRobot.begin();
  web::PageClient page(fRobot.pagePort());
  page.hello();
  ASSERT_EQ(offset(), 0s);
  expectTimed("as it is", [] {});
  expectTimed("an hour forward", [&] { fClock.set(kHour); });
  EXPECT_EQ(offset(), kHour) << "the canary: the robot sees it";
  expectTimed("two hours back", [&] { fClock.set(-kHour); });
  EXPECT_EQ(offset(), -kHour);
  EXPECT_TRUE(page.ask({{"op", "state"}})["ready"]);
  page.drop();
  fRobot.expectUnharmed("wall clock", 8 * 1024);
}

TEST_F(WallClockOfARobot, SetForwardKeepsPassiveBlinkingGoing) {
  startBlinking();
  Blinks blinks(fRobot.address());
  ASSERT_TRUE(blinks.await(2));
  fClock.set(kHour);
  EXPECT_TRUE(blinks.await(3));
}

TEST_F(WallClockOfARobot, SetBackHoldsThePendingBlinkUntilTheNextCommandSetsItAnew) {
  startBlinking();
  Blinks blinks(fRobot.address());
  ASSERT_TRUE(blinks.await(2));
  fClock.set(-kHour);
  // One may be under way, or have been due at the same time. Then none comes: waiting tells.
  std::this_thread::sleep_for(1s);
  const int count = blinks.count();
  std::this_thread::sleep_for(4s);
  EXPECT_EQ(blinks.count(), count) << "the pending wait goes by the wall clock";
  leds("setIntensity", {"FaceLeds", 1.0F});
  EXPECT_TRUE(blinks.await(2));
}

class RobotStartedAtAnotherTime : public testing::TestWithParam<std::chrono::hours> {};

TEST_P(RobotStartedAtAnotherTime, IsLikeAnyOther) {
  WallClock clock;
  clock.set(GetParam());
  HarmedRobot robot(clock.environment());
  robot.begin();
  const auto start = steady_clock::now();
  const std::vector<HBValue> fade{"EarLeds", 1.0F, 1.0F};
  remote::CallOptions options;
  options.completion = remote::Completion::kFinished;
  robot.client().call("HBLeds", "fade", fade, options);
  EXPECT_GE(steady_clock::now() - start, 1s);
  const std::vector<HBValue> face{"FaceLeds", 1.0F};
  robot.client().call("HBLeds", "setIntensity", face);
  const std::vector<HBValue> bounds{1.0F, 1.0F};
  robot.client().call("HBLeds", "_setTimeBetweenTwoBlinks", bounds);
  robot.client().call("HBLeds", "_startPassiveBlinking", {});
  {
    Blinks blinks(robot.address());
    EXPECT_TRUE(blinks.await(2));
  }
  robot.client().call("HBLeds", "_stopPassiveBlinking", {});
  robot.expectUnharmed("started at another time", 8 * 1024);
}

INSTANTIATE_TEST_SUITE_P(AnHour, RobotStartedAtAnotherTime, testing::Values(1h, -1h));

}  // namespace
}  // namespace tests
