// The module goes while its ticks, timers, blink steps and clients are under way.
#include <gmock/gmock.h>

#include <filesystem>
#include <functional>
#include <optional>

#include "framework/hb/module_factory.h"
#include "framework/xo/clock.h"
#include "hardware/leds/test/support/leds_access.h"
#include "hardware/leds/test/support/robot.h"
#include "hardware/leds/test/support/sleepless.h"
#include "hardware/leds/test/support/threads.h"

namespace HB::test {
namespace {

using std::chrono::milliseconds;

const std::string kDropped = "The promise was dropped without an answer";

/// A module that a test unloads, as the host does it.
class Life {
 public:
  Life() : fModule(createModule<HBLeds>(fAround->broker)) {}
  ~Life() {
    motion().release();
    end();
  }
  Life(const Life&) = delete;
  Life& operator=(const Life&) = delete;

  HBLeds& leds() { return static_cast<HBLeds&>(*fModule); }
  RecordingMotion& motion() { return *fAround->motion; }
  xo::Object service() { return fAround->session->service("HBLeds").value(); }

  /// Returns when nothing of it is left.
  void end() {
    fAround->broker->removeModule("HBLeds");
    fModule.reset();
  }
  /// Ends it beside the test, which must find the module whole until `let` is called; then it goes.
  void endsOnlyAfter(const std::function<void()>& let) {
    LedsAccess in(leds());
    Beside ending([this] { end(); });
    EXPECT_TRUE(ending.isKeptOut());
    for (const auto& [device, info] : in.fDeviceInfos()) EXPECT_NE(info, nullptr) << device;
    EXPECT_NE(in.fPassiveBlinking(), nullptr);
    let();
    EXPECT_TRUE(ending.ends());
  }

 private:
  std::unique_ptr<Surroundings> fAround = Surroundings::complete();
  std::shared_ptr<HBModule> fModule;
};

TEST(Unloading, WaitsForATickThatIsUnderWay) {
  for (const bool ears : {true, false}) {
    Life life;
    const Sleepless sleepless;
    LedsAccess in(life.leds());
    if (ears) {
      in.fEarsRotationASR()->start();
    } else {
      LedsAccess::task(*in.fEyesRotationASR()).setUsPeriod(100);
      in.fEyesRotationASR()->start();
    }
    life.motion().hold();
    ASSERT_TRUE(life.motion().awaitHeld(1));
    life.endsOnlyAfter([&] { life.motion().release(); });
    const auto drawn = life.motion().writes().size();
    EXPECT_GT(drawn, 0u);
  }
}

TEST(Unloading, WaitsForABlinkStepThatIsUnderWayAndDropsTheRest) {
  Life life;
  life.motion().hold();
  const auto blink = life.leds().cancellableBlink();
  ASSERT_TRUE(life.motion().awaitHeld(1));
  life.endsOnlyAfter([&] { life.motion().release(); });
  EXPECT_EQ(blink.errorText(), kDropped);
  EXPECT_EQ(life.motion().writes().size(), 1u);
}

TEST(Unloading, EndsABlinkWhoseNextStepIsYetToCome) {
  xo::ManualClock clock;
  Life life;
  const auto blink = life.leds().cancellableBlink();
  clock.awaitIdle();
  const auto drawn = life.motion().writes().size();
  EXPECT_TRUE(blink.isRunning());
  life.end();
  EXPECT_EQ(blink.errorText(), kDropped);
  clock.advance(milliseconds(1000));
  EXPECT_EQ(life.motion().writes().size(), drawn);
}

// Its guard would otherwise be the last owner of the object whose destructor joins this thread.
TEST(Unloading, WaitsForTheThreadOfPassiveBlinkingToEndItsGuard) {
  Life life;
  LedsAccess in(life.leds());
  PassiveBlinking& blinking = *in.fPassiveBlinking();
  blinking.setTimeBetweenTwoBlinks(0, 0);
  blinking.pause();
  blinking.start(-1);
  boost::unique_lock<boost::mutex> guards(LedsAccess::guardMutex());
  blinking.resume();  // due at once
  EXPECT_TRUE(becomesTrue([&] { return in.fPassiveBlinking().use_count() == 2; }));
  life.endsOnlyAfter([&] { guards.unlock(); });
  EXPECT_EQ(LedsAccess::guardCount(), 0);
}

// The handler has nothing but a plain pointer to the module.
TEST(Unloading, RefusesAnExpiryThatComesWhenTheModuleIsGoing) {
  Life life;
  LedsAccess in(life.leds());
  PassiveBlinking& blinking = *in.fPassiveBlinking();
  blinking.setTimeBetweenTwoBlinks(5000, 5000);
  blinking.pause();
  blinking.start(-1);
  blinking.resume();
  in.fTasks()->close();
  Beside([&] { LedsAccess::expire(blinking, {}); }).get();
  EXPECT_TRUE(LedsAccess::currentBlink(blinking).hasValue());  // as it was made: none was tried
}

/// A rotation whose destruction takes its time, while its task still runs.
class SlowToGo final : public LedsRotationASR {
 public:
  SlowToGo(HBLeds* leds, xo::ManualClock& clock, int& late)
      : LedsRotationASR(leds, 1000, "SlowToGo"), fClock(clock), fLate(late) {}
  ~SlowToGo() {
    fGoes = true;
    fClock.advance(milliseconds(10));
  }

