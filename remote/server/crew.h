// The threads that serve calls: leader and followers on one completion queue.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace grpc {
class CompletionQueue;
}

namespace remote {

/// What a completion queue's tags point at.
class Tag {
 public:
  /// `ok` as the queue tells it. Runs on a crew's thread, which may be kept for long. Never throws.
  virtual void happened(bool ok) = 0;

 protected:
  ~Tag() = default;
};

/// One thread, the leader, waits on the queue and handles what it received itself, so that no call
/// is ever handed over. One follower watches it: when the leader is still busy with the same event
/// after a millisecond or two (much sooner in a burst of calls that block), the follower takes the
/// lead, and the former leader joins the followers when it is done. So a call that blocks holds up
/// nobody, and short calls cost no switch of threads. While nothing arrives every thread sleeps.
/// Who knows beforehand that it will be busy for long says so, and nobody waits for the watcher.
///
///     follower --watches--> watcher --leader busy for too long--> leader
///        ^                                                           |
///        +---- found a new leader when done, or left if too many ----+
///
/// The number of threads grows to `maxThreads` with the number of calls that block, and shrinks.
class Crew {
 public:
  /// `queue` outlives the crew. Threads are named `name`.
  Crew(grpc::CompletionQueue& queue, int maxThreads, std::string name);
  /// The queue must be shut down: waits until it is drained and every thread is gone.
  ~Crew();
  Crew(const Crew&) = delete;
  Crew& operator=(const Crew&) = delete;

  /// Threads that exist now.
  int threads() const;

  /// Says that what the calling thread is about to do takes long: it gives up the lead now, not
  /// when the watcher has noticed. Does nothing on a thread that does not lead a crew.
  static void expectLong();

 private:
  void run(bool leads);
  void lead();
  bool follow();
  bool watch(std::unique_lock<std::mutex>& lock);
  void wakeWatcher();
  void freeLead(std::uint64_t turn);
  bool hireLocked(bool leads);

  grpc::CompletionQueue& fQueue;
  const int fMaxThreads;
  const std::string fName;

  /// Even: the leader waits on the queue. Odd: it handles an event. Whoever adds one leads.
  std::atomic<std::uint64_t> fTurn{0};
  std::atomic<bool> fIsWatcherAsleep{false};

  mutable std::mutex fMutex;
  std::condition_variable fWatcherWake;
  std::condition_variable fFollowerWake;
  std::condition_variable fGone;
  bool fHasWatcher = false;
  bool fIsLeadFree = false;  // given up: the watcher's, or the next one's
  bool fIsDrained = false;
  int fWaiting = 0;  // followers, the watcher not counted
  int fEagerLooks = 0;
  std::map<std::thread::id, std::thread> fThreads;
  std::vector<std::thread> fLeft;
};

}  // namespace remote
