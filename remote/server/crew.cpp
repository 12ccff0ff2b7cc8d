#include "remote/server/crew.h"

#include <grpcpp/completion_queue.h>

#include <chrono>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "framework/xo/log.h"
#include "framework/xo/os.h"
#include "remote/proto/handover.h"

namespace remote {
namespace {

const xo::log::Category kLog("remote");

/// How often the watcher looks; a leader seen busy with the same event twice has lost the lead.
constexpr std::chrono::milliseconds kLook{1};
/// Calls that block often come together. After some the watcher looks so often for a while, so that
/// a whole crew of them is soon behind, and what comes after them is served.
constexpr std::chrono::microseconds kEagerLook{100};
constexpr int kEagerLooks = 100;
/// Threads that do not wait, the leader and the watcher among them, when some calls block.
constexpr int kBurst = 4;
/// After so many looks without any event the watcher sleeps until there is one.
constexpr int kQuietLooks = 20;
/// Followers that wait, besides the watcher, for the next burst of long calls.
constexpr int kSpareFollowers = 1;

/// What the calling thread leads, and since which turn.
struct Lead {
  Crew* crew = nullptr;
  std::uint64_t turn = 0;
};
thread_local Lead tLead;

bool isBusy(std::uint64_t turn) { return (turn & 1) != 0; }

}  // namespace

Crew::Crew(grpc::CompletionQueue& queue, int maxThreads, std::string name)
    : fQueue(queue), fMaxThreads(maxThreads), fName(std::move(name)) {
  std::scoped_lock lock(fMutex);
  if (!hireLocked(true)) throw std::runtime_error("No thread can be started to serve calls");
  hireLocked(false);
}

Crew::~Crew() {
  std::unique_lock lock(fMutex);
  fGone.wait(lock, [this] { return fThreads.empty(); });
  for (auto& thread : fLeft) thread.join();
}

int Crew::threads() const {
  std::scoped_lock lock(fMutex);
  return static_cast<int>(fThreads.size());
}

bool Crew::hireLocked(bool leads) {
  for (auto& thread : fLeft) thread.join();  // each is past its last step
  fLeft.clear();
  if (static_cast<int>(fThreads.size()) >= fMaxThreads) return false;
  try {
    std::thread thread([this, leads] { run(leads); });
    const auto id = thread.get_id();
    fThreads.emplace(id, std::move(thread));
    return true;
  } catch (const std::system_error& error) {
    kLog.error(std::string("A thread to serve calls could not be started: ") + error.what());
    return false;
  }
}

void Crew::run(bool leads) {
  xo::os::setCurrentThreadName(fName);
  do {
    if (leads) lead();
    leads = follow();
  } while (leads);
  std::scoped_lock lock(fMutex);
  const auto self = fThreads.find(std::this_thread::get_id());
  fLeft.push_back(std::move(self->second));
  fThreads.erase(self);
  fGone.notify_all();
}

void Crew::lead() {
  std::uint64_t turn = fTurn;
  void* tag = nullptr;
  bool ok = false;
  while (fQueue.Next(&tag, &ok)) {
    takenOver(tag);
    fTurn = ++turn;
    if (fIsWatcherAsleep) wakeWatcher();
    tLead = {this, turn};
    static_cast<Tag*>(tag)->happened(ok);
    std::uint64_t mine = turn;
    if (!fTurn.compare_exchange_strong(mine, turn + 1)) return;  // somebody else leads by now
    ++turn;
  }
  std::scoped_lock lock(fMutex);
  fIsDrained = true;
  fWatcherWake.notify_all();
  fFollowerWake.notify_all();
}

void Crew::expectLong() {
  if (tLead.crew != nullptr) tLead.crew->freeLead(tLead.turn);
}

void Crew::freeLead(std::uint64_t turn) {
  if (!fTurn.compare_exchange_strong(turn, turn + 1)) return;  // the watcher was faster
  std::scoped_lock lock(fMutex);
  fIsLeadFree = true;
  fIsWatcherAsleep = false;
  fWatcherWake.notify_one();
}

/// True: lead. False: leave.
bool Crew::follow() {
  std::unique_lock lock(fMutex);
  while (!fIsDrained) {
    if (!fHasWatcher) {
      fHasWatcher = true;
      const bool leads = watch(lock);
      fHasWatcher = false;
      if (!leads) continue;
      if (fWaiting > 0) {
        fFollowerWake.notify_one();
      } else {
        hireLocked(false);
      }
      return true;
    }
    if (fWaiting >= kSpareFollowers) return false;
    ++fWaiting;
    fFollowerWake.wait(lock, [this] { return fIsDrained || !fHasWatcher; });
    --fWaiting;
  }
  return false;
}

/// True: this thread took the lead. False: the queue is drained.
bool Crew::watch(std::unique_lock<std::mutex>& lock) {
  std::uint64_t seen = fTurn;
  int quietLooks = 0;
  while (!fIsDrained) {
    if (std::exchange(fIsLeadFree, false)) return true;
    if (quietLooks >= kQuietLooks) {
      fIsWatcherAsleep = true;
      // A leader either sees the flag, or its turn is seen here.
      if (fTurn == seen) {
        fWatcherWake.wait(lock, [this] { return fIsDrained || !fIsWatcherAsleep; });
      }
      fIsWatcherAsleep = false;
      seen = fTurn;
      quietLooks = 0;
      if (fIsLeadFree) continue;
    }
    if (fEagerLooks > 0) {
      --fEagerLooks;
      fWatcherWake.wait_for(lock, kEagerLook);
    } else {
      fWatcherWake.wait_for(lock, kLook);
    }
    if (fIsLeadFree) continue;
    std::uint64_t now = fTurn;
    if (now != seen) {
      seen = now;
      quietLooks = 0;
    } else if (!isBusy(now)) {
      ++quietLooks;
    } else if (fTurn.compare_exchange_strong(now, now + 1)) {
      // A single one may only have been kept from its core for a moment.
      if (static_cast<int>(fThreads.size()) - fWaiting >= kBurst) fEagerLooks = kEagerLooks;
      return true;
    }
  }
  return false;
}

void Crew::wakeWatcher() {
  std::scoped_lock lock(fMutex);
  fIsWatcherAsleep = false;
  fWatcherWake.notify_one();
}

}  // namespace remote
