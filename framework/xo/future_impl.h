// Bodies of future.h's templates; include that one.
#pragma once

#include "framework/xo/future.h"

namespace xo {
namespace detail {

template <class T>
struct Unwrap<Future<T>> {
  using type = T;
  static constexpr bool isFuture = true;
};

/// What a continuation makes of a T.
template <class F, class T>
struct MadeOf : std::invoke_result<F, const T&> {};
template <class F>
struct MadeOf<F, void> : std::invoke_result<F> {};

/// Answers `promise` with what `produce` returns or throws.
template <class R, class F>
void answerWith(const Promise<R>& promise, F&& produce) {
  try {
    if constexpr (std::is_void_v<R>) {
      produce();
      promise.setValue();
    } else {
      promise.setValue(produce());
    }
  } catch (const CancelledError&) {
    promise.setCancelled();
  } catch (...) {
    promise.setError(copyCurrentException());
  }
}

/// Hands the outcome of a finished future on.
template <class T>
void forwardOutcome(const Future<T>& from, const Promise<T>& to) {
  switch (from.state()) {
    case FutureState::kValue:
      if constexpr (std::is_void_v<T>) {
        to.setValue();
      } else {
        to.setValue(from.value());
      }
      return;
    case FutureState::kError:
      to.setError(from.error());
      return;
    case FutureState::kCancelled:
      to.setCancelled();
      return;
    case FutureState::kRunning:
      return;
  }
}

/// Asks `target` to cancel when `promise` is asked to, without keeping either alive.
template <class T, class R>
void passCancelOn(const Promise<R>& promise, const Future<T>& target) {
  promise.onCancel([weak = std::weak_ptr<TypedState<T>>(target.sharedState())] {
    if (auto state = weak.lock()) state->requestCancel();
  });
}

/// A future of what `change` makes of a value. It alone keeps `source`, unlike that of `andThen`:
/// for changes that nobody misses when nobody looks. A delay whose changed future is dropped frees
/// its timer.
template <class R, class T, class F>
Future<R> changed(const Future<T>& source, F change) {
  const auto result = makeState<R>();
  const std::weak_ptr<TypedState<R>> to = result;
  const std::weak_ptr<TypedState<T>> from = source.sharedState();
  result->setAbandonHook([kept = source.sharedState()] {});
  result->onCancelRequested([from] {
    if (const auto state = from.lock()) state->requestCancel();
  });
  source.sharedState()->onFinished([from, to, change] {
    const auto finished = from.lock();
    const auto answered = to.lock();
    if (!finished || !answered) return;
    if (finished->state() == FutureState::kCancelled) {
      answered->finishCancelled();
      return;
    }
    try {
      finished->requireValue(0);
      const auto make = [&] {
        if constexpr (std::is_void_v<T>) {
          return change();
        } else {
          return change(finished->value());
        }
      };
      if constexpr (std::is_void_v<R>) {
        make();
        answered->setValue();
      } else {
        answered->setValue(make());
      }
    } catch (...) {
      answered->finishError(copyCurrentException());
    }
  });
  return Future<R>(result);
}

}  // namespace detail

template <class T>
Future<T>::Future() : fState(detail::makeState<T>()) {
  fState->finishError(std::make_exception_ptr(std::runtime_error("This future holds nothing")));
}

template <class T>
void Future<T>::onFinished(std::function<void(const Future<T>&)> callback, Run run) const {
  fState->onFinished([self = *this, callback = std::move(callback), run] {
    if (run == Run::kInline) {
      callback(self);
    } else {
      detail::postToEventLoop([self, callback] { callback(self); });
    }
  });
}

template <class T>
template <class F>
auto Future<T>::andThen(F next, Run run) const {
  using Made = typename detail::MadeOf<F, T>::type;
  using R = typename detail::Unwrap<Made>::type;
  Promise<R> promise;
  detail::passCancelOn(promise, *this);
  onFinished(
      [promise, next = std::move(next)](const Future<T>& finished) mutable {
        if (finished.hasError()) {
          promise.setError(finished.error());
          return;
        }
        if (finished.isCancelled() || promise.isCancelRequested()) {
          promise.setCancelled();
          return;
        }
        auto call = [&]() -> Made {
          if constexpr (std::is_void_v<T>) {
            return next();
          } else {
            return next(finished.value());
          }
        };
        if constexpr (detail::Unwrap<Made>::isFuture) {
          try {
            Made inner = call();
            detail::passCancelOn(promise, inner);
            inner.onFinished(
                [promise](const Made& done) { detail::forwardOutcome(done, promise); });
          } catch (...) {
            promise.setError(copyCurrentException());
          }
        } else {
          detail::answerWith(promise, call);
        }
      },
      run);
  return promise.future();
}

}  // namespace xo
