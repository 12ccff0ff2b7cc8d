// Noticing, in real time, that something takes too long.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

namespace fuzz {

/// Calls `late`, on a thread of its own, when it was set and not cleared for that long.
/// Thread-safe.
class Alarm {
 public:
  Alarm(std::chrono::milliseconds most, std::function<void()> late);
  ~Alarm();
  Alarm(const Alarm&) = delete;
  Alarm& operator=(const Alarm&) = delete;

  void set();
  void clear();

 private:
  void xWatch();

  const std::chrono::milliseconds fMost;
  const std::function<void()> fLate;
  std::mutex fMutex;
  std::condition_variable fChanged;
  std::optional<std::chrono::steady_clock::time_point> fDeadline;
  bool fIsOver = false;
  std::thread fThread;
};

/// One input that does not end, for a deadlock or a loop: prints what it was and where every thread
/// of the process stands, and ends the process as `found` does.
class Watchdog {
 public:
  explicit Watchdog(std::chrono::seconds most);

  /// An input begins. `what` is printed if it does not end.
  void begin(std::string what);
  void end() { fAlarm.clear(); }

 private:
  const std::chrono::seconds fMost;
  std::string fWhat;
  Alarm fAlarm;
};

}  // namespace fuzz
