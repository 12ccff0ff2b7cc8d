// A robot whose passive blinking is watched and driven.
#pragma once

#include <gtest/gtest.h>

#include <boost/asio/error.hpp>
#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <boost/thread/locks.hpp>
#include <future>
#include <string>
#include <vector>

#include "framework/xo/clock.h"
#include "hardware/leds/test/support/driven.h"
#include "hardware/leds/test/support/leds_access.h"
#include "hardware/leds/test/support/robot.h"
#include "hardware/leds/test/support/threads.h"

namespace HB::test {

inline constexpr float kFarAway = 5000;  // seconds: that expiry never comes
inline const boost::system::error_code kExpired;
inline const boost::system::error_code kAborted = boost::asio::error::operation_aborted;

inline const std::string kStarting = "Starting passive blinking with eye shadow = ";
inline const std::string kStopping = "Stopping passive blinking";
inline const std::string kPause = "Pause passive blinking";
inline const std::string kResume = "Resume passive blinking";

/// The module's own passive blinking, and what the eyes and the log show.
class BlinkingOfRobot {
 public:
  Robot robot;
  LedsAccess in{robot.leds()};
  PassiveBlinking& blinking = *in.fPassiveBlinking();

  int running() const { return LedsAccess::running(blinking); }
  int paused() const { return LedsAccess::paused(blinking); }
  std::vector<std::string> logged() { return robot.log().texts("PassiveBlinking"); }

  /// Blinks so far: the first eye goes dark once in each.
  int blinks() {
    int count = 0;
    for (const auto& write : robot.motion().writes()) {
      const bool isFirstEye = write.keys.front() == small::kPrefix + small::kEye0Blue;
      if (isFirstEye && write.values.front() == std::vector<float>{0}) ++count;
    }
    return count;
  }
  /// Whether a wait is pending; it is cancelled by the question.
  bool takePendingWait() {
    const boost::mutex::scoped_lock lock(LedsAccess::timerMutex(blinking));
    const auto cancelled = LedsAccess::timer(blinking).cancel();
    EXPECT_LE(cancelled, 1u);
    return cancelled == 1;
  }
  /// The timer's handler, as the event loop calls it.
  void expire(const boost::system::error_code& error) {
    Beside([&] { LedsAccess::expire(blinking, error); }).get();
  }
  /// Returns when the thread of passive blinking has nothing more to do.
  void awaitThread() {
    std::promise<void> reached;
    LedsAccess::ioService(blinking).post([&] { reached.set_value(); });
    reached.get_future().wait();
  }
};

struct StandingTime {
  xo::ManualClock clock;
};

/// With time standing still and the next expiry far away.
class PassiveBlinkingOfRobot : public ::testing::Test, public StandingTime, public BlinkingOfRobot {
 protected:
  void SetUp() override { blinking.setTimeBetweenTwoBlinks(kFarAway, kFarAway); }
  void stop() {
    driven(clock, [&] { blinking.stop(); });
  }
};

}  // namespace HB::test
