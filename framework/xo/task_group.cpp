#include "framework/xo/task_group.h"

#include <mutex>
#include <unordered_map>
#include <utility>

#include "framework/xo/error.h"
#include "framework/xo/event_loop.h"
#include "framework/xo/log.h"

namespace xo {
namespace {

const log::Category kLog("TaskGroup");

}  // namespace

struct TaskGroup::State {
  explicit State(Ending* given) : ending(given) {}

  bool isOver() const { return closed || (ending != nullptr && ending->isRaised()); }

  /// Runs the task of that number, if it is still there. It is destroyed inside the gate.
  void run(int number) {
    const auto token = gate.enter();
    if (!token) return;
    auto task = take(number);
    if (!task) return;
    const CallScope scope(ending);
    try {
      task();
    } catch (...) {
      kLog.error("A task failed: " + textOf(copyCurrentException()));
    }
  }

  /// What has not started and now never will.
  std::unordered_map<int, std::function<void()>> takeAll() {
    const std::scoped_lock lock(mutex);
    return std::exchange(pending, {});
  }

  std::function<void()> take(int number) {
    const std::scoped_lock lock(mutex);
    const auto found = pending.find(number);
    if (found == pending.end()) return {};
    auto task = std::move(found->second);
    pending.erase(found);
    return task;
  }

  Ending* const ending;
  int callback = 0;  // of the ending
  Gate gate;
  std::mutex mutex;
  std::unordered_map<int, std::function<void()>> pending;
  int next = 0;
  bool closed = false;
};

TaskGroup::TaskGroup(Ending* ending) : fState(std::make_shared<State>(ending)) {
  if (ending == nullptr) return;
  fState->callback = ending->onRaise([weak = std::weak_ptr(fState)] {
    if (const auto state = weak.lock()) state->takeAll();
  });
}

TaskGroup::~TaskGroup() { close(); }

void TaskGroup::post(std::function<void()> task, Duration by) {
  int number = 0;
  {
    const std::scoped_lock lock(fState->mutex);
    if (fState->isOver()) return;  // the task goes with this call's frame
    number = ++fState->next;
    fState->pending.emplace(number, std::move(task));
  }
  getEventLoop().postAfter(by, [state = fState, number] { state->run(number); });
}

Gate::Token TaskGroup::enter() noexcept {
  if (fState->ending != nullptr && fState->ending->isRaised()) return Gate::Token();
  return fState->gate.enter();
}

void TaskGroup::close() {
  {
    const std::scoped_lock lock(fState->mutex);
    fState->closed = true;
  }
  fState->takeAll();  // destroyed at once: what runs may wait for the promise of one of them
  if (const int callback = std::exchange(fState->callback, 0)) {
    fState->ending->removeCallback(callback);
  }
  fState->gate.close();
}

}  // namespace xo
