// Calls over real sockets: values, errors, overloads, futures, stop.
#include <gmock/gmock.h>

#include <cmath>
#include <limits>

#include "remote/test/test_robot.h"

namespace remote {
namespace {

using Fault = RemoteError::Fault;
using HB::HBValue;
using testing::HasSubstr;

/// Runs `f`, which must throw a RemoteError, and hands that out.
template <class F>
RemoteError errorOf(F&& f) {
  try {
    f();
  } catch (const RemoteError& error) {
    return error;
  }
  return {Fault::kFailed, "nothing was thrown"};
}

CallReply call(RobotClient& client, const std::string& method, const HBValue::List& args = {},
               const CallOptions& options = {}) {
  return client.call("Test", method, args, options);
}

std::string text(int bytes, char c) { return std::string(static_cast<std::size_t>(bytes), c); }

class EchoTest : public testing::TestWithParam<HBValue> {};

TEST_P(EchoTest, TheValueComesBackAsItWentByPortAndByUnixSocket) {
  const TestRobot robot;
  for (const auto& address : {robot.server->tcpAddress(), robot.unixAddress()}) {
    const auto client = RobotClient::connect(address);
    EXPECT_EQ(call(*client, "echo", {GetParam()}).value, GetParam()) << address;
  }
}

INSTANTIATE_TEST_SUITE_P(
    EveryType, EchoTest,
    testing::Values(HBValue(), HBValue(true), HBValue(false), HBValue(0),
                    HBValue(std::numeric_limits<int>::min()),
                    HBValue(std::numeric_limits<int>::max()), HBValue(0.1f), HBValue(-0.0f),
                    HBValue(std::numeric_limits<float>::infinity()),
                    HBValue(-std::numeric_limits<float>::infinity()),
                    HBValue(std::numeric_limits<float>::denorm_min()), HBValue(""),
                    HBValue("gr\xC3\xBCn \xF0\x9F\x91\x80"), HBValue("\xFF not UTF-8 \xC3"),
                    HBValue(std::string("zero \0 inside", 13)), HBValue(HBValue::List()),
                    HBValue::list({1, 0.5f, "a", HBValue(), HBValue::list({true, "b"})}),
                    HBValue(HB::Binary{}), HBValue(HB::Binary{{0, 255, 10}})));

TEST(Call, ANotANumberComesBackAsOne) {
  const TestRobot robot;
  const auto client = robot.connect();
  const auto reply = call(*client, "echo", {std::numeric_limits<float>::quiet_NaN()});
  EXPECT_TRUE(std::isnan(reply.value.toFloat()));
}

TEST(Call, AMethodWithoutAResultGivesTheInvalidValue) {
  const TestRobot robot;
  const auto reply = call(*robot.connect(), "nothing");
  EXPECT_FALSE(reply.value.isValid());
  EXPECT_FALSE(reply.hasFuture);
}

TEST(Call, OverloadsAreToldApartByTheTypesThatWereSent) {
  const TestRobot robot;
  const auto client = robot.connect();
  EXPECT_EQ(call(*client, "name", {"x", 1}).value, HBValue("text and int x"));
  EXPECT_EQ(call(*client, "name", {"x", 1.5f}).value, HBValue("text and float x"));
  EXPECT_EQ(call(*client, "name", {"x", "y"}).value, HBValue("two texts"));
}

TEST(Call, ArgumentsThatFitNoOverloadFailWithTheCandidates) {
  const TestRobot robot;
  const auto client = robot.connect();
  const auto error = errorOf([&] { call(*client, "name", {true}); });
  EXPECT_EQ(error.fault(), Fault::kFailed);
  EXPECT_EQ(error.kind(), "invalid_argument");
  EXPECT_THAT(error.what(), HasSubstr("name(string, float) -> string"));
}

TEST(Call, ErrorsKeepTheirKindAndTheirTextUnchanged) {
  const TestRobot robot;
  const auto client = robot.connect();
  const std::string texts[] = {"map::at:  key not found",
                               "two\nlines",
                               "",
                               "gr\xC3\xBCn",
                               "bytes \xFF\xFE",
                               " 'as a LED Device, RGB-LED or Group"};
  for (const std::string kind : {"invalid_argument", "out_of_range", "runtime_error", "timeout"}) {
    for (const auto& expected : texts) {
      const auto error = errorOf([&] { call(*client, "fail", {kind, expected}); });
      EXPECT_EQ(error.fault(), Fault::kFailed);
      EXPECT_EQ(error.kind(), kind);
      EXPECT_EQ(std::string(error.what()), expected);
    }
  }
}

TEST(Call, AnUnknownServiceIsRefusedAndNamesThoseThatStand) {
  const TestRobot robot;
  const auto client = robot.connect();
  const auto error = errorOf([&] { client->call("Nope", "x", {}); });
  EXPECT_EQ(error.fault(), Fault::kRefused);
  EXPECT_STREQ(error.what(), "There is no service 'Nope'; there are HBMemory, Test");
}

TEST(Call, ReturnedRepliesAtOnceAndTellsOfTheFuture) {
  const TestRobot robot;
  const auto reply = call(*robot.connect(), "later");
  EXPECT_TRUE(reply.hasFuture);
  EXPECT_FALSE(reply.value.isValid());
  EXPECT_FALSE(robot.later.isCancelRequested());
}

TEST(Call, FinishedRepliesWithTheFuturesValueOrError) {
  for (const bool isGood : {true, false}) {
    const TestRobot robot;
    const auto client = robot.connect();
    std::thread producer([&] {
      comesTrue([&] { return !robot.access.history().empty(); });
      if (isGood) {
        robot.later.setValue(5);
      } else {
        robot.later.setError(xo::makeException("out_of_range", "too  late"));
      }
    });
    const CallOptions options{Completion::kFinished, {}, {}};
    if (isGood) {
      const auto reply = call(*client, "later", {}, options);
      EXPECT_EQ(reply.value, HBValue(5));
      EXPECT_TRUE(reply.hasFuture);
    } else {
      const auto error = errorOf([&] { call(*client, "later", {}, options); });
      EXPECT_EQ(error.kind(), "out_of_range");
      EXPECT_STREQ(error.what(), "too  late");
    }
    producer.join();
  }
}

TEST(Call, FinishedOfAMethodWithoutAFutureRepliesAtOnce) {
  const TestRobot robot;
  const auto reply = call(*robot.connect(), "echo", {3}, {Completion::kFinished, {}, {}});
  EXPECT_EQ(reply.value, HBValue(3));
  EXPECT_FALSE(reply.hasFuture);
}

TEST(Call, CancellingACallThatWaitsForAFutureCancelsTheFuture) {
  const TestRobot robot;
  const auto client = robot.connect();
  CancelToken token;
  std::thread canceller([&] {
    comesTrue([&] { return !robot.access.history().empty(); });
    token.cancel();
  });
  const auto error = errorOf([&] {
    call(*client, "later", {}, {Completion::kFinished, {}, token});
  });
  canceller.join();
  EXPECT_EQ(error.fault(), Fault::kCancelled);
  EXPECT_TRUE(comesTrue([&] { return robot.later.isCancelRequested(); }));
}

TEST(Call, AFutureThatIsCancelledByItsProducerFailsTheCall) {
  const TestRobot robot;
  robot.later.setCancelled();
  const auto client = robot.connect();
  const auto error = errorOf([&] { call(*client, "later", {}, {Completion::kFinished, {}, {}}); });
  EXPECT_EQ(error.fault(), Fault::kFailed);
  EXPECT_EQ(error.kind(), "cancelled");
}

TEST(Call, CancellingARunningCallRaisesItsStop) {
  const TestRobot robot;
  const auto client = robot.connect();
  CancelToken token;
  std::thread canceller([&] {
    robot.awaitInside(1);
    token.cancel();
  });
  const auto error = errorOf([&] {
    call(*client, "stay", {}, {Completion::kReturned, {}, token});
  });
  canceller.join();
  EXPECT_EQ(error.fault(), Fault::kCancelled);
  EXPECT_TRUE(comesTrue([&] { return robot.stopped == 1; }));
  EXPECT_EQ(errorOf([&] {
              call(*client, "nothing", {}, {{}, {}, token});
            }).fault(),
            Fault::kCancelled);
}

TEST(Call, ATimeOutRaisesTheStopOfTheRunningCall) {
  const TestRobot robot;
  const auto client = robot.connect();
  const auto error = errorOf([&] {
    call(*client, "stay", {}, {{}, std::chrono::milliseconds(50), std::nullopt});
  });
  EXPECT_EQ(error.fault(), Fault::kCancelled);
  EXPECT_TRUE(comesTrue([&] { return robot.stopped == 1; }));
}

TEST(Call, CallsThatBlockHoldUpNobodyAndTheirThreadsGoAgain) {
  const TestRobot robot;
  const auto blocked = robot.connect("blocked");
  const auto other = robot.connect("other");
  CancelToken token;
  std::vector<std::thread> callers;
  for (int i = 0; i < 20; ++i) {
    callers.emplace_back([&] {
      errorOf([&] { call(*blocked, "stay", {}, {Completion::kReturned, {}, token}); });
    });
  }
  robot.awaitInside(20);
  EXPECT_EQ(call(*other, "echo", {1}).value, HBValue(1));
  token.cancel();
  for (auto& caller : callers) caller.join();
  EXPECT_TRUE(comesTrue([&] { return robot.stopped == 20; }));
  EXPECT_EQ(call(*other, "echo", {2}).value, HBValue(2));
}

TEST(Call, OneClientsManyEndlessCallsAreRefusedBeyondTheLimitAndAnotherIsServed) {
  door::Limits limits;
  limits.callsPerClient = 3;
  limits.rareCalls = 0;
  const TestRobot robot(limits);
  const auto greedy = robot.connect("greedy");
  const auto other = robot.connect("other");
  CancelToken token;
  std::vector<std::thread> callers;
  for (int i = 0; i < 3; ++i) {
    callers.emplace_back([&] {
      errorOf([&] { call(*greedy, "stay", {}, {Completion::kReturned, {}, token}); });
    });
  }
  robot.awaitInside(3);
  const auto error = errorOf([&] { call(*greedy, "nothing"); });
  EXPECT_EQ(error.fault(), Fault::kRefused);
  EXPECT_THAT(error.what(), HasSubstr("limit of 3"));
  EXPECT_EQ(call(*other, "echo", {1}).value, HBValue(1));
  token.cancel();
  for (auto& caller : callers) caller.join();
}

TEST(Call, ManyCallsCancelledAtAnyPointLeaveNothingRunning) {
  const TestRobot robot;
  const auto client = robot.connect();
  std::atomic<int> ended{0};
  std::vector<std::thread> callers;
  for (int thread = 0; thread < 4; ++thread) {
    callers.emplace_back([&, thread] {
      for (int i = 0; i < 100; ++i) {
        const auto time = std::chrono::microseconds((i * 37 + thread * 11) % 900);
        const char* const method = i % 2 == 0 ? "stay" : "later";
        CancelToken token;
        std::thread canceller([token, time] {
          const auto end = std::chrono::steady_clock::now() + time;
          while (std::chrono::steady_clock::now() < end) std::this_thread::yield();
          token.cancel();
        });
        errorOf([&] { call(*client, method, {}, {Completion::kFinished, {}, token}); });
        canceller.join();
        ++ended;
      }
    });
  }
  for (auto& caller : callers) caller.join();
  EXPECT_EQ(ended, 400);
  EXPECT_TRUE(comesTrue([&] { return robot.access.running().empty(); }));
  EXPECT_EQ(call(*client, "echo", {1}).value, HBValue(1));
}

TEST(Call, EveryLimitOfAMessageIsRefusedByNameAndTheNextCallIsServed) {
  const TestRobot robot;
  const auto client = robot.connect();
  const auto refusal = [&](const HBValue& value) {
    const auto error = errorOf([&] { call(*client, "echo", {value}); });
    EXPECT_EQ(error.fault(), Fault::kRefused) << error.what();
    return std::string(error.what());
  };
  EXPECT_EQ(refusal(text(65537, 'x')), "A text has 65537 bytes; the limit is 65536");
  EXPECT_EQ(refusal(HBValue::List(4097)), "A list has 4097 elements; the limit is 4096");
  HBValue deep = 1;
  for (int i = 0; i < 33; ++i) deep = HBValue::list({deep});
  EXPECT_EQ(refusal(deep), "Lists are nested more deeply than the limit of 32");
  EXPECT_THAT(refusal(text(100 * 1000 * 1000, 'x')), HasSubstr("1048576"));
  EXPECT_EQ(call(*client, "echo", {text(65536, 'x')}).value.toString().size(), 65536u);
}

TEST(Call, NamesThatAreNotUtf8AreRefusedBeforeTheyTravel) {
  const TestRobot robot;
  const auto client = robot.connect();
  EXPECT_EQ(errorOf([&] { client->call("Test\xFF", "nothing", {}); }).fault(), Fault::kRefused);
  EXPECT_EQ(errorOf([&] { call(*client, "\xC3"); }).fault(), Fault::kRefused);
  EXPECT_EQ(errorOf([&] { client->readMemory("\xFF"); }).fault(), Fault::kRefused);
}

TEST(Call, TheHistoryTellsWhoCalled) {
  const TestRobot robot;
  call(*robot.connect("ledctl"), "nothing");
  const auto history = robot.access.history();
  ASSERT_EQ(history.size(), 1u);
  EXPECT_EQ(history[0].client.name, "ledctl");
  EXPECT_EQ(history[0].client.transport, "grpc");
  EXPECT_THAT(history[0].client.peer, HasSubstr("127.0.0.1"));
}

}  // namespace
}  // namespace remote
