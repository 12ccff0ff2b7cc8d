#include "fuzz/caller.h"

#include <unistd.h>

#include <chrono>
#include <fstream>
#include <utility>

namespace fuzz {
namespace {

/// Most calls end within it.
constexpr std::chrono::microseconds kSpin{100};
/// Between two looks at a thread that is still busy.
constexpr std::chrono::microseconds kLookAgain{200};

}  // namespace

Caller::Caller() : fThread([this] { xRun(); }) {}

Caller::~Caller() {
  {
    const std::lock_guard lock(fMutex);
    fIsOver = true;
    fWake.notify_all();
  }
  fThread.join();
}

void Caller::begin(std::function<void()> action) {
  const std::lock_guard lock(fMutex);
  fIsBusy = true;
  fAction = std::move(action);
  fWake.notify_all();
}

void Caller::settle() const {
  const auto start = std::chrono::steady_clock::now();
  while (fIsBusy && std::chrono::steady_clock::now() - start < kSpin) std::this_thread::yield();
  std::string before;
  while (fIsBusy) {
    std::string seen = xLook();
    if (!seen.empty() && seen == before) return;
    before = std::move(seen);
    std::this_thread::sleep_for(kLookAgain);  // what holds a thread up tells nobody
  }
}

/// A thread that has not run since the last look shows the same text; "" for one that runs.
std::string Caller::xLook() const {
  std::ifstream file("/proc/self/task/" + std::to_string(fKernelId) + "/status");
  std::string seen;
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with("State:") && line.find('R') != std::string::npos) return "";
    if (line.find("ctxt_switches") != std::string::npos) seen += line;
  }
  return seen;
}

void Caller::xRun() {
  fKernelId = ::gettid();
  std::unique_lock lock(fMutex);
  for (;;) {
    fWake.wait(lock, [this] { return fAction != nullptr || fIsOver; });
    if (fAction == nullptr) return;
    const auto action = std::exchange(fAction, nullptr);
    lock.unlock();
    action();
    fIsBusy = false;
    lock.lock();
  }
}

}  // namespace fuzz
