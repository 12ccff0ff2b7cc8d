// What is still going on, once it has taken a second: one line on a terminal, gone when it is over.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <ostream>
#include <string>
#include <thread>

namespace ledctl {

/// Writes "WHAT: 3 s, Ctrl-C stops it" in place, each second from the first on, until destroyed.
/// Nobody else writes to `out` meanwhile. Its thread ends with it.
class [[nodiscard]] Progress {
 public:
  /// `isShown` false: does nothing.
  Progress(std::ostream& out, bool isShown, std::string what,
           std::chrono::milliseconds second = std::chrono::seconds(1));
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

 private:
  void xShow(std::chrono::milliseconds second);

  std::ostream& fOut;
  const std::string fWhat;
  std::mutex fMutex;
  std::condition_variable fEnded;
  bool fIsOver = false;
  std::thread fThread;
};

}  // namespace ledctl
