// Locks and threads: who excludes whom, and that nothing tears under eight threads.
#include <gmock/gmock.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <fstream>

#include "hardware/leds/test/support/commands.h"
#include "hardware/leds/test/support/errors.h"
#include "hardware/leds/test/support/leds_access.h"
#include "hardware/leds/test/support/robot.h"
#include "hardware/leds/test/support/threads.h"

namespace HB::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using Strings = std::vector<std::string>;

/// Whether thread `id` of this process is asleep in the kernel.
bool isAsleep(long id) {
  std::ifstream file("/proc/self/task/" + std::to_string(id) + "/stat");
  std::string line;
  std::getline(file, line);
  const auto afterName = line.rfind(") ");
  return afterName != std::string::npos && line[afterName + 2] == 'S';
}

class LockOfCommand : public ::testing::TestWithParam<Command> {
 protected:
  Robot robot;
  LedsAccess in{robot.leds()};
  const Command& command = GetParam();

  void run(const std::string& name) { command.run(robot.leds(), name); }
  bool hasSent() { return !robot.motion().writes().empty(); }
};

TEST_P(LockOfCommand, IsHeldSharedWhileItWrites) {
  if (!command.sends) return;
  robot.motion().hold();
  Beside running([&] { run("FaceLeds"); });
  ASSERT_TRUE(robot.motion().awaitHeld(1));
  EXPECT_TRUE(canShare(in.fLedsMutex()));
  EXPECT_FALSE(canExclude(in.fLedsMutex()));
  robot.motion().release();
  EXPECT_TRUE(running.ends());
  EXPECT_TRUE(canExclude(in.fLedsMutex()));
}

TEST_P(LockOfCommand, IsTakenAfterThePauseAndBeforeAnythingIsSent) {
  std::unique_lock holder(in.fLedsMutex());
  Beside running([&] { run("FaceLeds"); });
  EXPECT_TRUE(becomesTrue([&] { return robot.journal().count("Pause passive blinking") == 1; }));
  EXPECT_TRUE(running.isKeptOut());
  EXPECT_FALSE(hasSent());
  EXPECT_EQ(robot.journal().count("Resume passive blinking"), 0u);
  holder.unlock();
  EXPECT_TRUE(running.ends());
  EXPECT_EQ(hasSent(), command.sends);
  EXPECT_EQ(robot.journal().count("Resume passive blinking"), 1u);
}

TEST_P(LockOfCommand, IsReleasedBeforePassiveBlinkingResumes) {
  bool free = false;
  robot.log().onLine([&](const LogLine& line) {
    if (line.text == "Resume passive blinking") free = canExclude(in.fLedsMutex());
  });
  run("FaceLeds");
  EXPECT_TRUE(free);
}

TEST_P(LockOfCommand, IsReleasedWhenTheNameIsUnknown) {
  EXPECT_THROW(run("Nose"), std::invalid_argument);
  EXPECT_TRUE(canExclude(in.fLedsMutex()));
}

TEST_P(LockOfCommand, LetsReadersPassWhileAnExclusiveOneWaits) {
  if (!command.sends) return;
  robot.motion().hold();
  Beside reader([&] { run("EarLeds"); });
  ASSERT_TRUE(robot.motion().awaitHeld(1));
  std::atomic<long> writerId{0};
  Beside writer([&] {
    writerId = syscall(SYS_gettid);
    robot.leds().createGroup("G", {"Ear1"});
  });
  ASSERT_TRUE(becomesTrue([&] { return writerId != 0 && isAsleep(writerId); }));
  EXPECT_TRUE(writer.isKeptOut());
  Beside second([&] { run("EarLeds"); });
  EXPECT_TRUE(robot.motion().awaitHeld(2));  // it came through while the writer waits
  Beside list([&] { robot.leds().listGroups(); });
  EXPECT_TRUE(list.ends());
  EXPECT_TRUE(writer.isKeptOut());
  EXPECT_FALSE(in.xIsGroupName("G"));
  robot.motion().release();
  EXPECT_TRUE(reader.ends() && second.ends() && writer.ends());
  EXPECT_TRUE(in.xIsGroupName("G"));
}

INSTANTIATE_TEST_SUITE_P(Commands, LockOfCommand, ::testing::ValuesIn(commands()), nameOfCommand);

TEST(Concurrency, CommandsWriteAtTheSameTime) {
  Robot robot;
  robot.motion().hold();
  const auto all = commands();  // the threads use them until they end
  std::vector<Beside> threads;
  for (const auto& command : all) {
    if (command.sends) threads.emplace_back([&] { command.run(robot.leds(), "FaceLeds"); });
  }
  EXPECT_TRUE(robot.motion().awaitHeld(static_cast<int>(threads.size())));
  robot.motion().release();
  for (auto& thread : threads) EXPECT_TRUE(thread.ends());
}

