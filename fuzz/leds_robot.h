// The LED service among the real motion and memory, in one process and on a hand-driven clock; what
// it sends is counted, what reaches the LEDs is looked at.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "framework/hb/hb_broker.h"
#include "framework/xo/clock.h"
#include "fuzz/alarm.h"
#include "fuzz/call_maker.h"
#include "fuzz/caller.h"
#include "hardware/leds/src/hbleds.h"

namespace fuzz {

/// For one thread, which drives the clock while calls run on another.
///
/// Times beyond a quarter of a second are shortened on their way to motion, and an animation is
/// asked to stop after so many writes, a minute of its time, or a while of ours: so that no call
/// costs millions of ticks. When that does not end it, its sleeps end, as when a module is
/// unloaded, and further calls are left out.
class LedsRobot {
 public:
  /// `model` is a file of the tree.
  explicit LedsRobot(const std::string& model);
  ~LedsRobot();
  LedsRobot(const LedsRobot&) = delete;
  LedsRobot& operator=(const LedsRobot&) = delete;

  CallMaker callMaker() const;

  /// Returns two ticks after the call has ended, however it ended.
  void call(const Call& call);
  /// Ends what goes on by itself and lets time pass until everything is over; then looks at what
  /// must hold of a service that has nothing to do.
  void settle();

  /// The first fault that was seen; "" when none was.
  std::string fault() const;

 private:
  static constexpr int kMostWrites = 200;
  static constexpr float kLongestTime = 0.25F;  // seconds
  static constexpr xo::Duration kBetweenCalls = std::chrono::milliseconds(20);
  static constexpr xo::Duration kLongestCall = std::chrono::minutes(1);
  static constexpr xo::Duration kLongestSleep = std::chrono::hours(48);

  void xOfferMemory(xo::Session& session, std::unique_ptr<xo::Session::Registration>& place);
  void xOfferAround();
  void xLookAt(const std::vector<int>& handles, std::vector<float> values);
  void xPassOn(const std::vector<std::string>& keys, std::vector<std::vector<float>> times,
               const std::vector<std::vector<float>>& values);
  void xDrive(const std::function<void()>& action);
  void xAdvance(xo::Duration by);
  void xAskToStop();
  void xFault(const std::string& text);

  xo::ManualClock fClock;
  // The memory; beside it a memory that looks at what motion writes, and motion; and the LEDs with
  // what they need around them.
  const std::shared_ptr<xo::Session> fMemorySession = std::make_shared<xo::Session>();
  const std::shared_ptr<xo::Session> fMotionSession = std::make_shared<xo::Session>();
  const std::shared_ptr<xo::Session> fLedsSession = std::make_shared<xo::Session>();
  std::shared_ptr<HB::HBModule> fMemoryModule;
  std::shared_ptr<HB::HBModule> fMotionModule;
  std::vector<std::unique_ptr<xo::Session::Registration>> fRegistrations;
  std::shared_ptr<HB::HBModule> fModule;
  HB::HBLeds* fLeds = nullptr;
  xo::Object fService;

  mutable std::mutex fMutex;
  std::string fFault;
  xo::StopFlag* fStop = nullptr;  // of the running call
  std::atomic<int> fWrites{0};    // of the running call
  bool fIsEnded = false;
  Alarm fPatience;
  Caller fCaller;
};

}  // namespace fuzz
