#include "framework/xo/os.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <sched.h>
#include <sys/resource.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <climits>
#include <cstdlib>
#include <string>
#include <thread>

#include "framework/xo/call.h"
#include "framework/xo/clock.h"

namespace {

using std::chrono::milliseconds;

std::string kernelName() {
  std::array<char, 64> name{};
  pthread_getname_np(pthread_self(), name.data(), name.size());
  return name.data();
}

TEST(OsSleep, LastsAsLongAsTheProcessClockSays) {
  xo::ManualClock clock;
  std::atomic<bool> isOver{false};
  std::thread sleeper([&] {
    xo::os::msleep(50);
    isOver = true;
  });
  clock.awaitSleepers(1);
  clock.advance(milliseconds(49));
  EXPECT_FALSE(isOver);
  clock.advance(milliseconds(1));
  EXPECT_TRUE(isOver);
  sleeper.join();
}

TEST(OsSleep, ReturnsAtOnceForZeroAndLess) {
  const xo::ManualClock clock;  // nobody drives it: any real sleep would last for ever
  xo::os::msleep(0);
  xo::os::msleep(-1);
  xo::os::msleep(INT_MIN);
}

TEST(OsSleep, EndsAtOnceWhenItsModuleEnds) {
  xo::ManualClock clock;
  xo::Ending ending;
  std::atomic<int> passes{0};
  std::thread sleeper([&] {
    const xo::CallScope scope(&ending);
    for (; passes < 1000; ++passes) xo::os::msleep(INT_MAX);
  });
  clock.awaitSleepers(1);
  EXPECT_EQ(passes, 0);
  ending.raise();
  sleeper.join();
  EXPECT_EQ(passes, 1000);
}

TEST(OsSleep, PassesInRealTimeWithoutAHandDrivenClock) {
  const auto before = std::chrono::steady_clock::now();
  xo::os::msleep(2);
  EXPECT_GE(std::chrono::steady_clock::now() - before, milliseconds(2));
}

TEST(OsThreadName, IsKeptWholeAndCutForTheKernel) {
  std::thread([] {
    EXPECT_EQ(xo::os::currentThreadName(), "");
    xo::os::setCurrentThreadName("PassiveBlinking.ioservice");
    EXPECT_EQ(xo::os::currentThreadName(), "PassiveBlinking.ioservice");
    EXPECT_EQ(kernelName(), "PassiveBlinking");
    xo::os::setCurrentThreadName("short");
    EXPECT_EQ(kernelName(), "short");
  }).join();
}

TEST(OsSnprintf, NeverWritesPastTheBuffer) {
  std::array<char, 8> buffer{};
  buffer.fill('#');
  EXPECT_EQ(xo::os::snprintf(buffer.data(), 5, "%d", 1234567), 7);
  EXPECT_STREQ(buffer.data(), "1234");
  EXPECT_EQ(buffer[5], '#');
  EXPECT_EQ(xo::os::snprintf(buffer.data(), buffer.size(), "%8f", 0.5), 8);
  EXPECT_STREQ(buffer.data(), "0.50000");
  buffer.fill('#');
  EXPECT_EQ(xo::os::snprintf(buffer.data(), 0, "%d", 12), 2);
  EXPECT_EQ(buffer[0], '#');
}

TEST(OsPreferCurrentThread, ConcernsThatThreadAloneAndNoneThatItStarts) {
  std::thread([] {
    const int wanted = xo::os::preferCurrentThread() ? SCHED_FIFO : SCHED_OTHER;
    EXPECT_EQ(sched_getscheduler(0) & ~SCHED_RESET_ON_FORK, wanted);
    std::thread([] { EXPECT_EQ(sched_getscheduler(0), SCHED_OTHER); }).join();
  }).join();
  EXPECT_EQ(sched_getscheduler(0), SCHED_OTHER);
}

/// Ends the process: 0 when it may not be preferred, and is not.
[[noreturn]] void tryWithoutRights() {
  const rlimit none{0, 0};
  setrlimit(RLIMIT_RTPRIO, &none);
  constexpr uid_t kNobody = 65534;
  if (getuid() == 0 && setuid(kNobody) != 0) std::_Exit(2);
  const bool isPreferred = xo::os::preferCurrentThread();
  std::_Exit(!isPreferred && sched_getscheduler(0) == SCHED_OTHER ? 0 : 1);
}

TEST(OsPreferCurrentThread, ChangesNothingWhereItIsNotAllowed) {
  EXPECT_EXIT(tryWithoutRights(), testing::ExitedWithCode(0), "");
}

}  // namespace
