// Faults of a motion service that users may switch on, to see what the robot does then.
#pragma once

#include <atomic>
#include <mutex>
#include <string>

#include "framework/xo/clock.h"

namespace HB {

/// Thread-safe. Costs a write one atomic read while no fault is simulated.
class SimulatedFault {
 public:
  /// Kinds and amounts as published. Errors, changing nothing: `std::invalid_argument` that names
  /// the kind or the amount and what is allowed.
  void set(const std::string& kind, float amount);

  /// A write begins: waits, or throws `std::runtime_error`, as the fault wants it. What waits goes
  /// on within a twentieth of a second when the fault is lifted or replaced, and fails when its
  /// call is asked to stop.
  void strike();

 private:
  enum class Kind { kNone, kDead, kSlow, kFailing, kFlapping };
  struct Setting {
    Kind kind = Kind::kNone;
    float amount = 0;
    xo::TimePoint since{};
    int writes = 0;
    int number = 0;  // grows with each setting
  };

  static Kind xKindOf(const std::string& kind);
  static void xRequireAmount(Kind kind, float amount);
  Setting xNext();
  void xWait(const Setting& setting, xo::TimePoint end);

  std::atomic<bool> fIsOn{false};
  std::atomic<int> fNumber{0};
  std::mutex fMutex;
  Setting fSetting;
};

}  // namespace HB
