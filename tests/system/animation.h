// A call that runs until its client is lost.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <thread>

#include "tests/system/harmed_robot.h"

namespace tests {

/// On a thread of its own, whose end its end waits for.
class Animation {
 public:
  Animation(const std::string& address, HarmedRobot& robot)
      : fClient(remote::RobotClient::connect(address, {"animator"})), fThread([this] {
          try {
            fClient->call("HBLeds", "rotateEyes", kEndlessTurns);
          } catch (const remote::RemoteError& error) {
            fError = error.what();
          }
        }) {
    EXPECT_TRUE(eventually([&] { return robot.runs("rotateEyes"); }));
  }
  ~Animation() { fThread.join(); }
  Animation(const Animation&) = delete;
  Animation& operator=(const Animation&) = delete;

 private:
  const std::unique_ptr<remote::RobotClient> fClient;
  std::string fError;
  std::thread fThread;
};

}  // namespace tests
