// Counts what is under way, so that an end can wait for it.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>

namespace web {

/// Thread-safe. Outlives whoever is inside.
class Tally {
 public:
  /// Counts until the last copy goes.
  std::shared_ptr<void> enter();
  std::size_t inside() const;
  void waitUntilEmpty();
  /// False when somebody is still inside after that time.
  bool waitUntilEmpty(std::chrono::milliseconds atMost);

 private:
  void leave();

  mutable std::mutex fMutex;
  std::condition_variable fEmpty;
  std::size_t fInside = 0;
};

}  // namespace web
