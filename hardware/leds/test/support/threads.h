// Running a command on a thread of its own and seeing whether it gets through.
#pragma once

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <future>
#include <string>
#include <thread>
#include <utility>

namespace HB::test {

/// A command that runs beside the test. Its destruction waits for it (release what it waits for
/// first) and ends the whole program, as failed, when it does not come back within 20 s.
class Beside {
 public:
  template <class F>
  explicit Beside(F action) : fDone(std::async(std::launch::async, std::move(action))) {}

  Beside(Beside&&) = default;
  Beside& operator=(Beside&&) = delete;
  ~Beside() {
    if (!fDone.valid() || ends()) return;
    std::fputs("A command that runs beside the test never came back\n", stderr);
    std::abort();
  }

  /// Whether it ended by itself (returning or throwing) within 20 s: for what must end.
  bool ends() { return fDone.wait_for(std::chrono::seconds(20)) == std::future_status::ready; }
  /// Whether it still runs after 50 ms: for what must be kept out. A command takes microseconds.
  bool isKeptOut() {
    return fDone.wait_for(std::chrono::milliseconds(50)) == std::future_status::timeout;
  }
  /// Waits for it; what it threw is thrown here.
  void get() { fDone.get(); }

 private:
  std::future<void> fDone;
};

/// Whether `mutex` could be had now, tried on another thread (this one may hold it), shared or
/// exclusively. It is given back at once.
template <class M>
bool canShare(M& mutex) {
  return std::async(std::launch::async,
                    [&] {
                      const bool had = mutex.try_lock_shared();
                      if (had) mutex.unlock_shared();
                      return had;
                    })
      .get();
}
template <class M>
bool canExclude(M& mutex) {
  return std::async(std::launch::async,
                    [&] {
                      const bool had = mutex.try_lock();
                      if (had) mutex.unlock();
                      return had;
                    })
      .get();
}

/// Waits, at most 20 s, until `condition` holds; for what another thread brings about.
template <class F>
bool becomesTrue(F condition) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::yield();
  }
  return true;
}

}  // namespace HB::test
