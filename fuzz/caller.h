// The thread on which a harness makes calls, one after another.
#pragma once

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace fuzz {

/// A hand-driven clock does not know this thread before it sleeps for the first time in a call, and
/// so need not find out, in a tenth of a second, that it waits for a lock: `settle` does in a
/// fraction of a millisecond. A call that ends by itself costs two changes of threads. For one
/// thread.
class Caller {
 public:
  Caller();
  /// Waits for what was begun.
  ~Caller();
  Caller(const Caller&) = delete;
  Caller& operator=(const Caller&) = delete;

  /// Nothing may be under way. What it throws ends the process.
  void begin(std::function<void()> action);
  bool isBusy() const { return fIsBusy; }
  /// Returns when what was begun has ended, or is held up by something: time, a lock, a thread.
  void settle() const;

 private:
  void xRun();
  std::string xLook() const;

  std::mutex fMutex;  // guards all below but the atomics
  std::condition_variable fWake;
  std::function<void()> fAction;
  bool fIsOver = false;
  std::atomic<bool> fIsBusy{false};
  std::atomic<int> fKernelId{0};
  std::thread fThread;
};

}  // namespace fuzz
