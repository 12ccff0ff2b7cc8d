#include "framework/xo/event_loop.h"

#include <deque>
#include <map>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "framework/xo/log.h"
#include "framework/xo/os.h"

namespace xo {
namespace {

using DelayState = detail::TypedState<void>;

const log::Category kLog("EventLoop");

// One piece of work: a function, or the end of a delay. A delay is known weakly: when nobody holds
// its future any more, it does not matter.
struct Piece {
  std::function<void()> task;
  std::weak_ptr<DelayState> delay;
};

void runPiece(Piece& piece) noexcept {
  try {
    if (piece.task) {
      piece.task();
      piece.task = nullptr;
    } else if (const auto delay = piece.delay.lock()) {
      delay->setValue();
    }
  } catch (...) {
    try {
      kLog.error("A posted task threw: " + textOf(copyCurrentException()));
    } catch (...) {  // out of memory for the text
    }
  }
}

void dropPiece(Piece& piece) {
  if (const auto delay = piece.delay.lock()) {
    delay->finishError(
        std::make_exception_ptr(std::runtime_error("The promise was dropped without an answer")));
  }
  piece.task = nullptr;
}

}  // namespace

// At most one thread, the leader, waits for the earliest timer; the others wait for work. Whoever
// finds more work than its own wakes one more thread, so that a busy thread never keeps a piece
// waiting while another sleeps.
//
// For a hand-driven clock, a queued piece counts as work until a thread has taken it, and a timer
// that became the earliest until some thread waits for it (fNewEarliest).
class EventLoop::State : public std::enable_shared_from_this<State> {
 public:
  using Key = std::pair<TimePoint, std::uint64_t>;  // the number keeps the order of equal times

  void post(Piece piece) {
    std::unique_lock lock(fMutex);
    if (fIsStopping) {
      lock.unlock();
      dropPiece(piece);
      return;
    }
    xQueue(std::move(piece));
    xWakeOne();
  }

  Key arm(TimePoint time, Piece piece) {
    std::unique_lock lock(fMutex);
    if (fIsStopping) {
      lock.unlock();
      dropPiece(piece);
      return {};
    }
    const auto place = fTimers.emplace(Key(time, fNextNumber++), std::move(piece)).first;
    const bool isStale = fHasLeader && fLeaderEpoch != detail::clockEpoch();
    // A leader that wakes before, for a timer that is gone meanwhile, need not be woken now.
    const bool isInTime = fHasLeader && fLeaderUntil <= time;
    if (isStale || (place == fTimers.begin() && !isInTime)) xNewEarliest();
    return place->first;
  }

  void disarm(const Key& key) {
    decltype(fTimers)::node_type removed;  // released after the lock
    const std::lock_guard lock(fMutex);
    removed = fTimers.extract(key);
  }

  std::size_t pending() const {
    const std::lock_guard lock(fMutex);
    return fTimers.size();
  }

  void start(const std::string& name, int threads) {
    for (int i = 0; i < threads; ++i) {
      clock().threadBegins();
      fThreads.emplace_back([this, name] {
        os::setCurrentThreadName(name);
        detail::markFrameworkThread();
        clock().threadBegan();
        xRun();
      });
    }
  }

  void stop() {
    {
      const std::lock_guard lock(fMutex);
      fIsStopping = true;
      clock().notifyAll(fWorkCame);
      clock().notifyAll(fTimerCame);
    }
    for (std::thread& thread : fThreads) thread.join();
    decltype(fQueue) queue;
    decltype(fTimers) timers;
    {
      const std::lock_guard lock(fMutex);
      queue.swap(fQueue);
      timers.swap(fTimers);
      xTakeNewEarliest();
    }
    for (Piece& piece : queue) {
      clock().workEnds();
      dropPiece(piece);
    }
    for (auto& [key, piece] : timers) dropPiece(piece);
  }

 private:
  using Lock = std::unique_lock<std::mutex>;

  void xRun() {
    Lock lock(fMutex);
    while (!fIsStopping) {
      xQueueDueTimers();
      if (!fQueue.empty()) {
        xRunFirst(lock);
      } else if (!fTimers.empty() && !fHasLeader) {
        xLead(lock);
      } else {
        if (fTimers.empty()) xTakeNewEarliest();
        ++fIdle;
        detail::waitForWork(lock, fWorkCame, kNever);
        --fIdle;
      }
    }
  }

