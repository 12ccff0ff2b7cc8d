#include "services/motion/src/simulated_fault.h"

#include <gmock/gmock.h>

#include <atomic>
#include <limits>
#include <stdexcept>
#include <thread>

#include "framework/xo/call.h"

namespace HB {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::HasSubstr;

class SimulatedFaultTest : public testing::Test {
 protected:
  bool isRefused() {
    try {
      fault.strike();
    } catch (const std::runtime_error&) {
      return true;
    }
    return false;
  }
  std::string complaint(const std::string& kind, float amount) {
    try {
      fault.set(kind, amount);
    } catch (const std::invalid_argument& error) {
      return error.what();
    }
    return "(accepted)";
  }

  xo::ManualClock clock;
  SimulatedFault fault;
};

/// A write on a thread of its own, as one call.
class Write {
 public:
  Write(SimulatedFault& fault, xo::ManualClock& clock)
      : fThread([this, &fault] {
          const xo::CallScope call(nullptr, &fStop);
          try {
            fault.strike();
            fOutcome = "done";
          } catch (const std::runtime_error& error) {
            fOutcome = error.what();
          }
          fHasEnded = true;
        }) {
    clock.awaitSleepers(1);
  }
  bool hasEnded() const { return fHasEnded; }
  void stop() { fStop.raise(); }
  std::string outcome() {
    fThread.join();
    return fOutcome;
  }

 private:
  xo::StopFlag fStop;
  std::string fOutcome;
  std::atomic<bool> fHasEnded{false};
  std::thread fThread;
};

TEST_F(SimulatedFaultTest, LetsWritesPassBeforeOneIsSetAndAfterItIsLifted) {
  EXPECT_FALSE(isRefused());
  fault.set("failing", 1);
  EXPECT_TRUE(isRefused());
  fault.set("none", 0);
  EXPECT_FALSE(isRefused());
}

TEST_F(SimulatedFaultTest, FailingRefusesTheLastOfSoManyWrites) {
  fault.set("failing", 2);
  for (const bool expected : {false, true, false, true}) EXPECT_EQ(isRefused(), expected);
  fault.set("failing", 3);
  for (const bool expected : {false, false, true, false}) EXPECT_EQ(isRefused(), expected);
}

TEST_F(SimulatedFaultTest, FlappingRefusesForATimeAndPassesForAsLong) {
  fault.set("flapping", 2);
  EXPECT_TRUE(isRefused());
  clock.advance(milliseconds(1999));
  EXPECT_TRUE(isRefused());
  clock.advance(milliseconds(1));
  EXPECT_FALSE(isRefused());
  clock.advance(seconds(2));
  EXPECT_TRUE(isRefused());
}

TEST_F(SimulatedFaultTest, SlowTakesSoManySeconds) {
  fault.set("slow", 5);
  Write write(fault, clock);
  clock.advance(milliseconds(4999));
  EXPECT_FALSE(write.hasEnded());
  clock.advance(milliseconds(1));
  EXPECT_EQ(write.outcome(), "done");
}

TEST_F(SimulatedFaultTest, DeadAnswersNothingUntilItIsLifted) {
  fault.set("dead", 0);
  Write write(fault, clock);
  clock.advance(std::chrono::hours(1));
  EXPECT_FALSE(write.hasEnded());
  fault.set("none", 0);
  clock.advance(milliseconds(50));
  EXPECT_EQ(write.outcome(), "done");
}

TEST_F(SimulatedFaultTest, SlowEndsSoonerWhenItIsLifted) {
  fault.set("slow", 60);
  Write write(fault, clock);
  fault.set("none", 0);
  clock.advance(milliseconds(50));
  EXPECT_EQ(write.outcome(), "done");
}

TEST_F(SimulatedFaultTest, DeadLetsACallGoThatIsAskedToStop) {
  fault.set("dead", 0);
  Write write(fault, clock);
  write.stop();
  clock.advance(milliseconds(50));
  EXPECT_THAT(write.outcome(), HasSubstr("given up"));
}

TEST_F(SimulatedFaultTest, NamesWhatIsWrongAndKeepsTheFaultBefore) {
  fault.set("failing", 1);
  EXPECT_EQ(complaint("lame", 1),
            "HBMotion: _setFault: there is no fault 'lame'; there are: none, dead, slow, failing, "
            "flapping");
  EXPECT_THAT(complaint("slow", 61), HasSubstr("the amount of 'slow' is 61"));
  EXPECT_THAT(complaint("slow", -1), HasSubstr("from 0"));
  EXPECT_THAT(complaint("slow", std::numeric_limits<float>::quiet_NaN()), HasSubstr("nan"));
  EXPECT_THAT(complaint("failing", 1.5F), HasSubstr("a whole number from 1"));
  EXPECT_THAT(complaint("failing", 0), HasSubstr("'failing' is 0"));
  EXPECT_THAT(complaint("flapping", 0), HasSubstr("'flapping' is 0"));
  EXPECT_TRUE(isRefused());
}

}  // namespace
}  // namespace HB
