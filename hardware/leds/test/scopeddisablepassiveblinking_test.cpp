// The guard: alone, several at once, and in every command.
#include "hardware/leds/src/scopeddisablepassiveblinking.h"

#include <gmock/gmock.h>

#include <boost/smart_ptr/make_shared.hpp>
#include <boost/smart_ptr/weak_ptr.hpp>
#include <optional>

#include "hardware/leds/test/support/commands.h"
#include "hardware/leds/test/support/leds_access.h"
#include "hardware/leds/test/support/robot.h"
#include "hardware/leds/test/support/threads.h"

namespace HB::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using xo::log::Level;
using Guard = ScopedDisablePassiveBlinking;

const LogLine kPaused{"PassiveBlinking", Level::kVerbose, "Pause passive blinking"};
const LogLine kResumed{"PassiveBlinking", Level::kVerbose, "Resume passive blinking"};

class GuardOfBlinking : public ::testing::Test {
 protected:
  Journal journal;
  RecordingLog log{journal};
  boost::shared_ptr<PassiveBlinking> blinking = boost::make_shared<PassiveBlinking>(nullptr);

  void SetUp() override { blinking->addConflictingResource(std::string("eye")); }
  int paused() { return LedsAccess::paused(*blinking); }
};

TEST_F(GuardOfBlinking, PausesWhileItLives) {
  {
    const Guard guard(blinking);
    EXPECT_EQ(paused(), 1);
    EXPECT_EQ(LedsAccess::guardCount(), 1);
    EXPECT_THAT(log.lines(), ElementsAre(kPaused));
  }
  EXPECT_EQ(paused(), 0);
  EXPECT_EQ(LedsAccess::guardCount(), 0);
  EXPECT_THAT(log.lines(), ElementsAre(kPaused, kResumed));
}

