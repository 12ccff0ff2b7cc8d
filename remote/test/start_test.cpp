// Calls whose futures the client holds.
#include <gmock/gmock.h>

#include <random>

#include "remote/test/test_robot.h"

namespace remote {
namespace {

using Fault = RemoteError::Fault;
using HB::HBValue;
using testing::HasSubstr;

xo::CallResult start(RobotClient& client, const std::string& method, const HBValue::List& args = {},
                     const CallOptions& options = {}) {
  return client.start("Test", method, args, options);
}

TEST(Start, GivesTheValueOfAMethodWithoutAFuture) {
  const TestRobot robot;
  const auto client = robot.connect();
  const auto result = start(*client, "echo", {"hello"});
  EXPECT_EQ(result.value, HBValue("hello"));
  EXPECT_FALSE(result.future);
  EXPECT_TRUE(comesTrue([&] { return robot.isAtRest(); }));
}

TEST(Start, ThrowsWhatTheMethodThrows) {
  const TestRobot robot;
  const auto client = robot.connect();
  try {
    start(*client, "fail", {"out_of_range", "too far"});
    FAIL();
  } catch (const RemoteError& error) {
    EXPECT_EQ(error.fault(), Fault::kFailed);
    EXPECT_EQ(error.kind(), "out_of_range");
    EXPECT_STREQ(error.what(), "too far");
  }
}

TEST(Start, OfAnUnknownServiceIsRefused) {
  const TestRobot robot;
  const auto client = robot.connect();
  try {
    client->start("Nope", "x", {});
    FAIL();
  } catch (const RemoteError& error) {
    EXPECT_EQ(error.fault(), Fault::kRefused);
    EXPECT_THAT(error.what(), HasSubstr("There is no service 'Nope'"));
  }
}

TEST(Start, HandsAFutureOutThatEndsWithTheRobotsValue) {
  const TestRobot robot;
  const auto client = robot.connect();
  const auto result = start(*client, "later");
  ASSERT_TRUE(result.future);
  EXPECT_FALSE(result.future->wait(0));
  robot.later.setValue(HBValue(5));
  EXPECT_EQ(result.future->value(10000), HBValue(5));
  EXPECT_TRUE(comesTrue([&] { return robot.isAtRest(); }));
}

TEST(Start, HandsAFutureOutThatEndsWithTheRobotsErrorOfItsOwnType) {
  const TestRobot robot;
  const auto client = robot.connect();
  const auto result = start(*client, "later");
  ASSERT_TRUE(result.future);
  robot.later.setError(std::make_exception_ptr(std::out_of_range("far")));
  ASSERT_TRUE(result.future->wait(10000));
  EXPECT_THROW(result.future->value(), std::out_of_range);
}

TEST(Start, CancellingTheFutureCancelsTheRobots) {
  const TestRobot robot;
  robot.later.onCancel([&robot] { robot.later.setCancelled(); });
  const auto client = robot.connect();
  const auto result = start(*client, "later");
  ASSERT_TRUE(result.future);
  result.future->cancel();
  ASSERT_TRUE(result.future->wait(10000));
  EXPECT_TRUE(result.future->isCancelled());
}

TEST(Start, DroppingTheFutureLetsGoOfTheRobotsAtOnceAndDoesNotCancelIt) {
  TestRobot robot;
  const auto client = robot.connect();
  auto result = start(*client, "loose");
  ASSERT_TRUE(result.future);
  EXPECT_EQ(robot.loose(), 1);
  result.future.reset();
  EXPECT_TRUE(comesTrue([&] { return robot.loose() == 0; }));
  EXPECT_EQ(robot.looseCancelled, 0);
  EXPECT_TRUE(comesTrue([&] { return robot.isAtRest(); }));
}

TEST(Start, HoldsNoThreadWhileFuturesRun) {
  TestRobot robot;
  const auto client = robot.connect();
  std::vector<xo::Future<HBValue>> futures;
  for (int i = 0; i < 500; ++i) futures.push_back(*start(*client, "later").future);
  EXPECT_LT(robot.threads(), 30);  // of the whole process
  robot.later.setValue(HBValue(1));
  for (const auto& future : futures) EXPECT_EQ(future.value(10000), HBValue(1));
}

TEST(Start, ATimeoutStopsTheMethod) {
  const TestRobot robot;
  const auto client = robot.connect();
  CallOptions options;
  options.timeout = std::chrono::milliseconds(50);
  EXPECT_THROW(start(*client, "stay", {}, options), RemoteError);
  EXPECT_TRUE(comesTrue([&] { return robot.stopped == 1 && robot.isAtRest(); }));
}

TEST(Start, LosingTheClientStopsTheMethod) {
  const TestRobot robot;
  CallOptions options;
  options.cancel = CancelToken();
  std::thread caller([&] {
    const auto client = robot.connect();
    EXPECT_THROW(start(*client, "stay", {}, options), RemoteError);
  });
  robot.awaitInside(1);
  options.cancel->cancel();
  caller.join();
  EXPECT_TRUE(comesTrue([&] { return robot.stopped == 1 && robot.isAtRest(); }));
}

TEST(Start, FuturesEndWhenTheRobotGoes) {
  auto robot = std::make_unique<TestRobot>();
  const auto client = robot->connect();
  const auto result = start(*client, "later");
  ASSERT_TRUE(result.future);
  robot->server->stop();
  ASSERT_TRUE(result.future->wait(10000));
  EXPECT_TRUE(result.future->hasError() || result.future->isCancelled());
}

TEST(Start, FuturesEndWhenTheClientGoes) {
  const TestRobot robot;
  auto client = robot.connect();
  const auto result = start(*client, "later");
  client.reset();
  ASSERT_TRUE(result.future->hasError());
  EXPECT_EQ(result.future->errorText(), "The connection to the robot was closed");
}

TEST(Start, HasALimitOfFuturesAtOnce) {
  door::Limits limits;
  limits.futuresPerClient = 2;
  const TestRobot robot(limits);
  const auto client = robot.connect();
  const auto first = start(*client, "later");
  auto second = start(*client, "later");
  try {
    start(*client, "later");
    FAIL();
  } catch (const RemoteError& error) {
    EXPECT_THAT(error.what(), HasSubstr("limit of 2"));
  }
  second.future.reset();
  EXPECT_TRUE(comesTrue([&] {
    try {
      return start(*client, "later").future.has_value();
    } catch (const RemoteError&) {
      return false;
    }
  }));
}

/// Calls that end in every way at every moment.
TEST(Start, TenThousandCallsCancelledAtRandomPointsLeaveNothing) {
  TestRobot robot;
  {
    const auto client = robot.connect();
    std::mt19937 random(1);
    std::vector<xo::Future<HBValue>> futures;
    for (int i = 0; i < 10000; ++i) {
      CallOptions options;
      options.timeout = std::chrono::milliseconds(random() % 200 == 0 ? 1 : 5000);
      try {
        const bool isStuck = random() % 200 == 0;
        if (isStuck) options.timeout = std::chrono::milliseconds(random() % 3);
        auto result = start(*client, isStuck ? "stay" : "loose", {}, options);
        if (result.future) futures.push_back(*result.future);
      } catch (const RemoteError& error) {
        ASSERT_NE(error.fault(), Fault::kRefused) << error.what();
      }
      while (futures.size() > 50) {
        const std::size_t at = random() % futures.size();
        if (random() % 2 == 0) futures[at].cancel();
        if (random() % 3 == 0) robot.settleOneLoose();
        futures.erase(futures.begin() + static_cast<std::ptrdiff_t>(at));
      }
    }
  }
  EXPECT_TRUE(comesTrue([&] { return robot.isAtRest() && robot.loose() == 0; }));
}

TEST(Call, TenThousandCallsCancelledAtRandomPointsLeaveNothing) {
  TestRobot robot;
  std::vector<std::thread> callers;
  for (unsigned seed = 0; seed < 4; ++seed) {
    callers.emplace_back([&robot, seed] {
      const auto client = robot.connect("tester " + std::to_string(seed));
      std::mt19937 random(seed);
      for (int i = 0; i < 2500; ++i) {
        CallOptions options;
        options.completion = Completion::kFinished;
        options.timeout = std::chrono::milliseconds(random() % 3);
        try {
          client->call("Test", random() % 10 == 0 ? "stay" : "loose", {}, options);
        } catch (const RemoteError& error) {
          EXPECT_NE(error.fault(), Fault::kRefused) << error.what();
        }
        if (random() % 3 == 0) robot.settleOneLoose();
      }
    });
  }
  for (auto& caller : callers) caller.join();
  EXPECT_TRUE(comesTrue([&] { return robot.isAtRest() && robot.loose() == 0; }));
}

}  // namespace
}  // namespace remote
