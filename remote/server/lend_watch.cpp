#include "remote/server/lend_watch.h"

#include <algorithm>
#include <utility>

#include "framework/xo/os.h"

namespace remote {

LendWatch::~LendWatch() {
  {
    std::scoped_lock lock(fMutex);
    fIsEnding = true;
    fWake.notify_all();
  }
  if (fThread.joinable()) fThread.join();
}

void LendWatch::add(std::weak_ptr<Pinged> lender) {
  std::scoped_lock lock(fMutex);
  fLenders.push_back(std::move(lender));
  if (!fThread.joinable()) fThread = std::thread([this] { run(); });
  fWake.notify_all();
}

void LendWatch::run() {
  xo::os::setCurrentThreadName("LendWatch");
  std::chrono::steady_clock::duration stoodStill{0};
  std::unique_lock lock(fMutex);
  while (!fIsEnding) {
    if (fLenders.empty()) {
      fWake.wait(lock, [this] { return fIsEnding || !fLenders.empty(); });
      continue;
    }
    std::erase_if(fLenders, [](const auto& lender) { return lender.expired(); });
    const auto asked = fLenders;
    lock.unlock();
    const auto now = std::chrono::steady_clock::now() - stoodStill;
    auto next = now + kPingEvery;
    for (const auto& weak : asked) {
      if (const auto lender = weak.lock()) next = std::min(next, lender->pingDue(now));
    }
    lock.lock();
    fWake.wait_until(lock, next + stoodStill,
                     [&] { return fIsEnding || fLenders.size() > asked.size(); });
    const auto late = std::chrono::steady_clock::now() - stoodStill - next;
    if (late > kStandstill) stoodStill += late;
  }
}

}  // namespace remote
