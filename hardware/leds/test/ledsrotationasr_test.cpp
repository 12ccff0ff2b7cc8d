// When a rotation runs: the two wishes, its preparation, its task.
#include "hardware/leds/src/ledsrotationasr.h"

#include <gmock/gmock.h>

#include <atomic>
#include <functional>

#include "framework/xo/clock.h"
#include "hardware/leds/test/support/errors.h"
#include "hardware/leds/test/support/leds_access.h"
#include "hardware/leds/test/support/robot.h"
#include "hardware/leds/test/support/sleepless.h"
#include "hardware/leds/test/support/threads.h"

namespace HB::test {
namespace {

using std::chrono::milliseconds;
using ::testing::ElementsAre;

/// A rotation that draws nothing and counts.
class Probe final : public LedsRotationASR {
 public:
  explicit Probe(HBLeds* leds, int period = 1000000) : LedsRotationASR(leds, period, "Probe") {}

  std::atomic<int> preparations{0};
  std::atomic<int> ticks{0};
  std::function<void()> during = [] {};
  std::function<void()> duringTick = [] {};

 private:
  void xInitBeforeStart() override {
    ++preparations;
    during();
  }
  void xCallbackPeriodicTask() override {
    ++ticks;
    duringTick();
  }
};

enum class Operation { kStart, kStop, kEnable, kDisable };
constexpr Operation kOperations[] = {Operation::kStart, Operation::kStop, Operation::kEnable,
                                     Operation::kDisable};
constexpr const char* kNames[] = {"start", "stop", "enable", "disable"};

void apply(LedsRotationASR& rotation, Operation operation) {
  switch (operation) {
    case Operation::kStart:
      return rotation.start();
    case Operation::kStop:
      return rotation.stop();
    case Operation::kEnable:
      return rotation.setEnabled(true);
    case Operation::kDisable:
      return rotation.setEnabled(false);
  }
}

/// The wishes as a client means them, and how often the rotation had to be prepared for them.
struct Wishes {
  bool started = false;
  bool enabled = true;
  int preparations = 0;

