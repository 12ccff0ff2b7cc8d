// A named thread that calls back at a fixed period while it runs.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace xo {

///   stopped --start()--> running --stop()--> stopped
///
/// Never two ticks at once. Ticks keep to the grid `start + n × period`; ticks that fell into an
/// overlong one are skipped, and the next comes at once. What a tick throws is logged and the task
/// goes on. Ticks run as part of the module whose call or tick started the task: at its unloading
/// their framework sleeps end at once. Thread-safe, except that name, period and callback are set
/// while stopped.
class PeriodicTask {
 public:
  PeriodicTask();
  /// Stops. Not from inside the tick.
  ~PeriodicTask();
  PeriodicTask(const PeriodicTask&) = delete;
  PeriodicTask& operator=(const PeriodicTask&) = delete;

  void setName(std::string name);
  /// Microseconds, at least 1; 100,000 until it is set. Errors: `std::invalid_argument`.
  void setUsPeriod(std::int64_t period);
  void setCallback(std::function<void()> callback);

  /// Starts the thread; the first tick comes at once when `immediate`, else after one period. Does
  /// nothing while running. Errors: `std::logic_error` without a callback.
  void start(bool immediate);
  /// When it returns no tick runs and none will; from inside a tick it does not wait for itself,
  /// and that tick is the last. Does nothing while stopped. Never call it while holding a lock that
  /// the tick takes.
  void stop();
  bool isRunning() const;

 private:
  struct State;
  std::shared_ptr<State> fState;
};

}  // namespace xo
