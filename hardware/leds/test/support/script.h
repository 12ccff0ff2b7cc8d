// What an animation is described to do, written down step by step on a robot's own inventory, to be
// compared with what it did.
#pragma once

#include <string>
#include <vector>

#include "framework/xo/clock.h"
#include "hardware/leds/test/support/leds_access.h"
#include "hardware/leds/test/support/recording_motion.h"

namespace HB::test {

/// One write and when it comes, in milliseconds since the animation began.
struct TimedWrite {
  RecordingMotion::Write write;
  long long atMs;
  bool operator==(const TimedWrite&) const = default;
};

class Script {
 public:
  explicit Script(HBLeds& leds) : fInventory(leds) {}

  void sleep(long long milliseconds) { fNow += milliseconds; }

  // Everything at once, as the write path does it: a device and a group in one write each, a short
  // LED name in one per device; nothing for a group that there is not.
  void device(const std::string& name, float intensity);
  void led(const std::string& name, float intensity);
  void group(const std::string& name, float intensity);
  void reset(const std::string& group);
  /// The steps of a colour for a group, in one write: channel by device name.
  struct Step {
    float red;
    float green;
    float blue;
    float seconds;
  };
  void colors(const std::string& group, const std::vector<Step>& steps);

  bool hasDevice(const std::string& name) { return fInventory.xIsDeviceName(name); }
  bool hasLed(const std::string& name) { return fInventory.xIsLedName(name); }
  int ears() { return fInventory.fEarLedCount(); }

  long long now() const { return fNow; }
  const std::vector<TimedWrite>& writes() const { return fWrites; }

 private:
  void add(RecordingMotion::Write write) { fWrites.push_back({std::move(write), fNow}); }
  std::string key(const std::string& device) { return fInventory.fDevicePrefix() + device; }

  LedsAccess fInventory;
  std::vector<TimedWrite> fWrites;
  long long fNow = 0;
};

/// What `motion` recorded since it was last cleared, timed from `start`.
std::vector<TimedWrite> timed(const RecordingMotion& motion, xo::TimePoint start);
/// The same without times, all at 0.
std::vector<TimedWrite> untimed(const std::vector<RecordingMotion::Write>& writes);
std::vector<TimedWrite> untimed(std::vector<TimedWrite> writes);

/// "" when both are the same, else the first place where they part.
std::string difference(const std::vector<TimedWrite>& expected,
                       const std::vector<TimedWrite>& actual);

}  // namespace HB::test
