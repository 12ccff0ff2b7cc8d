#include "framework/xo/future.h"

#include <chrono>

#include "framework/xo/call.h"
#include "framework/xo/event_loop.h"
#include "framework/xo/log.h"

namespace xo {
namespace detail {
namespace {

const log::Category kLog("Future");

// A callback's fault is nobody's answer; it must not keep the other callbacks from running either.
void runLogged(const std::function<void()>& callback) noexcept {
  try {
    callback();
  } catch (...) {
    try {
      kLog.error("A callback of a future threw: " + textOf(copyCurrentException()));
    } catch (...) {  // out of memory for the text
    }
  }
}

// Releases each callback before the next runs, so that what it holds goes first to last.
void runAll(std::vector<std::function<void()>> callbacks) noexcept {
  for (std::function<void()>& callback : callbacks) {
    runLogged(callback);
    callback = nullptr;
  }
}

// Tells the module in whose name this thread waits.
class WaitMark {
 public:
  WaitMark() noexcept : fEnding(CallScope::currentEnding()) {
    if (fEnding) fEnding->waitBegins();
  }
  ~WaitMark() {
    if (fEnding) fEnding->waitEnds();
  }
  WaitMark(const WaitMark&) = delete;
  WaitMark& operator=(const WaitMark&) = delete;

 private:
  Ending* const fEnding;
};

}  // namespace

FutureCore::~FutureCore() {
  if (fAbandonHook) runLogged(fAbandonHook);
}

FutureState FutureCore::state() const {
  const std::lock_guard lock(fMutex);
  return fState;
}

bool FutureCore::wait(int milliseconds) const {
  if (state() != FutureState::kRunning) return true;
  if (milliseconds <= 0) return false;
  const TimePoint deadline = milliseconds == kInfiniteTimeout
                                 ? kNever
                                 : after(clock().now(), std::chrono::milliseconds(milliseconds));
  const WaitMark mark;
  return waitUntil(deadline);
}

bool FutureCore::waitUntil(TimePoint deadline) const {
  std::unique_lock lock(fMutex);
  while (fState == FutureState::kRunning) {
    if (!clock().waitUntil(lock, fWake, deadline)) break;
  }
  return fState != FutureState::kRunning;
}

std::exception_ptr FutureCore::error() const {
  const std::lock_guard lock(fMutex);
  return fError ? fError->exception() : nullptr;
}

std::string FutureCore::errorText() const {
  const std::lock_guard lock(fMutex);
  return fError ? fError->text() : std::string();
}

void FutureCore::requireValue(int milliseconds) const {
  if (!wait(milliseconds)) {
    throw TimeoutError("The future was not ready after " + std::to_string(milliseconds) + " ms");
  }
  if (state() == FutureState::kCancelled) throw CancelledError("The future was cancelled");
  if (const std::exception_ptr failure = error()) std::rethrow_exception(failure);
}

void FutureCore::onFinished(std::function<void()> callback) {
  {
    const std::lock_guard lock(fMutex);
    if (fState == FutureState::kRunning) {
      fOnFinished.push_back(std::move(callback));
      return;
    }
  }
  runLogged(callback);
}

void FutureCore::requestCancel() {
  std::vector<std::function<void()>> callbacks;
  {
    const std::lock_guard lock(fMutex);
    if (fState != FutureState::kRunning || fCancelRequested) return;
    fCancelRequested = true;
    callbacks.swap(fOnCancel);
  }
  runAll(std::move(callbacks));
}

bool FutureCore::isCancelRequested() const {
  const std::lock_guard lock(fMutex);
  return fCancelRequested;
}

void FutureCore::onCancelRequested(std::function<void()> callback) {
  {
    const std::lock_guard lock(fMutex);
    if (fState != FutureState::kRunning) return;  // too late: released after the lock
    if (!fCancelRequested) {
      fOnCancel.push_back(std::move(callback));
      return;
    }
  }
  runLogged(callback);
}

bool FutureCore::finishError(std::exception_ptr error) {
  Failure failure(error);
  error = nullptr;
  return finish(FutureState::kError, [&] { fError = std::move(failure); });
}

bool FutureCore::finishCancelled() {
  return finish(FutureState::kCancelled, [] {});
}

void FutureCore::setAbandonHook(std::function<void()> hook) {
  const std::lock_guard lock(fMutex);
  fAbandonHook.swap(hook);
}

bool FutureCore::finishValue(const std::function<void()>& store) {
  return finish(FutureState::kValue, store);
}

bool FutureCore::finish(FutureState state, const std::function<void()>& store) {
  std::vector<std::function<void()>> callbacks;
  std::vector<std::function<void()>> dropped;  // may hold the last copy of anything
  {
    const std::lock_guard lock(fMutex);
    if (fState != FutureState::kRunning) return false;
    store();
    fState = state;
    callbacks.swap(fOnFinished);
    dropped.swap(fOnCancel);
    clock().notifyAll(fWake);
  }
  dropped.clear();
  runAll(std::move(callbacks));
  return true;
}

template <>
std::shared_ptr<TypedState<void>> makeState<void>() {
  return std::make_shared<TypedState<void>>();
}
#define XO_FUTURE_OF(T)         \
  template class TypedState<T>; \
  template std::shared_ptr<TypedState<T>> makeState<T>();
XO_FUTURE_OF(bool)
XO_FUTURE_OF(int)
XO_FUTURE_OF(float)
XO_FUTURE_OF(std::string)
XO_FUTURE_OF(HB::HBValue)
#undef XO_FUTURE_OF

class PromiseLife {
 public:
  explicit PromiseLife(std::shared_ptr<FutureCore> state) noexcept : fState(std::move(state)) {}
  ~PromiseLife() {
    if (fState->state() != FutureState::kRunning) return;
    fState->finishError(
        std::make_exception_ptr(std::runtime_error("The promise was dropped without an answer")));
  }
  PromiseLife(const PromiseLife&) = delete;
  PromiseLife& operator=(const PromiseLife&) = delete;

 private:
  const std::shared_ptr<FutureCore> fState;
};

std::shared_ptr<PromiseLife> makePromiseLife(std::shared_ptr<FutureCore> state) {
  return std::make_shared<PromiseLife>(std::move(state));
}

void postToEventLoop(std::function<void()> task) { getEventLoop().post(std::move(task)); }

}  // namespace detail

Future<void> makeReadyFuture() {
  const Promise<void> promise;
  promise.setValue();
  return promise.future();
}

}  // namespace xo
