// Deferred work of one owner that may go away at any moment: nothing of it runs, or exists, after
// the owner closed it.
#pragma once

#include <functional>
#include <memory>

#include "framework/xo/call.h"
#include "framework/xo/clock.h"
#include "framework/xo/gate.h"

namespace xo {

/// Tasks on the process's event loop that pass their owner's gate.
///
/// The tasks themselves are kept here, in this library: the loop only holds a number. So a module
/// may be unloaded while its tasks are queued: its ending destroys those that have not started.
/// `close()` takes them away too, waits for those that run, and when it returns nothing of the
/// module's code is left behind. Thread-safe.
class TaskGroup {
 public:
  /// `ending` (may be null) is in force during every task and outlives the group.
  explicit TaskGroup(Ending* ending);
  ~TaskGroup();  // closes
  TaskGroup(const TaskGroup&) = delete;
  TaskGroup& operator=(const TaskGroup&) = delete;

  /// Runs `task` on the event loop, after `by`. Destroyed at once, without running, once the group
  /// is closed or the ending raised. What it throws is logged.
  void post(std::function<void()> task, Duration by = Duration::zero());

  /// Enters as a task would, for work that runs elsewhere (a tick). Not once the ending is raised.
  Gate::Token enter() noexcept;

  /// Refuses new work, destroys what has not started, waits for what is inside. Not from inside.
  /// Calling again is harmless.
  void close();

 private:
  struct State;
  std::shared_ptr<State> fState;
};

}  // namespace xo