  void xRunFirst(Lock& lock) {
    Piece piece = std::move(fQueue.front());
    fQueue.pop_front();
    clock().workEnds();  // this thread itself counts from here on
    if (!fQueue.empty()) xWakeOne();
    if (!fTimers.empty() && !fHasLeader) xNewEarliest();  // somebody else takes the lead
    if (fTimers.empty()) xTakeNewEarliest();
    lock.unlock();
    runPiece(piece);
    piece = Piece();
    lock.lock();
  }

  void xLead(Lock& lock) {
    xTakeNewEarliest();
    fHasLeader = true;
    fLeaderEpoch = detail::clockEpoch();
    fLeaderUntil = fTimers.begin()->first.first;
    detail::waitForWork(lock, fTimerCame, fLeaderUntil);
    fHasLeader = false;
  }

  void xQueueDueTimers() {
    if (fTimers.empty()) return;
    const TimePoint now = clock().now();
    while (!fTimers.empty() && fTimers.begin()->first.first <= now) {
      xQueue(std::move(fTimers.extract(fTimers.begin()).mapped()));
    }
  }

  void xQueue(Piece piece) {
    clock().workBegins();
    fQueue.push_back(std::move(piece));
  }

  void xWakeOne() {
    if (fIdle > 0) {
      fWorkCame.notify_one();
    } else if (fHasLeader) {
      fTimerCame.notify_one();
    }
  }

  // Sees to it that somebody waits for the earliest timer. A busy thread looks by itself.
  void xNewEarliest() {
    if (!fHasLeader && fIdle == 0) {
      xTakeNewEarliest();
      return;
    }
    if (!std::exchange(fNewEarliest, true)) clock().workBegins();
    if (fHasLeader) {
      fTimerCame.notify_one();
    } else {
      fWorkCame.notify_one();
    }
  }

  void xTakeNewEarliest() {
    if (std::exchange(fNewEarliest, false)) clock().workEnds();
  }

  mutable std::mutex fMutex;
  std::condition_variable fWorkCame;   // idle threads
  std::condition_variable fTimerCame;  // the leader
  std::deque<Piece> fQueue;
  std::map<Key, Piece> fTimers;
  std::uint64_t fNextNumber = 0;
  int fIdle = 0;
  bool fHasLeader = false;
  int fLeaderEpoch = 0;
  TimePoint fLeaderUntil{};  // when it wakes by itself
  bool fNewEarliest = false;
  bool fIsStopping = false;
  std::vector<std::thread> fThreads;
};

EventLoop::EventLoop(const std::string& name, int threads) : fState(std::make_shared<State>()) {
  fState->start(name, threads);
}

EventLoop::~EventLoop() { fState->stop(); }

void EventLoop::post(std::function<void()> task) { fState->post({std::move(task), {}}); }

void EventLoop::postAfter(Duration by, std::function<void()> task) {
  if (by <= Duration::zero()) {
    post(std::move(task));
  } else {
    fState->arm(after(clock().now(), by), {std::move(task), {}});
  }
}

Future<void> EventLoop::delay(Duration by) {
  const auto state = detail::makeState<void>();
  const std::weak_ptr<DelayState> weak = state;
  if (by <= Duration::zero()) {
    state->onCancelRequested([weak] {
      if (const auto delay = weak.lock()) delay->finishCancelled();
    });
    fState->post({nullptr, weak});
    return Future<void>(state);
  }
  const State::Key key = fState->arm(after(clock().now(), by), {nullptr, weak});
  const auto disarm = [loop = std::weak_ptr<State>(fState), key] {
    if (const auto alive = loop.lock()) alive->disarm(key);
  };
  state->setAbandonHook(disarm);
  state->onCancelRequested([weak, disarm] {
    disarm();
    if (const auto delay = weak.lock()) delay->finishCancelled();
  });
  return Future<void>(state);
}

std::size_t EventLoop::pendingDelays() const { return fState->pending(); }

EventLoop& getEventLoop() {
  static EventLoop* const loop = new EventLoop("EventLoop", 2);  // threads use it to the very end
  return *loop;
}

}  // namespace xo
