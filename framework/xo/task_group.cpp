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

  std::function<void()> take(int number) {
    const std::scoped_lock lock(mutex);
    const auto found = pending.find(number);
    if (found == pending.end()) return {};
    auto task = std::move(found->second);
    pending.erase(found);
    return task;
  }

  Ending* const ending;
  Gate gate;
  std::mutex mutex;
  std::unordered_map<int, std::function<void()>> pending;
  int next = 0;
  bool closed = false;
};

TaskGroup::TaskGroup(Ending* ending) : fState(std::make_shared<State>(ending)) {}

TaskGroup::~TaskGroup() { close(); }

void TaskGroup::post(std::function<void()> task, Duration by) {
  int number = 0;
  {
    const std::scoped_lock lock(fState->mutex);
    if (fState->closed) return;  // the task goes with this call's frame
    number = ++fState->next;
    fState->pending.emplace(number, std::move(task));
  }
  getEventLoop().postAfter(by, [state = fState, number] { state->run(number); });
}

Gate::Token TaskGroup::enter() noexcept { return fState->gate.enter(); }

void TaskGroup::close() {
  std::unordered_map<int, std::function<void()>> dropped;
  {
    const std::scoped_lock lock(fState->mutex);
    fState->closed = true;
    dropped.swap(fState->pending);
  }
  fState->gate.close();
  dropped.clear();
}

}  // namespace xo
