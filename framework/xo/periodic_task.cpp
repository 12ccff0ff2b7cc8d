#include "framework/xo/periodic_task.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <limits>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <utility>

#include "framework/xo/call.h"
#include "framework/xo/clock.h"
#include "framework/xo/error.h"
#include "framework/xo/log.h"
#include "framework/xo/os.h"

namespace xo {
namespace {

const log::Category kLog("PeriodicTask");

Duration fromMicroseconds(std::int64_t period) {
  constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max() / 1000;
  return std::chrono::microseconds(std::min(period, kMost));
}

}  // namespace

// One thread serves one run after another as long as it is asked to; it ends when nobody asks. A
// run is what lies between start() and stop(): a start() during the last tick of the run before
// begins a new run on the same thread, so that two ticks can never overlap.
struct PeriodicTask::State {
  using Callback = std::function<void()>;
  using Lock = std::unique_lock<std::mutex>;

  struct Run {
    std::string name;
    Duration period = std::chrono::milliseconds(100);
    std::shared_ptr<const Callback> callback;
    Ending* ending = nullptr;
    bool isImmediate = false;
  };

  // The settings of the next run, and the run that is wanted now.
  Run settings;
  Run current;
  bool isWanted = false;
  std::uint64_t wanted = 0;  // number of the run that was started last
  std::uint64_t served = 0;  // number of the run that the thread works on
  bool hasThread = false;    // a thread serves or is about to
  std::thread thread;
  mutable std::mutex mutex;
  std::condition_variable wake;

  bool isOn(std::uint64_t run) const { return isWanted && wanted == run; }
  bool isOwnThread() const { return hasThread && thread.get_id() == std::this_thread::get_id(); }

  void serve() {
    Lock lock(mutex);
    while (isWanted) {
      served = wanted;
      serveRun(lock, served, std::move(current));
      clock().notifyAll(wake);  // who stopped that run may go
    }
    hasThread = false;
    clock().notifyAll(wake);
  }

  void serveRun(Lock& lock, std::uint64_t number, Run run) {
    lock.unlock();
    os::setCurrentThreadName(run.name);
    const TimePoint start = clock().now();
    TimePoint next = run.isImmediate ? start : after(start, run.period);
    lock.lock();
    while (isOn(number)) {
      if (clock().now() < next) {
        clock().waitUntil(lock, wake, next);
        continue;
      }
      lock.unlock();
      tick(run);
      const TimePoint now = clock().now();
      next = after(next, run.period);
      // What fell into this tick is one tick late, not many: the latest missed one comes at once.
      if (next < now) next = start + (now - start) / run.period * run.period;
      lock.lock();
    }
    lock.unlock();
    run.callback.reset();  // whoever stops may unload the callback's code as soon as it is let go
    lock.lock();
  }

  static void tick(const Run& run) noexcept {
    const CallScope scope(run.ending);
    try {
      (*run.callback)();
    } catch (...) {
      try {
        kLog.error("A tick of " + run.name + " threw: " + textOf(copyCurrentException()));
      } catch (...) {  // out of memory for the text
      }
    }
  }

  // `self` is this state's own pointer; the lock is held.
  void spawn(const std::shared_ptr<State>& self) {
    hasThread = true;
    clock().threadBegins();
    try {
      thread = std::thread([self] {
        detail::markFrameworkThread();
        clock().threadBegan();
        self->serve();
      });
    } catch (...) {
      clock().threadBegan();
      hasThread = isWanted = false;
      throw;
    }
  }

  // Joins threads that have served their last run; another may come and go meanwhile.
  void joinEnded(Lock& lock) {
    while (!hasThread && thread.joinable()) {
      std::thread ended = std::move(thread);
      lock.unlock();
      ended.join();
      lock.lock();
    }
  }
};

PeriodicTask::PeriodicTask() : fState(std::make_shared<State>()) {}

PeriodicTask::~PeriodicTask() { stop(); }

void PeriodicTask::setName(std::string name) {
  const std::lock_guard lock(fState->mutex);
  fState->settings.name = std::move(name);
}

void PeriodicTask::setUsPeriod(std::int64_t period) {
  if (period < 1) {
    throw std::invalid_argument("A period of " + std::to_string(period) +
                                " microseconds; at least 1 expected");
  }
  const std::lock_guard lock(fState->mutex);
  fState->settings.period = fromMicroseconds(period);
}

void PeriodicTask::setCallback(std::function<void()> callback) {
  auto made = std::make_shared<const State::Callback>(std::move(callback));
  const std::lock_guard lock(fState->mutex);
  fState->settings.callback.swap(made);
}

void PeriodicTask::start(bool immediate) {
  Ending* const ending = CallScope::currentEnding();
  State::Lock lock(fState->mutex);
  fState->joinEnded(lock);
  if (fState->isWanted) return;
  if (!fState->settings.callback || !*fState->settings.callback) {
    throw std::logic_error("A periodic task without a callback cannot start");
  }
  fState->current = fState->settings;
  fState->current.ending = ending;
  fState->current.isImmediate = immediate;
  fState->isWanted = true;
  ++fState->wanted;
  if (!fState->hasThread) fState->spawn(fState);
}

void PeriodicTask::stop() {
  std::shared_ptr<const State::Callback> unserved;  // released after the lock
  State::Lock lock(fState->mutex);
  const std::uint64_t run = fState->wanted;
  fState->isWanted = false;
  unserved.swap(fState->current.callback);
  clock().notifyAll(fState->wake);
  if (fState->isOwnThread()) return;
  while (fState->hasThread && fState->served <= run) {
    clock().waitUntil(lock, fState->wake, kNever);
  }
  fState->joinEnded(lock);
}

bool PeriodicTask::isRunning() const {
  const std::lock_guard lock(fState->mutex);
  return fState->isWanted;
}

}  // namespace xo
