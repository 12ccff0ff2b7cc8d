#include "framework/xo/worker_pool.h"

#include <utility>

#include "framework/xo/os.h"

namespace xo {

WorkerPool::WorkerPool(std::string name, int maxThreads)
    : fName(std::move(name)), fMaxThreads(static_cast<std::size_t>(maxThreads)) {}

WorkerPool::~WorkerPool() {
  std::deque<std::function<void()>> dropped;
  {
    std::scoped_lock lock(fMutex);
    fIsEnding = true;
    dropped.swap(fQueue);
    fWake.notify_all();
  }
  dropped.clear();
  for (auto& thread : fThreads) thread.join();
}

void WorkerPool::post(std::function<void()> work) {
  std::scoped_lock lock(fMutex);
  if (fIsEnding) return;
  fQueue.push_back(std::move(work));
  if (fIdle < fQueue.size() && fThreads.size() < fMaxThreads) {
    try {
      fThreads.emplace_back([this] { run(); });
    } catch (...) {
      if (!fThreads.empty()) return;  // those there are come to it
      fQueue.pop_back();
      throw;
    }
  } else {
    fWake.notify_one();
  }
}

void WorkerPool::run() {
  os::setCurrentThreadName(fName);
  std::unique_lock lock(fMutex);
  while (!fIsEnding) {
    if (fQueue.empty()) {
      ++fIdle;
      fWake.wait(lock, [this] { return fIsEnding || !fQueue.empty(); });
      --fIdle;
      continue;
    }
    auto work = std::move(fQueue.front());
    fQueue.pop_front();
    lock.unlock();
    work();
    work = nullptr;
    lock.lock();
  }
}

}  // namespace xo
