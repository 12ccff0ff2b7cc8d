#include "framework/xo/clock_board.h"

#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <stdexcept>

namespace xo::detail {
namespace {

using RealClock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr auto kPatience = std::chrono::seconds(10);
constexpr auto kLookAgain = milliseconds(1);
constexpr auto kStandstill = milliseconds(50);  // seen twice in a row

[[noreturn]] void throwImpatient(const std::string& what) {
  throw std::runtime_error("The hand-driven clock waited for 10 s: " + what);
}

// A thread that is blocked in the kernel and has not run since the last look shows the same text;
// "" for one that is running.
std::string blockedIn(int thread) {
  std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/status");
  std::string seen = std::to_string(thread) + ":";
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with("State:") && line.find('R') != std::string::npos) return "";
    if (line.find("ctxt_switches") != std::string::npos) seen += line + ";";
  }
  return seen;
}

// While the calling thread drives the clock: it waits for everybody but itself.
class DriverMark {
 public:
  DriverMark(const ThreadRecord*& driver, const ThreadRecord& thread) : fDriver(driver) {
    fDriver = &thread;
  }
  ~DriverMark() { fDriver = nullptr; }
  DriverMark(const DriverMark&) = delete;
  DriverMark& operator=(const DriverMark&) = delete;

 private:
  const ThreadRecord*& fDriver;
};

}  // namespace

ThreadRecord::ThreadRecord() : kernelId(gettid()) {
  ClockBoard& board = ClockBoard::instance();
  const std::lock_guard lock(board.fMutex);
  board.fThreads.insert(this);
}

ThreadRecord::~ThreadRecord() {
  ClockBoard& board = ClockBoard::instance();
  const std::lock_guard lock(board.fMutex);
  board.fThreads.erase(this);
  board.xChanged();
}

ThreadRecord& ThreadRecord::ofThisThread() {
  thread_local ThreadRecord record;  // this library stays in the process
  return record;
}

ClockBoard& ClockBoard::instance() noexcept {
  static ClockBoard* const board = new ClockBoard;
  return *board;
}

void ClockBoard::install() {
  const Lock lock(fMutex);
  if (fInstalled) throw std::logic_error("A hand-driven clock already stands");
  for (ThreadRecord* thread : fThreads) thread->isKnown = thread->isBlockedElsewhere = false;
  fNow = RealClock::now().time_since_epoch().count();
  ++fEpoch;
  fInstalled = true;
}

void ClockBoard::uninstall() {
  Lock lock(fMutex);
  fInstalled = false;
  ++fEpoch;
  for (Sleeper* sleeper : fSleepers) sleeper->isNotified = true;
  while (!fSleepers.empty()) xAwaitBriefly(lock);
}

bool ClockBoard::waitUntil(std::unique_lock<std::mutex>& lock, std::condition_variable& wake,
                           TimePoint deadline) {
  ThreadRecord& thread = ThreadRecord::ofThisThread();
  Sleeper self{&wake, deadline, &thread};
  {
    const Lock guard(fMutex);
    if (!fInstalled) return true;
    thread.isKnown = true;
    thread.isBlockedElsewhere = false;
    if (deadline != kNever && deadline <= now()) return false;
    thread.isParked = true;
    fSleepers.push_back(&self);
    xChanged();
  }
  // A notification that comes before the wait begins is repeated until this sleeper has gone.
  wake.wait(lock);
  const Lock guard(fMutex);
  thread.isParked = false;
  fSleepers.erase(std::find(fSleepers.begin(), fSleepers.end(), &self));
  xChanged();
  return !self.isDue;
}

void ClockBoard::notifyAll(std::condition_variable& wake) noexcept {
  const Lock lock(fMutex);
  for (Sleeper* sleeper : fSleepers) {
    if (sleeper->wake == &wake) {
      sleeper->isNotified = true;
      sleeper->thread->isParked = false;
    }
  }
  wake.notify_all();
  xChanged();
}

void ClockBoard::workBegins() noexcept {
  fWorkEver.fetch_add(1);
  fQueuedWork.fetch_add(1);
}

void ClockBoard::workEnds() noexcept {
  fQueuedWork.fetch_sub(1);
  if (!isInstalled()) return;
  ThreadRecord& thread = ThreadRecord::ofThisThread();
  const Lock lock(fMutex);
  thread.isBlockedElsewhere = false;  // it takes work again
  xChanged();
}

void ClockBoard::threadBegan() noexcept {
  fStarting.fetch_sub(1);
  const Lock lock(fMutex);
  xChanged();
}

void ClockBoard::threadLeaves() noexcept {
  ThreadRecord& thread = ThreadRecord::ofThisThread();
  const Lock lock(fMutex);
  thread.isKnown = false;
  xChanged();
}

