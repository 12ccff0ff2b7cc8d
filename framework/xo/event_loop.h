// Threads that run posted work in order and delayed work in time.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <type_traits>

#include "framework/xo/clock.h"
#include "framework/xo/future.h"

namespace xo {

/// Work is started in the order in which it was posted; with more than one thread, pieces may
/// overlap. A piece that only waits should be a delay, never a sleep. What a piece throws is logged
/// (`post`) or ends its future (`async`). Asleep while nothing is due. Thread-safe.
class EventLoop {
 public:
  /// Starts the threads, named `name`.
  EventLoop(const std::string& name, int threads);
  /// Work not yet started is dropped (its futures end in error); waits for what runs. Not on a loop
  /// thread.
  ~EventLoop();
  EventLoop(const EventLoop&) = delete;
  EventLoop& operator=(const EventLoop&) = delete;

  void post(std::function<void()> task);

  /// A future that gets its value after `by` (zero and negative: as soon as may be). Cancelling
  /// ends it as cancelled at once; dropping every copy of it frees its timer. Nothing runs but this
  /// library's code, so it may outlive the module that asked for it.
  Future<void> delay(Duration by);

  /// Runs `task` after `by`; the future has what it returns or throws. Cancelling before the start
  /// keeps it from starting. Dropping the future does not.
  template <class F>
  auto async(F task, Duration by = Duration::zero())
      -> Future<typename detail::Unwrap<std::invoke_result_t<F>>::type> {
    using Made = std::invoke_result_t<F>;
    using R = typename detail::Unwrap<Made>::type;
    static_assert(!detail::Unwrap<Made>::isFuture, "return a value; chain futures with andThen");
    Promise<R> promise;
    postAfter(by, [promise, task = std::move(task)]() mutable {
      if (promise.isCancelRequested()) {
        promise.setCancelled();
      } else {
        detail::answerWith(promise, task);
      }
    });
    return promise.future();
  }
  /// `post` after a delay.
  void postAfter(Duration by, std::function<void()> task);

  /// Delays and delayed tasks whose time has not come.
  std::size_t pendingDelays() const;

 private:
  class State;
  std::shared_ptr<State> fState;  // pending delays know it weakly
};

/// The process's loop: two threads named "EventLoop". Created at first use, never destroyed.
EventLoop& getEventLoop();

}  // namespace xo