  bool runs() const { return started && enabled; }
  void apply(Operation operation) {
    const bool ran = runs();
    if (operation == Operation::kStart || operation == Operation::kStop) {
      started = operation == Operation::kStart;
    } else {
      enabled = operation == Operation::kEnable;
    }
    if (runs() && !ran) ++preparations;
  }
};

void expectAsWished(LedsRotationASR& rotation, const Wishes& wishes) {
  ASSERT_EQ(LedsAccess::started(rotation), wishes.started);
  ASSERT_EQ(LedsAccess::enabled(rotation), wishes.enabled);
  ASSERT_EQ(LedsAccess::running(rotation), wishes.runs());
  ASSERT_EQ(LedsAccess::task(rotation).isRunning(), wishes.runs());
}

/// The operations of a sequence, as the digits of its number.
std::vector<Operation> sequence(int number, int length) {
  std::vector<Operation> operations;
  for (int i = 0; i < length; ++i, number /= 4) operations.push_back(kOperations[number % 4]);
  return operations;
}

std::string textOf(const std::vector<Operation>& operations) {
  std::string text;
  for (const auto operation : operations) {
    text += std::string(" ") + kNames[static_cast<int>(operation)];
  }
  return text;
}

TEST(Rotation, RunsAfterEverySequenceOfWishesExactlyWhileItIsStartedAndEnabled) {
  constexpr int kLength = 6;  // each shorter one is the beginning of some
  Robot robot;
  for (int number = 0; number < 1 << 2 * kLength; ++number) {
    Probe rotation(&robot.leds());
    Wishes wishes;
    const auto operations = sequence(number, kLength);
    for (const auto operation : operations) {
      apply(rotation, operation);
      wishes.apply(operation);
      expectAsWished(rotation, wishes);
      ASSERT_EQ(rotation.preparations, wishes.preparations) << textOf(operations);
      if (HasFatalFailure()) FAIL() << textOf(operations);
    }
    rotation.stop();
  }
}

template <class R>
class RealRotation : public ::testing::Test {};
using RealRotations = ::testing::Types<EyesRotationASR, EarsRotationASR>;
TYPED_TEST_SUITE(RealRotation, RealRotations);

TYPED_TEST(RealRotation, RunsAfterEveryShortSequenceExactlyWhileItIsStartedAndEnabled) {
  constexpr int kLength = 3;
  Robot robot;
  const Sleepless sleepless;
  for (int number = 0; number < 1 << 2 * kLength; ++number) {
    TypeParam rotation(&robot.leds());
    Wishes wishes;
    for (const auto operation : sequence(number, kLength)) {
      apply(rotation, operation);
      wishes.apply(operation);
      expectAsWished(rotation, wishes);
      if (this->HasFatalFailure()) FAIL() << textOf(sequence(number, kLength));
    }
    rotation.stop();
  }
}

TEST(Rotation, IsPreparedBeforeItsFirstTickWhichComesAtOnce) {
  xo::ManualClock clock;
  Robot robot;
  Probe rotation(&robot.leds());
  rotation.during = [&] { EXPECT_EQ(rotation.ticks, 0); };
  rotation.start();
  clock.advance(milliseconds(0));
  EXPECT_EQ(rotation.ticks, 1);
  clock.advance(milliseconds(999));
  EXPECT_EQ(rotation.ticks, 1);
  clock.advance(milliseconds(1));
  EXPECT_EQ(rotation.ticks, 2);
  rotation.stop();
}

TEST(Rotation, IsPreparedUnderItsLockWhichItsTicksDoNotTake) {
  Robot robot;
  Probe rotation(&robot.leds());
  std::vector<bool> free;
  rotation.during = [&] { free.push_back(canExclude(LedsAccess::mutex(rotation))); };
  rotation.start();
  EXPECT_THAT(free, ElementsAre(false));
  const boost::recursive_mutex::scoped_lock lock(LedsAccess::mutex(rotation));
  rotation.stop();
  const int before = rotation.ticks;
  rotation.start();  // ticks though this thread holds the lock
  EXPECT_TRUE(becomesTrue([&] { return rotation.ticks > before; }));
  rotation.stop();
}

TEST(Rotation, StopAndDisableWaitForTheTick) {
  for (const bool stops : {true, false}) {
    Robot robot;
    Probe rotation(&robot.leds());
    std::mutex tick;
    std::unique_lock inside(tick);
    rotation.duringTick = [&] { const std::scoped_lock lock(tick); };
    rotation.start();
    EXPECT_TRUE(becomesTrue([&] { return rotation.ticks == 1; }));
    Beside ending([&] { stops ? rotation.stop() : rotation.setEnabled(false); });
    EXPECT_TRUE(ending.isKeptOut());
    EXPECT_TRUE(LedsAccess::task(rotation).isRunning() == false);
    inside.unlock();
    EXPECT_TRUE(ending.ends());
    EXPECT_FALSE(LedsAccess::running(rotation));
    EXPECT_EQ(rotation.ticks, 1);
  }
}

TEST(Rotation, WhosePreparationThrowsDoesNotRunAndRemembersTheWish) {
  Robot robot;
  Probe rotation(&robot.leds());
  rotation.during = [] { throw std::runtime_error("dark"); };
  EXPECT_EQ(runtimeError([&] { rotation.start(); }), "dark");
  EXPECT_TRUE(LedsAccess::started(rotation));
  EXPECT_FALSE(LedsAccess::running(rotation));
  EXPECT_FALSE(LedsAccess::task(rotation).isRunning());
  EXPECT_TRUE(canExclude(LedsAccess::mutex(rotation)));
  EXPECT_EQ(runtimeError([&] { rotation.setEnabled(true); }), "dark");  // tried again
  EXPECT_EQ(rotation.preparations, 2);
  rotation.during = [] {};
  rotation.setEnabled(true);
  EXPECT_TRUE(LedsAccess::running(rotation));
  rotation.stop();
}

TEST(Rotation, WhosePreparationThrowsWhenEnabledRemembersThatToo) {
  Robot robot;
  Probe rotation(&robot.leds());
  rotation.setEnabled(false);
  rotation.start();
  EXPECT_EQ(rotation.preparations, 0);
  rotation.during = [] { throw 5; };
  EXPECT_THROW(rotation.setEnabled(true), int);
  EXPECT_TRUE(LedsAccess::enabled(rotation));
  EXPECT_TRUE(LedsAccess::started(rotation));
  EXPECT_FALSE(LedsAccess::running(rotation));
  EXPECT_TRUE(canExclude(LedsAccess::mutex(rotation)));
  rotation.stop();
  EXPECT_FALSE(LedsAccess::started(rotation));
}

TEST(Rotation, GoesOnAfterATickThatThrew) {
  xo::ManualClock clock;
  Robot robot;
  Probe rotation(&robot.leds());
  rotation.duringTick = [] { throw 5; };
  rotation.start();
  clock.advance(milliseconds(3000));
  EXPECT_EQ(rotation.ticks, 4);
  EXPECT_TRUE(LedsAccess::running(rotation));
  rotation.stop();
}

TEST(Rotation, IsStoppedByManyAtOnceAndStartedByMany) {
  Robot robot;
  Probe rotation(&robot.leds(), 1);
  std::vector<Beside> clients;
  for (int client = 0; client < 4; ++client) {
    clients.emplace_back([&rotation, client] {
      for (int i = 0; i < 200; ++i) apply(rotation, kOperations[(i * 7 + client) % 4]);
    });
  }
  for (auto& client : clients) EXPECT_TRUE(client.ends());
  rotation.stop();
  EXPECT_FALSE(LedsAccess::task(rotation).isRunning());
}
}  // namespace
}  // namespace HB::test
