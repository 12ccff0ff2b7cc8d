#include "fuzz/alarm.h"

#include <execinfo.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <utility>

#include "fuzz/harness.h"

namespace fuzz {
namespace {

constexpr int kTellStack = SIGUSR2;
constexpr int kDeepest = 64;

extern "C" void tellStack(int) {
  std::array<void*, kDeepest> frames;
  const int depth = backtrace(frames.data(), kDeepest);
  backtrace_symbols_fd(frames.data(), depth, STDERR_FILENO);
}

/// One thread after another, so that their lines do not mix.
void tellAllStacks() {
  std::array<void*, 1> one;
  backtrace(one.data(), 1);  // loads what it needs before a signal handler needs it
  std::signal(kTellStack, tellStack);
  for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
    const int id = std::stoi(task.path().filename());
    if (id == syscall(SYS_gettid)) continue;
    std::fprintf(stderr, "thread %d\n", id);
    syscall(SYS_tgkill, getpid(), id, kTellStack);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));  // a handler cannot tell its end
  }
}

}  // namespace

Alarm::Alarm(std::chrono::milliseconds most, std::function<void()> late)
    : fMost(most), fLate(std::move(late)), fThread([this] { xWatch(); }) {}

Alarm::~Alarm() {
  {
    const std::lock_guard lock(fMutex);
    fIsOver = true;
    fChanged.notify_all();
  }
  fThread.join();
}

void Alarm::set() {
  const std::lock_guard lock(fMutex);
  // Nobody is woken for it: whatever the thread waits for comes sooner.
  fDeadline = std::chrono::steady_clock::now() + fMost;
}

void Alarm::clear() {
  const std::lock_guard lock(fMutex);
  fDeadline.reset();
}

void Alarm::xWatch() {
  std::unique_lock lock(fMutex);
  while (!fIsOver) {
    if (!fDeadline) {
      fChanged.wait_for(lock, fMost);
    } else if (std::chrono::steady_clock::now() < *fDeadline) {
      const auto deadline = *fDeadline;
      fChanged.wait_until(lock, deadline);
    } else {
      fDeadline.reset();
      fLate();
    }
  }
}

Watchdog::Watchdog(std::chrono::seconds most)
    : fMost(most), fAlarm(most, [this] {
        std::fprintf(stderr, "%s\n", fWhat.c_str());
        tellAllStacks();
        found("one input runs for longer than " + std::to_string(fMost.count()) + " s");
      }) {}

void Watchdog::begin(std::string what) {
  fWhat = std::move(what);
  fAlarm.set();
}

}  // namespace fuzz
