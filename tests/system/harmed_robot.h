// A robot that somebody does harm to: what it held before, another client meanwhile, and whether
// everything is as before when it is over.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "remote/client/robot_client.h"
#include "tests/system/neighbour.h"
#include "tests/system/robot.h"
#include "tests/system/vitals.h"

namespace tests {

/// How often a test does its harm: 1, or what the environment's FAULT_ROUNDS says.
int faultRounds();

/// A call that runs until it is stopped: turns of the eyes, each a twentieth of
/// a second long. A stop is seen between turns.
inline const std::vector<HB::HBValue> kEndlessTurns{0x00ff00, 0.05F, 80000.0F};

class HarmedRobot {
 public:
  /// Vanto, with a page. `environment`: for the robot.
  explicit HarmedRobot(const std::vector<std::string>& environment = {});

  const Robot& robot() const { return fRobot; }
  Robot& robot() { return fRobot; }
  const std::string& address() const { return fRobot.address(); }
  int port() const;
  int pagePort() const;
  /// Looks at the robot, and takes no part.
  remote::RobotClient& client() { return *fClient; }
  std::size_t running() { return fClient->calls().running.size(); }
  bool runs(const std::string& method);
  Vitals vitals() const { return vitalsOf(fRobot.pid()); }

  /// From now on the robot's state is compared and the neighbour calls.
  void begin(std::chrono::milliseconds breath = Neighbour::kBreath);
  const Vitals& before() const { return fBefore; }
  /// Whether calls and descriptors are as they were.
  bool isAsBefore();
  /// Milliseconds until the condition holds, looked at about each millisecond; none when it does
  /// not in time.
  static std::optional<double> timeUntil(const std::function<bool()>& condition);
  /// Expects that calls and descriptors are, within a while, as they were; that the neighbour's
  /// calls all succeeded; that memory has grown by no more than `mostKib`; that there is no error
  /// in the log; and that the robot ends with status 0 then. Prints what it measured.
  void expectUnharmed(const std::string& fault, long mostKib);

 private:
  Robot fRobot;
  std::unique_ptr<remote::RobotClient> fClient;
  Vitals fBefore;
  std::optional<Neighbour> fNeighbour;
};

}  // namespace tests
