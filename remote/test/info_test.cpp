// What clients learn about the robot: who it is, which services stand, which calls run.
#include <gmock/gmock.h>

#include "remote/test/test_robot.h"

namespace remote {
namespace {

using HB::HBValue;
using testing::Contains;
using testing::ElementsAre;
using testing::Pair;

std::vector<std::string> namesOf(const std::vector<ServiceInfo>& services) {
  std::vector<std::string> names;
  for (const auto& service : services) names.push_back(service.name);
  return names;
}

TEST(Info, TellsModulesRoleAndLimits) {
  door::Limits limits;
  limits.listElements = 77;
  const TestRobot robot(limits);
  robot.server->setModules([] { return std::vector<std::string>{"memory", "leds"}; });
  const auto info = robot.connect()->info();
  EXPECT_THAT(info.modules, ElementsAre("memory", "leds"));
  EXPECT_EQ(info.role, "operator");
  EXPECT_THAT(info.limits, Contains(Pair("list elements", 77u)));
}

TEST(Calls, ListsWhatRunsAndWhatEndedWithItsError) {
  const TestRobot robot;
  const auto client = robot.connect("watcher");
  const HBValue::List args{"out_of_range", "too far"};
  EXPECT_THROW(client->call("Test", "fail", args), RemoteError);
  std::thread caller([&] { robot.connect("stayer")->call("Test", "stay", {}); });
  robot.awaitInside(1);
  const auto calls = client->calls();
  ASSERT_EQ(calls.running.size(), 1u);
  EXPECT_EQ(calls.running[0].client, "stayer");
  EXPECT_EQ(calls.running[0].service, "Test");
  EXPECT_EQ(calls.running[0].method, "stay");
  ASSERT_EQ(calls.ended.size(), 1u);
  EXPECT_EQ(calls.ended[0].client, "watcher");
  EXPECT_EQ(calls.ended[0].error, "too far");
  EXPECT_LT(calls.ended[0].id, calls.running[0].id);
  EXPECT_LE(calls.running[0].began, std::chrono::system_clock::now());
  EXPECT_TRUE(client->stopCall(calls.running[0].id));
  caller.join();
  EXPECT_EQ(robot.stopped, 1);
  EXPECT_FALSE(client->stopCall(calls.running[0].id));
}

TEST(WatchServices, TellsAllAtFirstAndAllAgainAfterEachChange) {
  TestRobot robot;
  std::unique_ptr<xo::Session::Registration> extra;
  std::vector<std::vector<ServiceInfo>> seen;
  const auto publish = [&] {
    extra = robot.session->registerService("Zebra", xo::ObjectBuilder());
  };
  robot.connect()->watchServices([&](const std::vector<ServiceInfo>& services) {
    seen.push_back(services);
    if (seen.size() == 1) publish();
    if (seen.size() == 2) extra.reset();
    if (seen.size() == 3) publish();
    return seen.size() < 4;
  });
  EXPECT_THAT(namesOf(seen[0]), ElementsAre("HBMemory", "Test"));
  EXPECT_THAT(namesOf(seen[1]), ElementsAre("HBMemory", "Test", "Zebra"));
  EXPECT_THAT(namesOf(seen[2]), ElementsAre("HBMemory", "Test"));
  EXPECT_GT(seen[3][2].generation, seen[1][2].generation);
  EXPECT_TRUE(comesTrue([&] { return robot.isAtRest(); }));
}

TEST(WatchServices, SeesTheLastOfManyFastChanges) {
  TestRobot robot;
  std::unique_ptr<xo::Session::Registration> stays;
  std::thread changer([&] {
    for (int i = 0; i < 1000; ++i) {
      const auto gone = robot.session->registerService("Fly", xo::ObjectBuilder());
    }
    stays = robot.session->registerService("Stone", xo::ObjectBuilder());
  });
  std::vector<std::string> last;
  robot.connect()->watchServices([&](const std::vector<ServiceInfo>& services) {
    last = namesOf(services);
    return last.size() != 3 || last[1] != "Stone";
  });
  changer.join();
  EXPECT_THAT(last, ElementsAre("HBMemory", "Stone", "Test"));
}

}  // namespace
}  // namespace remote