 private:
  void xInitBeforeStart() override {}
  void xCallbackPeriodicTask() override { fLate += fGoes ? 1 : 0; }

  xo::ManualClock& fClock;
  int& fLate;
  std::atomic<bool> fGoes{false};
};

// By then its base would have no step to call.
TEST(Unloading, LetsNoTickIntoARotationThatIsBeingDestroyed) {
  xo::ManualClock clock;
  Life life;
  int late = 0;
  std::optional<SlowToGo> rotation(std::in_place, &life.leds(), clock, late);
  rotation->start();
  clock.advance(milliseconds(5));
  LedsAccess(life.leds()).fTasks()->close();
  rotation.reset();
  EXPECT_EQ(late, 0);
}

// Between the closing of the gate and the joining of their threads ticks and expiries still knock.
TEST(Unloading, RefusesTheTicksThatComeUntilTheirThreadsAreJoined) {
  for (int round = 0; round < 200; ++round) {
    Life life;
    const Sleepless sleepless;
    LedsAccess in(life.leds());
    for (auto* rotation : {static_cast<LedsRotationASR*>(in.fEyesRotationASR().get()),
                           static_cast<LedsRotationASR*>(in.fEarsRotationASR().get())}) {
      LedsAccess::task(*rotation).setUsPeriod(1);
      rotation->start();
    }
    life.end();
  }
}

TEST(Unloading, EndsTheSleepOfAPreparation) {
  xo::ManualClock clock;
  for (const std::string name : {"Eyes", "Ears"}) {
    Life life;
    Beside starting(
        [service = life.service(), name] { service.call("_start" + name + "RotationASR"); });
    clock.awaitSleepers(1);
    Beside ending([&] { life.end(); });
    EXPECT_TRUE(ending.ends());
    EXPECT_TRUE(starting.ends());
  }
}

TEST(Unloading, EndsTheSleepsOfASweepOfTheEars) {
  xo::ManualClock clock;
  Life life;
  Beside starting([service = life.service()] { service.call("_startEarsRotationASR"); });
  clock.awaitSleepers(1);
  clock.advance(milliseconds(50));
  EXPECT_TRUE(starting.ends());
  clock.advance(milliseconds(0));
  Beside ending([&] { life.end(); });
  EXPECT_TRUE(ending.ends());
}

TEST(Unloading, EndsTheWaitForTheServiceThatDrawsShadows) {
  xo::ManualClock clock;
  for (const std::string method : {"_startPassiveBlinking", "_blink"}) {
    Life life;
    Beside blinking([service = life.service(), method] { service.call(method, 255); });
    EXPECT_TRUE(becomesTrue([] { return LedsAccess::guardCount() == 1; }));
    Beside stopping([service = life.service()] {
      try {
        service.call("_stopPassiveBlinking");
      } catch (const std::exception&) {  // it came too late
      }
    });
    Beside ending([&] { life.end(); });
    EXPECT_TRUE(ending.ends());
    EXPECT_TRUE(blinking.ends());
    EXPECT_TRUE(stopping.ends());
  }
}

// They would otherwise wait for a loop that passive blinking, at the least of intervals, may keep
// busier than it can ever be done with.
TEST(Unloading, EndsTheBlinksThatBlinkAndStopWaitFor) {
  xo::ManualClock clock;
  Life life;
  LedsAccess(life.leds()).fPassiveBlinking()->setTimeBetweenTwoBlinks(5000, 5000);
  life.service().call("_startPassiveBlinking");
  Beside blinking([service = life.service()] { service.call("_blink"); });
  EXPECT_TRUE(becomesTrue([&] { return life.motion().writes().size() >= 6; }));
  Beside stopping([service = life.service()] { service.call("_stopPassiveBlinking"); });
  EXPECT_TRUE(stopping.isKeptOut());
  Beside ending([&] { life.end(); });
  EXPECT_TRUE(ending.ends());
  EXPECT_TRUE(blinking.ends());
  EXPECT_TRUE(stopping.ends());
}

/// Calls until the service is gone.
void useUntilItGoes(const xo::Object& service) {
  try {
    for (int i = 0;; ++i) {
      service.call(i % 2 == 0 ? "on" : "off", "AllLeds");
      service.call("_fadeRGB", "FaceLeds", 1.0F, 0.0F, 0.0F, 3600.0F);
      service.call("_setEnabledEarsRotationASR", i % 3 == 0);
      if (i % 16 == 0) service.call("_blinkWithShadow");
    }
  } catch (const std::exception&) {
  }
}

std::size_t threadsOfProcess() {
  const std::filesystem::directory_iterator tasks("/proc/self/task");
  return static_cast<std::size_t>(std::distance(begin(tasks), end(tasks)));
}

void liveAndGo() {
  Life life;
  const Sleepless sleepless;
  LedsAccess in(life.leds());
  const auto service = life.service();
  service.call("_setTimeBetweenTwoBlinks", 0.0F, 0.0F);
  service.call("_startPassiveBlinking");
  in.fEyesRotationASR()->start();
  in.fEarsRotationASR()->start();
  Beside first([&] { useUntilItGoes(service); });
  Beside second([&] { useUntilItGoes(service); });
  const auto blink = life.leds().cancellableBlink();
  EXPECT_TRUE(becomesTrue([&] { return life.motion().writes().size() >= 20; }));
  life.end();
  const auto drawn = life.motion().writes().size();
  EXPECT_TRUE(first.ends());
  EXPECT_TRUE(second.ends());
  EXPECT_TRUE(blink.isFinished());
  EXPECT_FALSE(service.isAlive());
  EXPECT_EQ(LedsAccess::guardCount(), 0);
  EXPECT_EQ(life.motion().writes().size(), drawn);
}

TEST(Unloading, LeavesNothingBehindTwoHundredTimesWhileEverythingRuns) {
  liveAndGo();
  const auto before = threadsOfProcess();
  for (int round = 0; round < 200; ++round) {
    liveAndGo();
    if (::testing::Test::HasFailure()) FAIL() << "in round " << round;
  }
  EXPECT_TRUE(becomesTrue([&] { return threadsOfProcess() <= before; }));
}

}  // namespace
}  // namespace HB::test
