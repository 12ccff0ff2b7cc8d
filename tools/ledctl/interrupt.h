// Ctrl-C and time-outs of one run of the program.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>

#include "remote/client/robot_client.h"

namespace ledctl {

/// Cancels its token at the first SIGINT or SIGTERM, on a thread of its own; at the second, and
/// before `begin`, the process ends with 130. One per process, made before any other thread: it
/// also blocks SIGWINCH in all of them, for `Screen`.
class Interrupt {
 public:
  Interrupt();
  ~Interrupt();
  Interrupt(const Interrupt&) = delete;
  Interrupt& operator=(const Interrupt&) = delete;

  /// From now on a signal cancels instead of ending the process.
  void begin() { fHasBegun = true; }
  const remote::CancelToken& token() const { return fToken; }
  /// What is done before a signal ends the process, on this object's thread; null for nothing.
  void setLastResort(std::function<void()> what);
  /// Whether a signal has come.
  bool hasCome() const { return fHasCome; }

 private:
  void xWatch();

  remote::CancelToken fToken;
  std::mutex fMutex;  // guards the next
  std::function<void()> fLastResort;
  std::atomic<bool> fHasBegun{false};
  std::atomic<bool> fHasCome{false};
  int fSignals;
  int fEnd;
  std::thread fThread;
};

/// Cancels a token after a time, unless destroyed before.
class [[nodiscard]] Countdown {
 public:
  Countdown(const remote::CancelToken& token, std::optional<std::chrono::milliseconds> time);
  ~Countdown();
  Countdown(const Countdown&) = delete;
  Countdown& operator=(const Countdown&) = delete;

 private:
  std::mutex fMutex;
  std::condition_variable fEnded;
  bool fIsOver = false;
  std::thread fThread;
};

}  // namespace ledctl