TEST_F(GuardOfBlinking, PausesForAConflictingNameOnly) {
  {
    const Guard guard(blinking, "eye");
    EXPECT_EQ(paused(), 1);
  }
  EXPECT_EQ(paused(), 0);
  log.clear();
  for (const std::string name : {"ear", "Eye", "eye ", ""}) {
    const Guard guard(blinking, name);
    EXPECT_EQ(paused(), 0);
    EXPECT_EQ(LedsAccess::guardCount(), 0);
  }
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(GuardOfBlinking, WithTheEmptyNameIsInactiveEvenIfThatWasAdded) {
  blinking->addConflictingResource(std::string());
  const Guard guard(blinking, "");
  EXPECT_EQ(LedsAccess::guardCount(), 0);
}

TEST_F(GuardOfBlinking, RemembersWhetherItWasActiveWhenItWasMade) {
  std::optional<Guard> active(std::in_place, blinking, "eye");
  std::optional<Guard> inactive(std::in_place, blinking, "ear");
  blinking->removeConflictingResource("eye");
  blinking->addConflictingResource(std::string("ear"));
  inactive.reset();
  EXPECT_EQ(LedsAccess::guardCount(), 1);
  active.reset();
  EXPECT_EQ(LedsAccess::guardCount(), 0);
  EXPECT_THAT(log.lines(), ElementsAre(kPaused, kResumed));
}

TEST_F(GuardOfBlinking, PausesOnceAndResumesOnceInWhicheverOrderTheyEnd) {
  for (const bool firstEndsFirst : {true, false}) {
    log.clear();
    std::optional<Guard> first(std::in_place, blinking);
    std::optional<Guard> second(std::in_place, blinking, "eye");
    EXPECT_EQ(LedsAccess::guardCount(), 2);
    (firstEndsFirst ? first : second).reset();
    EXPECT_EQ(paused(), 1);
    EXPECT_THAT(log.lines(), ElementsAre(kPaused));
    first.reset();
    second.reset();
    EXPECT_EQ(paused(), 0);
    EXPECT_THAT(log.lines(), ElementsAre(kPaused, kResumed));
  }
}

TEST_F(GuardOfBlinking, CountsWithoutAnObjectWhenUnconditionalAndLogsNothing) {
  {
    const Guard guard{boost::shared_ptr<PassiveBlinking>()};
    EXPECT_EQ(LedsAccess::guardCount(), 1);
    const Guard second(blinking);  // not the first: does not pause
    EXPECT_EQ(LedsAccess::guardCount(), 2);
    EXPECT_EQ(paused(), 0);
  }
  EXPECT_EQ(LedsAccess::guardCount(), 0);
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(GuardOfBlinking, IsInactiveWithoutAnObjectWhenConditional) {
  const Guard guard(nullptr, "eye");
  EXPECT_EQ(LedsAccess::guardCount(), 0);
}

TEST_F(GuardOfBlinking, KeepsItsObjectAlive) {
  boost::weak_ptr<PassiveBlinking> weak(blinking);
  std::optional<Guard> guard(std::in_place, blinking);
  blinking.reset();
  EXPECT_FALSE(weak.expired());
  guard.reset();
  EXPECT_TRUE(weak.expired());
  EXPECT_THAT(log.lines(), ElementsAre(kPaused, kResumed));
}

TEST_F(GuardOfBlinking, LogsBeforeItPausesAndBeforeItResumes) {
  std::vector<int> seen;
  log.onLine([&](const LogLine&) { seen.push_back(paused()); });
  { const Guard guard(blinking); }
  EXPECT_THAT(seen, ElementsAre(0, 1));
}

TEST_F(GuardOfBlinking, PausesAndResumesUnderItsLock) {
  std::vector<bool> free;
  log.onLine([&](const LogLine&) {
    Beside attempt([&] {
      const bool had = LedsAccess::guardMutex().try_lock();
      if (had) LedsAccess::guardMutex().unlock();
      free.push_back(had);
    });
    attempt.get();
  });
  { const Guard guard(blinking); }
  EXPECT_THAT(free, ElementsAre(false, false));
}

TEST_F(GuardOfBlinking, AsksForTheConflictUnderItsLock) {
  boost::unique_lock<boost::mutex> resources(LedsAccess::resourcesMutex(*blinking));
  Beside asks([&] { const Guard guard(blinking, "eye"); });
  EXPECT_TRUE(becomesTrue([&] {
    const bool had = LedsAccess::guardMutex().try_lock();
    if (had) LedsAccess::guardMutex().unlock();
    return !had;
  }));
  resources.unlock();
  EXPECT_TRUE(asks.ends());
}

TEST_F(GuardOfBlinking, PausesOnceAndResumesOnceForEightThreads) {
  std::optional<Guard> outer(std::in_place, blinking);
  std::vector<Beside> threads;
  for (int t = 0; t < 8; ++t) {
    threads.emplace_back([this] {
      for (int i = 0; i < 1000; ++i) {
        const Guard guard(blinking, "eye");
        const Guard inactive(blinking, "ear");
        EXPECT_EQ(paused(), 1);
      }
    });
  }
  for (auto& thread : threads) thread.get();
  EXPECT_THAT(log.lines(), ElementsAre(kPaused));
  EXPECT_EQ(LedsAccess::guardCount(), 1);
  outer.reset();
  EXPECT_THAT(log.lines(), ElementsAre(kPaused, kResumed));
}

TEST_F(GuardOfBlinking, AlternatesPausesAndResumesWhateverTheThreadsDo) {
  std::vector<Beside> threads;
  for (int t = 0; t < 8; ++t) {
    threads.emplace_back([this] {
      for (int i = 0; i < 1000; ++i) const Guard guard(blinking);
    });
  }
  for (auto& thread : threads) thread.get();
  const auto lines = log.lines();
  ASSERT_EQ(lines.size() % 2, 0u);
  for (std::size_t i = 0; i < lines.size(); ++i) ASSERT_EQ(lines[i], i % 2 ? kResumed : kPaused);
  EXPECT_EQ(paused(), 0);
  EXPECT_EQ(LedsAccess::guardCount(), 0);
}

class GuardOfCommand : public ::testing::TestWithParam<Command> {
 protected:
  Robot robot;
  LedsAccess in{robot.leds()};
  const Command& command = GetParam();

  void run(const std::string& name) { command.run(robot.leds(), name); }
};

TEST_P(GuardOfCommand, PausesForNamesOfTheFaceAndResumes) {
  for (const std::string name : {"FaceLeds", "AllLeds", "FaceLed0", "Eye1",
                                 command.takesDevices ? small::kEye0Red.c_str() : "Eye0"}) {
    robot.forget();
    run(name);
    EXPECT_THAT(robot.log().lines(), ElementsAre(kPaused, kResumed)) << name;
    EXPECT_EQ(LedsAccess::guardCount(), 0);
  }
}

TEST_P(GuardOfCommand, LeavesPassiveBlinkingAloneForOtherNames) {
  for (const std::string name : {"EarLeds", "EarLed1", "Ear1", "BrainLeds", "FeetLeds",
                                 command.takesDevices ? small::kEar1.c_str() : "Ear2"}) {
    run(name);
  }
  EXPECT_THAT(robot.log().lines(), IsEmpty());
  run("ChestLeds");
  EXPECT_THAT(robot.log().texts("PassiveBlinking"), IsEmpty());
}

TEST_P(GuardOfCommand, KeepsPausedWhileItRuns) {
  if (!command.sends) return;
  robot.motion().hold();
  Beside running([&] { run("FaceLeds"); });
  ASSERT_TRUE(robot.motion().awaitHeld(1));
  EXPECT_EQ(LedsAccess::paused(*in.fPassiveBlinking()), 1);
  robot.motion().release();
  EXPECT_TRUE(running.ends());
  EXPECT_EQ(LedsAccess::paused(*in.fPassiveBlinking()), 0);
}

TEST_P(GuardOfCommand, OverlapsWithAnotherInOnePause) {
  if (!command.sends) return;
  robot.motion().hold();
  Beside first([&] { run("FaceLeds"); });
  Beside second([&] { run("FaceLeds"); });
  ASSERT_TRUE(robot.motion().awaitHeld(2));
  robot.motion().release();
  EXPECT_TRUE(first.ends() && second.ends());
  EXPECT_THAT(robot.log().lines(), ElementsAre(kPaused, kResumed));
}

TEST_P(GuardOfCommand, EndsItsGuardWhenItReturnsThoughItsFadeGoesOn) {
  run("FaceLeds");
  EXPECT_EQ(LedsAccess::guardCount(), 0);
  EXPECT_EQ(LedsAccess::paused(*in.fPassiveBlinking()), 0);
}

TEST_P(GuardOfCommand, PausesForAGroupMadeOfAFaceDeviceAndNotForAReplacement) {
  robot.leds().createGroup("Mine", {"Ear1", small::kEye0Red});
  robot.forget();
  run("Mine");
  EXPECT_THAT(robot.log().lines(), ElementsAre(kPaused, kResumed));
  robot.leds().createGroup("Mine", {"Ear1"});
  robot.forget();
  run("Mine");
  EXPECT_THAT(robot.log().lines(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Commands, GuardOfCommand, ::testing::ValuesIn(commands()), nameOfCommand);

}  // namespace
}  // namespace HB::test
