// Threads for work that may block, such as calls that come from outside.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace xo {

/// Work starts in the order of its posting, as long as fewer than `maxThreads` pieces run. A thread
/// is made when work comes and none is idle, and stays. What a piece throws ends the process: it
/// must not. Thread-safe.
class WorkerPool {
 public:
  WorkerPool(std::string name, int maxThreads);
  /// Drops what has not started, waits for what runs. Not on one of its threads.
  ~WorkerPool();
  WorkerPool(const WorkerPool&) = delete;
  WorkerPool& operator=(const WorkerPool&) = delete;

  /// Errors: `std::system_error` when there is no thread and none can be made; nothing runs then.
  void post(std::function<void()> work);

 private:
  void run();

  const std::string fName;
  const std::size_t fMaxThreads;
  std::mutex fMutex;  // guards all below
  std::condition_variable fWake;
  std::deque<std::function<void()>> fQueue;
  std::size_t fIdle = 0;
  bool fIsEnding = false;
  std::vector<std::thread> fThreads;
};

}  // namespace xo
