// Where the blocking calls of one connection wait for their answers. For the client's own files.
#pragma once

#include <grpcpp/completion_queue.h>

#include <condition_variable>
#include <list>
#include <mutex>

namespace remote {

/// A completion queue without a thread of its own. Of the threads that wait, one, the leader, takes
/// what arrives for all of them; when that is its own, another takes the lead. So one call wakes
/// nobody, and of many only whoever has an answer. Thread-safe.
class Answers {
 public:
  /// One answer: the tag of the operation that brings it.
  class Awaited {
    friend class Answers;
    bool isHere = false;
    std::condition_variable changed;
    std::list<Awaited*> place{this};  // moved among those that wait: waiting allocates nothing
    const std::list<Awaited*>::iterator self = place.begin();
  };

  Answers() = default;
  /// Nobody waits any more.
  ~Answers();
  Answers(const Answers&) = delete;
  Answers& operator=(const Answers&) = delete;

  /// Where an operation begins whose tag is an `Awaited`.
  grpc::CompletionQueue* queue() { return &fQueue; }
  /// Blocks until the operation of that tag ended. Must be called for every one that began, by
  /// whoever keeps its tag.
  void await(Awaited& one) noexcept;

 private:
  /// Takes what arrives until it is that.
  void lead(const Awaited& until, std::unique_lock<std::mutex>& lock) noexcept;

  grpc::CompletionQueue fQueue;
  std::mutex fMutex;
  bool fIsLed = false;
  int fLeaving = 0;              // waited, have their answers and are on their way out
  std::list<Awaited*> fWaiting;  // have none; without the leader's
};

}  // namespace remote
