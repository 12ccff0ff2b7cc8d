// What the animations have in common: the lock, the pause of passive blinking, being stopped, and
// the module's end under them.
#include <gmock/gmock.h>

#include <functional>
#include <limits>

#include "hardware/leds/test/support/driven.h"
#include "hardware/leds/test/support/leds_access.h"
#include "hardware/leds/test/support/robot.h"
#include "hardware/leds/test/support/script.h"

namespace HB::test {
namespace {

using ::testing::Each;
using ::testing::Ge;
using ::testing::SizeIs;
using Strings = std::vector<std::string>;

constexpr float kInfinite = std::numeric_limits<float>::infinity();

struct Animation {
  std::string name;  // letters only
  std::function<void(HBLeds&)> run;
  bool usesEyes = true;
  bool canBeStopped = true;
  /// Writes before the first stop point, between two of them, and after the last one.
  std::size_t before = 0;
  std::size_t cycle = 0;
  std::size_t after = 0;
};

/// Each runs for many cycles on Vanto, unless it is stopped.
std::vector<Animation> animations() {
  const auto feetAndChest = 9u;
  return {
      {"rasta", [](HBLeds& leds) { leds.rasta(60.0F); }, true, true, 1, 48 + feetAndChest, 89},
      {"rotateEyes", [](HBLeds& leds) { leds.rotateEyes(255, 3600.0F, 86400.0F); }, true, true, 1,
       8},
      {"randomEyes", [](HBLeds& leds) { leds.randomEyes(60.0F); }, true, true, 0, 48},
      {"earLedsSetAngle", [](HBLeds& leds) { leds.earLedsSetAngle(90, 86400.0F, true); }, false,
       false},
  };
}

class AnyAnimation : public ::testing::TestWithParam<Animation> {
 protected:
  const Animation& animation = GetParam();
  xo::ManualClock clock;
  std::unique_ptr<Robot> robot =
      std::make_unique<Robot>(Surroundings::completeFromFile("models/vanto.xml"));
};

TEST_P(AnyAnimation, HoldsTheLockSharedWhileItWritesAndWhileItSleeps) {
  LedsAccess in(robot->leds());
  xo::StopFlag stop;
  robot->motion().hold();
  Beside running([&] {
    const xo::CallScope call(nullptr, &stop);
    animation.run(robot->leds());
  });
  ASSERT_TRUE(robot->motion().awaitHeld(1));
  EXPECT_TRUE(canShare(in.fLedsMutex()));
  EXPECT_FALSE(canExclude(in.fLedsMutex()));
  robot->motion().release();
  clock.awaitSleepers(1);
  EXPECT_TRUE(canShare(in.fLedsMutex()));
  EXPECT_FALSE(canExclude(in.fLedsMutex()));
  EXPECT_EQ(LedsAccess::guardCount(), animation.usesEyes ? 1 : 0);

  Beside others([&] {
    robot->leds().off("FeetLeds");
    robot->leds().listGroups();
    robot->leds().fadeRGB("FaceLeds", 255, 1.0F);
  });
  EXPECT_TRUE(others.ends());
  std::atomic<bool> hasWritten{false};
  Beside writer([&] {
    robot->leds().createGroup("Mine", {"EarLed1"});
    hasWritten = true;
  });
  EXPECT_TRUE(writer.isKeptOut());
  stop.raise();
  do {
    clock.advance(std::chrono::hours(25));
  } while (!hasWritten);
  EXPECT_TRUE(running.ends() && writer.ends());
  EXPECT_TRUE(canExclude(in.fLedsMutex()));
}

TEST_P(AnyAnimation, PausesPassiveBlinkingForItsWholeRunIfItUsesTheEyes) {
  xo::StopFlag stop;
  stop.raise();
  driven(
      clock, [&] { animation.run(robot->leds()); }, &stop);
  const auto lines = robot->journal().lines();
  ASSERT_FALSE(lines.empty());
  if (animation.usesEyes) {
    EXPECT_EQ(lines.front(), "PassiveBlinking verbose: Pause passive blinking");
    EXPECT_EQ(lines.back(), "PassiveBlinking verbose: Resume passive blinking");
  }
  EXPECT_EQ(robot->journal().count("passive blinking"), animation.usesEyes ? 2u : 0u);
}

TEST_P(AnyAnimation, SeesAStopBetweenItsCyclesOnly) {
  if (!animation.canBeStopped) return;
  const auto count = [&](std::size_t whole) {
    return animation.before + whole * animation.cycle + animation.after;
  };
  for (const std::size_t whole : {0u, 1u, 2u}) {
    // In the first, a middle and the last write of a cycle; 0 is before the call.
    for (const std::size_t write : {std::size_t{1}, animation.cycle / 2, animation.cycle}) {
      xo::StopFlag stop;
      const auto at = whole == 0 ? 0 : animation.before + (whole - 1) * animation.cycle + write;
      if (at == 0) stop.raise();
      robot->forget();
      robot->motion().onWrite([&](std::size_t number) {
        if (number == at) stop.raise();
      });
      driven(
          clock, [&] { animation.run(robot->leds()); }, &stop);
      EXPECT_THAT(robot->motion().writes(), SizeIs(count(whole))) << whole << ", " << write;
    }
  }
}

TEST_P(AnyAnimation, IsStoppedByItsOwnIdAlone) {
  if (!animation.canBeStopped) return;
  driven(clock, [&] {
    const int id = xo::CallScope::current()->id();
    robot->motion().onWrite([&, id](std::size_t number) {
      if (number < animation.before + animation.cycle) {
        for (const int other : {0, -1, id + 1, id - 1}) robot->leds().stop(other);
      } else if (number == animation.before + animation.cycle + 1) {
        robot->leds().stop(id);
      }
    });
    animation.run(robot->leds());
  });
  EXPECT_THAT(robot->motion().writes(),
              SizeIs(animation.before + 2 * animation.cycle + animation.after));
}

TEST_P(AnyAnimation, EndsWhenTheModuleIsTakenAwayThoughTheClockStandsStill) {
  std::size_t writes = 0;
  const auto service = robot->service();
  robot->motion().onWrite([&](std::size_t number) { writes = number; });
  Beside running([&] {
    if (animation.name == "rasta") service.call("rasta", kInfinite);
    if (animation.name == "rotateEyes") service.call("rotateEyes", 255, 3600.0F, 86400.0F);
    if (animation.name == "randomEyes") service.call("randomEyes", kInfinite);
    if (animation.name == "earLedsSetAngle") service.call("earLedsSetAngle", 90, 86400.0F, true);
  });
  clock.awaitSleepers(1);
  robot.reset();
  EXPECT_TRUE(running.ends());
  EXPECT_NO_THROW(running.get());
  EXPECT_FALSE(service.isAlive());
  if (animation.canBeStopped) {
    EXPECT_EQ(writes, animation.before + animation.cycle + animation.after);
  } else {
    EXPECT_EQ(writes, 19u);  // its remaining passes, all of them
  }
  EXPECT_EQ(LedsAccess::guardCount(), 0);
}

INSTANTIATE_TEST_SUITE_P(Animations, AnyAnimation, ::testing::ValuesIn(animations()),
                         [](const auto& made) { return made.param.name; });

TEST(RotateEyes, WithoutATimeForItsTurnRunsWithoutSleepingUntilItIsStopped) {
  Robot robot;
  xo::StopFlag stop;
  robot.motion().onWrite([&](std::size_t number) {
    if (number == 5000) stop.raise();
  });
  Beside running([&] {
    const xo::CallScope call(nullptr, &stop);
    robot.call("rotateEyes", 0xFFFFFF, 0.0F, 5.0F);
  });
  EXPECT_TRUE(running.ends());
  const auto writes = robot.motion().writes();
  EXPECT_THAT(writes, SizeIs(5001));  // two positions, so two writes a turn: the turn is finished
  EXPECT_THAT(writes.back().times, Each(std::vector<float>{0.0F, 0.0F}));
}

TEST(RotateEyes, EndlessInFourClientsEndsWhenTheModuleIsTakenAway) {
  auto robot = std::make_unique<Robot>();
  const auto service = robot->service();
  std::vector<Beside> clients;
  for (int i = 0; i < 4; ++i) {
    clients.emplace_back([&service] { service.call("rotateEyes", 0xFFFFFF, 0.0F, 5.0F); });
  }
  ASSERT_TRUE(becomesTrue([&] { return robot->motion().writes().size() > 100; }));
  EXPECT_EQ(robot->journal().count("Pause passive blinking"), 1u);
  EXPECT_EQ(robot->journal().count("Resume passive blinking"), 0u);
  robot.reset();
  for (auto& client : clients) EXPECT_TRUE(client.ends());
  EXPECT_EQ(LedsAccess::guardCount(), 0);
}

TEST(Animations, RunSideBySide) {
  Robot robot(Surroundings::completeFromFile("models/vanto.xml"));
  xo::ManualClock clock;
  xo::StopFlag stop;
  std::vector<Beside> running;
  for (const auto& animation : animations()) {
    running.emplace_back([&stop, &robot, run = animation.run] {
      const xo::CallScope call(nullptr, &stop);
      run(robot.leds());
    });
  }
  clock.awaitSleepers(4);
  EXPECT_EQ(LedsAccess::guardCount(), 3);
  stop.raise();
  clock.advance(std::chrono::hours(100));
  for (auto& one : running) EXPECT_TRUE(one.ends());
  EXPECT_EQ(robot.journal().count("Pause passive blinking"), 1u);
  EXPECT_EQ(robot.journal().count("Resume passive blinking"), 1u);
  EXPECT_THAT(robot.motion().writes(), SizeIs(Ge(1u + 57 + 89 + 1 + 8 + 48 + 19)));
}

}  // namespace
}  // namespace HB::test