/// Runs `action` on `count` threads, `rounds` times each, and `meanwhile` on this one until they
/// are done. Bounded on their side: readers that never pause keep a waiting writer out.
template <class A, class M>
void runBeside(int count, int rounds, A action, M meanwhile) {
  std::atomic<int> running{count};
  std::vector<Beside> threads;
  for (int t = 0; t < count; ++t) {
    threads.emplace_back([&running, &action, rounds, t] {
      for (int i = 0; i < rounds; ++i) action(t);
      --running;
    });
  }
  for (int i = 0; running > 0; ++i) meanwhile(i);
  for (auto& thread : threads) EXPECT_NO_THROW(thread.get());
}

TEST(Concurrency, CommandsSeeAGroupWholeWhileItIsReplaced) {
  Robot robot;
  auto& leds = robot.leds();
  leds.createGroup("G", {"EarLeds"});
  robot.forget();
  const auto all = commands();
  runBeside(
      7, 200,
      [&](int t) {
        all[static_cast<std::size_t>(t)].run(leds, "G");
        const auto size = leds.listGroup("G").size();
        EXPECT_TRUE(size == 2 || size == 7) << size;
      },
      [&](int i) {
        leds.createGroup("G", i % 2 ? Strings{"EarLeds"} : Strings{"FaceLeds", "Brain"});
      });
  for (const auto& write : robot.motion().writes()) {
    const auto size = write.keys.size();
    EXPECT_TRUE(size == 1 || size == 2 || size == 7) << size;  // reset writes device by device
  }
  EXPECT_EQ(LedsAccess::guardCount(), 0);
}

TEST(Concurrency, RatioNeverChangesInTheMiddleOfACommand) {
  Robot robot;
  auto& leds = robot.leds();
  runBeside(
      2, 1000, [&](int) { leds.on("AllLeds"); },
      [&](int i) { leds._setIntensityRatio("AllLeds", i % 2 ? 0.5F : 1.0F); });
  for (const auto& write : robot.motion().writes()) {
    for (const auto& value : write.values) ASSERT_EQ(value, write.values.front());
  }
}

TEST(Concurrency, EightThreadsCallEveryPublishedCommand) {
  Robot robot;
  for (const auto& [device, info] : LedsAccess(robot.leds()).fDeviceInfos()) {
    robot.memory().set(small::kPrefix + device, 0.5F);
  }
  const auto service = robot.service();
  const std::array<std::string, 5> names{"FaceLeds", "Eye0", "EarLeds", "Ear1", "AllLeds"};
  std::vector<Beside> threads;
  for (int t = 0; t < 8; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < 50; ++i) {
        const auto& name = names[static_cast<std::size_t>((t + i) % 5)];
        service.call("setIntensity", name, 0.5F);
        service.call<xo::Future<void>>("fade", name, 0.5F, 1.0F);
        service.call<xo::Future<void>>("fadeRGB", name, std::string("red"), 1.0F);
        service.call<xo::Future<void>>("fadeListRGB", name, HBValue::list({255}),
                                       HBValue::list({1}));
        service.call("on", name);
        service.call("off", name);
        service.call("reset", name);
        service.call("_setIntensityRatio", name, i % 2 ? 0.5F : 1.0F);
        service.call<HBValue>("getIntensity", std::string("Eye0"));
        service.call("createGroup", "G" + std::to_string(t % 3), Strings{name, "Brain"});
        service.call<Strings>("listGroups");
        service.call<Strings>("listLEDs");
      }
    });
  }
  for (auto& thread : threads) EXPECT_NO_THROW(thread.get());
  EXPECT_EQ(LedsAccess::guardCount(), 0);
  LedsAccess in(robot.leds());
  EXPECT_EQ(LedsAccess::paused(*in.fPassiveBlinking()), 0);
  EXPECT_TRUE(in.fLedsCommanded());
  for (const auto& [device, info] : in.fDeviceInfos()) {
    for (const auto& [group, devices] : in.fGroupToDevices()) {
      EXPECT_EQ(devices.count(device), info->groups.count(group)) << device << " in " << group;
    }
  }
}

TEST(Concurrency, MotionMayComeAndGoUnderTheCommands) {
  Robot robot;
  runBeside(
      4, 200,
      [&](int) {
        robot.leds().fadeRGB("FaceLeds", 255, 1.0F);
        robot.leds().on("Eye0");
      },
      [&](int) {
        robot.motion().takeAway();
        robot.motion().bringBack();
      });
}

}  // namespace
}  // namespace HB::test