void ClockBoard::markOwn() noexcept {
  ThreadRecord& thread = ThreadRecord::ofThisThread();
  const Lock lock(fMutex);
  thread.isOwn = true;
}

void ClockBoard::advance(Duration by) {
  ThreadRecord& thread = ThreadRecord::ofThisThread();
  Lock lock(fMutex);
  const DriverMark mark(fDriver, thread);
  const TimePoint target = after(now(), std::max(by, Duration::zero()));
  xSettle(lock);
  for (TimePoint next = xNextDeadline(); next <= target && next != kNever; next = xNextDeadline()) {
    fNow = next.time_since_epoch().count();
    for (Sleeper* sleeper : fSleepers) {
      if (sleeper->deadline <= next) xWake(*sleeper);
    }
    xSettle(lock);
  }
  fNow = target.time_since_epoch().count();
}

void ClockBoard::awaitSleepers(int count) {
  const auto deadline = RealClock::now() + kPatience;
  Lock lock(fMutex);
  const auto isSleeping = [](const Sleeper* sleeper) {
    return sleeper->deadline != kNever && sleeper->thread->isParked &&
           !sleeper->thread->waitsForWork;
  };
  while (std::count_if(fSleepers.begin(), fSleepers.end(), isSleeping) < count) {
    if (RealClock::now() > deadline) {
      throwImpatient("fewer than " + std::to_string(count) + " threads came to sleep");
    }
    xAwaitBriefly(lock);
  }
}

void ClockBoard::awaitIdle() {
  const auto deadline = RealClock::now() + kPatience;
  Lock lock(fMutex);
  while (!xIsSettled(true)) {
    if (RealClock::now() > deadline) throwImpatient("work is still queued or running");
    xAwaitBriefly(lock);
  }
}

void ClockBoard::xChanged() noexcept {
  ++fChanges;
  fChanged.notify_all();
}

void ClockBoard::xWake(Sleeper& sleeper) noexcept {
  sleeper.isDue = true;
  sleeper.thread->isParked = false;
  sleeper.wake->notify_all();  // stands as long as the sleeper is on the board
}

void ClockBoard::xRepeatNotifications() noexcept {
  for (Sleeper* sleeper : fSleepers) {
    if (sleeper->isDue || sleeper->isNotified) sleeper->wake->notify_all();
  }
}

bool ClockBoard::xIsBusy(const ThreadRecord& thread) const {
  return &thread != fDriver && (thread.isOwn || thread.isKnown) && !thread.isParked &&
         !thread.waitsInRealTime && !thread.isBlockedElsewhere;
}

bool ClockBoard::xIsSettled(bool ownThreadsOnly) const {
  const unsigned workEver = fWorkEver;
  if (fQueuedWork != 0 || fStarting != 0) return false;
  const bool isBusy = std::any_of(fThreads.begin(), fThreads.end(), [&](const ThreadRecord* one) {
    return xIsBusy(*one) && (one->isOwn || !ownThreadsOnly);
  });
  return !isBusy && workEver == fWorkEver;  // else a step passed by while the threads were counted
}

// Waits until everybody is parked, or blocked on something that time does not end.
void ClockBoard::xSettle(Lock& lock) {
  const auto deadline = RealClock::now() + kPatience;
  auto lookAt = RealClock::now() + kStandstill;
  std::string before;
  while (!xIsSettled(false)) {
    const auto real = RealClock::now();
    if (real > deadline) throwImpatient("a woken thread neither sleeps again nor ends");
    if (real >= lookAt) {
      const std::string standstill = xStandstill();
      if (!standstill.empty() && standstill == before) {
        xMarkBlockedElsewhere();
        return;
      }
      before = standstill;
      lookAt = real + kStandstill;
    }
    xAwaitBriefly(lock);
  }
}

void ClockBoard::xAwaitBriefly(Lock& lock) {
  xRepeatNotifications();
  fChanged.wait_for(lock, kLookAgain);
}

std::string ClockBoard::xStandstill() const {
  if (fStarting != 0) return "";
  std::string all = std::to_string(fChanges) + "," + std::to_string(fWorkEver) + "," +
                    std::to_string(fQueuedWork) + ",";
  for (const ThreadRecord* thread : fThreads) {
    if (thread == fDriver || !(xIsBusy(*thread) || thread->isOwn)) continue;
    const std::string one = blockedIn(thread->kernelId);
    if (one.empty()) return "";
    all += one;
  }
  return all;
}

void ClockBoard::xMarkBlockedElsewhere() {
  for (ThreadRecord* thread : fThreads) {
    if (xIsBusy(*thread)) thread->isBlockedElsewhere = true;
  }
}

TimePoint ClockBoard::xNextDeadline() const {
  TimePoint next = kNever;
  for (const Sleeper* sleeper : fSleepers) {
    if (sleeper->thread->isParked) next = std::min(next, sleeper->deadline);
  }
  return next;
}

}  // namespace xo::detail
