// Futures with cancellation. The shared states are made inside this library, so that a future may
// outlive the module that promised it.
#pragma once

#include <condition_variable>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "framework/value/hb_value.h"
#include "framework/xo/clock.h"
#include "framework/xo/error.h"

namespace xo {

/// "For ever", for every wait that takes milliseconds.
inline constexpr int kInfiniteTimeout = 2147483647;

///   running --> value | error | cancelled        (once, for good)
enum class FutureState { kRunning, kValue, kError, kCancelled };

namespace detail {

/// What all futures of any type share. Thread-safe. Callbacks never run under its lock.
class FutureCore {
 public:
  FutureCore() = default;
  virtual ~FutureCore();
  FutureCore(const FutureCore&) = delete;
  FutureCore& operator=(const FutureCore&) = delete;

  FutureState state() const;
  /// False when `milliseconds` of the process's clock passed first.
  bool wait(int milliseconds) const;
  /// Null unless the state is kError.
  std::exception_ptr error() const;
  std::string errorText() const;
  /// Throws what `Future::value` documents unless there is a value.
  void requireValue(int milliseconds) const;

  /// Runs `callback` once finished: on the finishing thread, or at once on this one.
  void onFinished(std::function<void()> callback);

  void requestCancel();
  bool isCancelRequested() const;
  /// Runs `callback` when cancellation is requested, at once if it was; dropped when finished.
  void onCancelRequested(std::function<void()> callback);

  /// Each finishes a running future and returns true, or returns false and changes nothing.
  bool finishError(std::exception_ptr error);
  bool finishCancelled();

  /// Runs in the destructor: lets a producer learn that nobody can observe the outcome any more.
  void setAbandonHook(std::function<void()> hook);

 protected:
  /// Stores by `store` (under the lock) and finishes with a value, unless already finished.
  bool finishValue(const std::function<void()>& store);

 private:
  bool finish(FutureState state, const std::function<void()>& store);
  bool waitUntil(TimePoint deadline) const;

  mutable std::mutex fMutex;
  mutable std::condition_variable fWake;
  FutureState fState = FutureState::kRunning;
  bool fCancelRequested = false;
  std::optional<Failure> fError;
  std::vector<std::function<void()>> fOnFinished;
  std::vector<std::function<void()>> fOnCancel;
  std::function<void()> fAbandonHook;
};

template <class T>
class TypedState final : public FutureCore {
 public:
  bool setValue(T value) {
    return finishValue([&] { fValue.emplace(std::move(value)); });
  }
  const T& value() const { return *fValue; }  // only in state kValue

 private:
  std::optional<T> fValue;
};
template <>
class TypedState<void> final : public FutureCore {
 public:
  bool setValue() {
    return finishValue([] {});
  }
};

template <class T>
std::shared_ptr<TypedState<T>> makeState() {
  return std::make_shared<TypedState<T>>();
}
// The types that may leave a module: their states' code is this library's.
#define XO_FUTURE_OF(T)                \
  extern template class TypedState<T>; \
  extern template std::shared_ptr<TypedState<T>> makeState<T>();
XO_FUTURE_OF(bool)
XO_FUTURE_OF(int)
XO_FUTURE_OF(float)
XO_FUTURE_OF(std::string)
XO_FUTURE_OF(HB::HBValue)
#undef XO_FUTURE_OF
template <>
std::shared_ptr<TypedState<void>> makeState<void>();

/// Ends a promise's future when the last copy of the promise goes. Thread-safe.
class PromiseLife;
std::shared_ptr<PromiseLife> makePromiseLife(std::shared_ptr<FutureCore> state);

/// Runs `task` on the process's event loop.
void postToEventLoop(std::function<void()> task);

template <class T>
struct Unwrap {
  using type = T;
  static constexpr bool isFuture = false;
};

}  // namespace detail

/// Where a continuation runs.
enum class Run {
  kOnLoop,  ///< on the process's event loop, always
  kInline,  ///< on the thread that finishes the future, or at once; must be short and not block
};

template <class T>
class Promise;

/// The reading end: copies share one state. Thread-safe. Dropping it costs nothing and cancels
/// nothing.
///
/// Only futures of void, bool, int, float, string, HBValue and Object may leave the module that
/// makes them; a future of another type must be gone before its module is unloaded.
template <class T>
class Future {
 public:
  using Value = T;

  /// A future that was never promised: in state error, "This future holds nothing".
  Future();
  explicit Future(std::shared_ptr<detail::TypedState<T>> state) : fState(std::move(state)) {}

  FutureState state() const { return fState->state(); }
  bool isRunning() const { return state() == FutureState::kRunning; }
  bool isFinished() const { return !isRunning(); }
  bool hasValue() const { return state() == FutureState::kValue; }
  bool hasError() const { return state() == FutureState::kError; }
  bool isCancelled() const { return state() == FutureState::kCancelled; }

