// That the checks of the tests of faults can fail: each notices what it is there for.
#include <gmock/gmock.h>

#include "remote/test/raw_socket.h"
#include "tests/system/harmed_robot.h"

namespace tests {
namespace {

TEST(HarmedRobot, IsNotAsBeforeWhileAConnectionIsOpen) {
  HarmedRobot robot;
  robot.begin();
  EXPECT_TRUE(eventually([&] { return robot.isAsBefore(); }));
  for (const int port : {robot.port(), robot.pagePort()}) {
    const auto idle = remote::RawSocket::connectTcp(port);
    EXPECT_TRUE(eventually([&] { return !robot.isAsBefore(); }));
  }
  EXPECT_TRUE(eventually([&] { return robot.isAsBefore(); }));
}

TEST(HarmedRobot, IsNotAsBeforeWhileACallRuns) {
  HarmedRobot robot;
  robot.begin();
  const auto client = remote::RobotClient::connect(robot.address());
  remote::CancelToken cancel;
  std::thread caller([&] {
    EXPECT_THROW(client->call("HBLeds", "rotateEyes", kEndlessTurns, {{}, {}, cancel}),
                 remote::RemoteError);
  });
  EXPECT_TRUE(eventually([&] { return robot.runs("rotateEyes"); }));
  EXPECT_FALSE(robot.isAsBefore());
  cancel.cancel();
  caller.join();
}

TEST(Vitals, SeeMemoryThatIsKeptAndTheMostThatWas) {
  HarmedRobot robot;
  const auto before = robot.vitals().residentKib;
  forgetPeak(robot.robot().pid());
  for (int i = 0; i < 320; ++i) {
    const HB::HBValue args[] = {"Big/" + std::to_string(i), std::string(50000, 'x')};
    robot.client().call("HBMemory", "insertData", args);
  }
  const auto after = robot.vitals();
  if (!kIsMemoryTelling) return;
  EXPECT_GT(after.residentKib - before, 12 * 1024);
  EXPECT_GE(after.peakKib, after.residentKib);
}

TEST(Vitals, SeeAProcessThatSpins) {
  const Process busy({"/bin/sh", "-c", "while :; do :; done"});
  EXPECT_TRUE(eventually([&] { return vitalsOf(busy.pid()).cpuSeconds > 0.2; }));
}

TEST(Neighbour, TellsCallsThatFail) {
  const Robot robot;
  Neighbour neighbour(robot.address());
  ASSERT_EQ(robot.ledctl({"--service", "HBHost", "unloadModule", "leds"}).status, 0);
  EXPECT_TRUE(eventually([&] { return neighbour.failures() > 0; }));
  EXPECT_THAT(neighbour.finish().errors, testing::Not(testing::IsEmpty()));
}

}  // namespace
}  // namespace tests
