// Signals that end the program, taken by a thread of their own.
#pragma once

#include <functional>
#include <thread>

namespace tavro {

/// Runs a callback for every SIGINT and SIGTERM while it lives, on its thread ("signals").
class SignalWatcher {
 public:
  /// Keeps the signals for a watcher to come. Before any other thread starts: threads inherit it.
  static void blockSignals();

  /// `onSignal(n)` for the n-th signal, counted from 1. Errors: `std::system_error`.
  explicit SignalWatcher(std::function<void(int)> onSignal);
  ~SignalWatcher();  // when it returns the callback does not run and will not
  SignalWatcher(const SignalWatcher&) = delete;
  SignalWatcher& operator=(const SignalWatcher&) = delete;

 private:
  void xWatch(const std::function<void(int)>& onSignal) const;

  int fSignals;  // descriptor that reads signals
  int fEnd;      // descriptor that becomes readable when the watch ends
  std::thread fThread;
};

}  // namespace tavro