  /// Blocks until finished, at most `milliseconds` of the process's clock (negative counts as 0).
  /// Returns whether it is finished. Inside a call of a module that is being unloaded it does not
  /// end early.
  bool wait(int milliseconds = kInfiniteTimeout) const { return fState->wait(milliseconds); }

  /// Waits, then the value. Errors: the promised error; CancelledError; TimeoutError.
  T value(int milliseconds = kInfiniteTimeout) const {
    fState->requireValue(milliseconds);
    if constexpr (!std::is_void_v<T>) return fState->value();
  }
  /// The error, or null in any other state. Does not wait. Each call makes one of its own, so that
  /// threads share none; see `Failure` for what becomes of its type.
  std::exception_ptr error() const { return fState->error(); }
  /// The error's text, or "" in any other state. Does not wait.
  std::string errorText() const { return fState->errorText(); }

  /// Asks the producer to cancel. A request: the future finishes when the producer answers it, and
  /// may still get a value. Returns at once.
  void cancel() const { fState->requestCancel(); }

  /// Runs `callback(*this)` once finished, whatever the outcome.
  void onFinished(std::function<void(const Future<T>&)> callback, Run run = Run::kInline) const;

  /// A future of what `next` makes of this one's value (`next()` for void). When `next` returns a
  /// future, of what that one becomes. An error or cancellation here is passed on and `next` does
  /// not run; what `next` throws becomes the error. Cancelling the result asks this one to cancel,
  /// and, once `next` returned a future, that one; when cancellation was requested before `next`
  /// started, it does not run and the result is cancelled.
  template <class F>
  auto andThen(F next, Run run = Run::kOnLoop) const;

  const std::shared_ptr<detail::TypedState<T>>& sharedState() const { return fState; }

 private:
  std::shared_ptr<detail::TypedState<T>> fState;
};

/// The writing end: copies share one answer. When the last copy goes without an answer, the future
/// ends in error "The promise was dropped without an answer". Thread-safe.
template <class T>
class Promise {
 public:
  Promise() : fState(detail::makeState<T>()), fLife(detail::makePromiseLife(fState)) {}

  Future<T> future() const { return Future<T>(fState); }

  /// Each answers and returns true; a second answer is ignored and returns false.
  template <class... V>
  bool setValue(V&&... value) const {
    return fState->setValue(std::forward<V>(value)...);
  }
  bool setError(std::exception_ptr error) const { return fState->finishError(std::move(error)); }
  /// An error of type `std::runtime_error` with that text.
  bool setError(const std::string& text) const {
    return setError(std::make_exception_ptr(std::runtime_error(text)));
  }
  bool setCancelled() const { return fState->finishCancelled(); }

  bool isCancelRequested() const { return fState->isCancelRequested(); }
  /// Runs `callback` on the requesting thread when cancellation is asked for, at once if it was. It
  /// must not keep a copy of this promise (it would never drop).
  void onCancel(std::function<void()> callback) const {
    fState->onCancelRequested(std::move(callback));
  }

 private:
  std::shared_ptr<detail::TypedState<T>> fState;
  std::shared_ptr<detail::PromiseLife> fLife;
};

/// A future whose destruction waits for its end, for ever if need be.
template <class T>
class [[nodiscard]] FutureSync {
 public:
  explicit FutureSync(Future<T> future) : fFuture(std::move(future)) {}
  FutureSync(FutureSync&& other) noexcept : fFuture(std::exchange(other.fFuture, std::nullopt)) {}
  FutureSync& operator=(FutureSync&&) = delete;
  ~FutureSync() {
    if (fFuture) fFuture->wait();
  }
  const Future<T>& future() const { return *fFuture; }
  bool wait(int milliseconds = kInfiniteTimeout) const { return fFuture->wait(milliseconds); }
  T value(int milliseconds = kInfiniteTimeout) const { return fFuture->value(milliseconds); }
  void cancel() const { fFuture->cancel(); }

 private:
  std::optional<Future<T>> fFuture;
};

/// Futures that are finished from the start.
Future<void> makeReadyFuture();
template <class T>
Future<std::decay_t<T>> makeReadyFuture(T&& value) {
  Promise<std::decay_t<T>> promise;
  promise.setValue(std::forward<T>(value));
  return promise.future();
}
template <class T>
Future<T> makeFailedFuture(std::exception_ptr error) {
  Promise<T> promise;
  promise.setError(std::move(error));
  return promise.future();
}
template <class T>
Future<T> makeFailedFuture(const std::string& text) {
  Promise<T> promise;
  promise.setError(text);
  return promise.future();
}

}  // namespace xo

#include "framework/xo/future_impl.h"  // IWYU pragma: export
