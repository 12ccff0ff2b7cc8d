#include "framework/xo/call.h"

#include <unordered_map>

namespace xo {
namespace {

thread_local CallScope* tCurrent = nullptr;

/// The running calls that were asked for their id.
struct Register {
  std::mutex mutex;
  std::unordered_map<int, CallScope*> calls;
  int nextId = 1;
};

Register& callRegister() {
  static auto* const instance = new Register;  // outlives every thread
  return *instance;
}

}  // namespace

Ending::~Ending() { raise(); }

void Ending::raise() {
  std::unique_lock lock(fMutex);
  if (fRaised.exchange(true)) return;
  clock().notifyAll(fWake);
  while (!fCallbacks.empty()) {
    auto callback = std::move(fCallbacks.begin()->second);
    fCallbacks.erase(fCallbacks.begin());
    ++fRunning;
    lock.unlock();
    callback();
    callback = nullptr;
    lock.lock();
    --fRunning;
    fWake.notify_all();
  }
}

bool Ending::sleepUntil(TimePoint deadline) {
  std::unique_lock lock(fMutex);
  while (!isRaised()) {
    if (!clock().waitUntil(lock, fWake, deadline)) break;
  }
  return isRaised();
}

int Ending::onRaise(std::function<void()> callback) {
  {
    std::scoped_lock lock(fMutex);
    if (!isRaised()) {
      fCallbacks.emplace(fNextNumber, std::move(callback));
      return fNextNumber++;
    }
  }
  callback();
  return 0;
}

void Ending::removeCallback(int number) {
  std::unique_lock lock(fMutex);
  if (fCallbacks.erase(number) == 0) {
    fWake.wait(lock, [this] { return fRunning == 0; });
  }
}

void Ending::waitBegins() noexcept { fWaiting.fetch_add(1, std::memory_order_acq_rel); }
void Ending::waitEnds() noexcept { fWaiting.fetch_sub(1, std::memory_order_acq_rel); }

CallScope::CallScope(Ending* ending, StopFlag* stop, std::uint64_t origin) noexcept
    : fOuter(tCurrent),
      fEnding(ending != nullptr || fOuter == nullptr ? ending : fOuter->fEnding),
      fStop(stop),
      fOrigin(origin != 0 || fOuter == nullptr ? origin : fOuter->fOrigin) {
  tCurrent = this;
}

CallScope::~CallScope() {
  if (fId != 0) {
    auto& calls = callRegister();
    std::scoped_lock lock(calls.mutex);
    calls.calls.erase(fId);
  }
  tCurrent = fOuter;
  if (fOuter == nullptr) clock().threadLeaves();
}

CallScope* CallScope::current() noexcept { return tCurrent; }

Ending* CallScope::currentEnding() noexcept {
  return tCurrent == nullptr ? nullptr : tCurrent->fEnding;
}

std::uint64_t CallScope::currentOrigin() noexcept {
  return tCurrent == nullptr ? 0 : tCurrent->fOrigin;
}

int CallScope::id() {
  if (fId == 0) {
    auto& calls = callRegister();
    std::scoped_lock lock(calls.mutex);
    while (calls.nextId <= 0 || calls.calls.contains(calls.nextId)) {
      calls.nextId = calls.nextId == 2147483647 ? 1 : calls.nextId + 1;
    }
    fId = calls.nextId;
    calls.calls.emplace(fId, this);
    calls.nextId = fId == 2147483647 ? 1 : fId + 1;
  }
  return fId;
}

bool CallScope::isStopRequested() const noexcept {
  for (const CallScope* scope = this; scope != nullptr; scope = scope->fOuter) {
    if (scope->fOwnStop.isRaised()) return true;
    if (scope->fStop != nullptr && scope->fStop->isRaised()) return true;
    if (scope->fEnding != nullptr && scope->fEnding->isRaised()) return true;
  }
  return false;
}

bool CallScope::requestStop(int id) {
  auto& calls = callRegister();
  std::scoped_lock lock(calls.mutex);
  const auto found = calls.calls.find(id);
  if (found == calls.calls.end()) return false;
  found->second->fOwnStop.raise();
  return true;
}

bool CallScope::isStopRequested(int id) {
  for (const CallScope* scope = tCurrent; scope != nullptr; scope = scope->fOuter) {
    if (scope->fId == id && id != 0) return scope->isStopRequested();
  }
  auto& calls = callRegister();
  std::scoped_lock lock(calls.mutex);
  const auto found = calls.calls.find(id);
  return found != calls.calls.end() && found->second->isStopRequested();
}

}  // namespace xo
