// The output stage of motion: where values leave for hardware. A driver for real LEDs is a class of
// this interface, made in HBMotion's constructor beside the one that fills the robot's memory.
#pragma once

#include <string>
#include <vector>

namespace HB {

/// Takes the outputs of numbered channels; what they are, a driver learns when it is made (HBMotion
/// numbers the devices of the robot model in ascending order of their keys). Called by one thread
/// at a time, in the order in which values hold: the tick's thread, which runs before ordinary ones
/// where the system allows it, or a caller's for values that take effect at once. Motion waits for
/// it and holds its lock: it must not block for longer than a fraction of a tick (10 ms) and must
/// not call motion.
class LedDriver {
 public:
  LedDriver() = default;
  virtual ~LedDriver() = default;
  LedDriver(const LedDriver&) = delete;
  LedDriver& operator=(const LedDriver&) = delete;

  /// For messages.
  virtual std::string name() const = 0;
  /// Channel `channels[i]` is now `values[i]`, finite and in 0..1; all at the same instant, each
  /// channel at most once, never an empty list. What it throws is logged once per failure; the
  /// write that follows a failed one then repeats every channel.
  virtual void write(const std::vector<int>& channels, const std::vector<float>& values) = 0;
};

}  // namespace HB
