// A robot in another process, seen as this process's own session.
#include "remote/client/remote_session.h"

#include <gmock/gmock.h>

#include "framework/hb/hb_broker.h"
#include "remote/test/raw_socket.h"
#include "remote/test/test_robot.h"

namespace remote {
namespace {

using Fault = RemoteError::Fault;
using HB::HBValue;
using testing::HasSubstr;

xo::ObjectBuilder answering(int answer) {
  xo::ObjectBuilder builder;
  builder.add(xo::makeMethod<int()>({"answer", "", {}, {}, {}}, [answer] { return answer; }));
  return builder;
}

TEST(RemoteSession, RunsCodeThatWasWrittenForTheRobotsOwnProcess) {
  const TestRobot robot;
  const auto broker = HB::HBBroker::create(connect(robot.server->tcpAddress()));
  const auto proxy = broker->getProxy("Test");
  EXPECT_EQ(proxy->call<std::string>("name", "x", 1), "text and int x");
  EXPECT_EQ(proxy->call<std::string>("name", "x", 1.5f), "text and float x");
  proxy->call("nothing");
  EXPECT_EQ(broker->getSession()->services(), (std::vector<std::string>{"HBMemory", "Test"}));
  EXPECT_THROW((void)broker->getProxy("Nope"), HB::HBError);
}

TEST(RemoteSession, DescribesServicesAsTheRobotDoes) {
  const TestRobot robot;
  const auto session = connect(robot.server->tcpAddress());
  const auto info = session->find("Test").describe();
  EXPECT_EQ(info.description, "For tests. \nTwo lines.");
  EXPECT_EQ(info.methods[0].doc.params.size(), 3u);
  EXPECT_EQ(info.methods[0].signature.text(), "(string, float) -> string");
}

TEST(RemoteSession, ThrowsWhatTheMethodThrewByItsOwnType) {
  const TestRobot robot;
  const auto session = connect(robot.server->tcpAddress());
  const auto test = session->find("Test");
  EXPECT_THROW(test.call("fail", "out_of_range", "a"), std::out_of_range);
  EXPECT_THROW(test.call("fail", "timeout", "a"), xo::TimeoutError);
  EXPECT_THROW(test.call("fail", "HBError", "a"), xo::Error);
  try {
    test.call("fail", "invalid_argument", "exactly this");
    FAIL();
  } catch (const std::invalid_argument& error) {
    EXPECT_STREQ(error.what(), "exactly this");
  }
  EXPECT_THROW(test.call("name", true), std::invalid_argument);
}

TEST(RemoteSession, ThrowsTheModuleFrameworksErrorAsSuch) {
  const TestRobot robot;
  xo::ObjectBuilder builder;
  builder.add(
      xo::makeMethod<void()>({"fail", "", {}, {}, {}}, [] { throw HB::HBError("broken"); }));
  const auto registration = robot.session->registerService("Broken", std::move(builder));
  const auto session = connect(robot.server->tcpAddress());
  EXPECT_THROW(session->find("Broken").call("fail"), HB::HBError);
}

TEST(RemoteSession, FuturesCanBeWaitedForCancelledAndDropped) {
  TestRobot robot;
  const auto session = connect(robot.server->tcpAddress());
  const auto test = session->find("Test");
  std::optional first = test.call<xo::Future<HBValue>>("loose");
  EXPECT_FALSE(first->wait(0));
  EXPECT_THROW(first->value(1), xo::TimeoutError);
  robot.settleOneLoose();
  EXPECT_EQ(first->value(10000), HBValue("settled"));

  const auto second = test.call<xo::Future<HBValue>>("loose");
  second.cancel();
  ASSERT_TRUE(second.wait(10000));
  EXPECT_TRUE(second.isCancelled());

  first = test.call<xo::Future<HBValue>>("loose");
  first.reset();
  EXPECT_TRUE(comesTrue([&] { return robot.loose() == 0; }));
  EXPECT_EQ(robot.looseCancelled, 1);
}

TEST(RemoteSession, PassesTheCallersStopOn) {
  const TestRobot robot;
  const auto session = connect(robot.server->tcpAddress());
  xo::StopFlag stop;
  std::thread caller([&] {
    const xo::CallScope scope(nullptr, &stop);
    EXPECT_THROW(session->find("Test").call("stay"), xo::CancelledError);
  });
  robot.awaitInside(1);
  stop.raise();
  caller.join();
  EXPECT_TRUE(comesTrue([&] { return robot.stopped == 1; }));
}

TEST(RemoteSession, SeesServicesComeAndGoAndComeBack) {
  const TestRobot robot;
  const auto session = connect(robot.server->tcpAddress());
  const auto waiting = session->service("Late");
  auto late = robot.session->registerService("Late", answering(1));
  const auto handle = waiting.value(10000);
  EXPECT_EQ(handle.call<int>("answer"), 1);
  late.reset();
  EXPECT_TRUE(comesTrue([&] { return !handle.isAlive(); }));
  EXPECT_THROW(handle.call<int>("answer"), std::runtime_error);
  late = robot.session->registerService("Late", answering(2));
  EXPECT_TRUE(comesTrue([&] { return handle.isAlive(); }));
  EXPECT_EQ(handle.call<int>("answer"), 2);
}

TEST(RemoteSession, HandlesLiveAgainWhenTheRobotIsBack) {
  auto robot = std::make_unique<TestRobot>();
  Server::Options options;
  options.listen = robot->server->tcpAddress();
  const auto session = RemoteSession::connect(options.listen);
  const auto handle = session->session().find("Test");
  const auto future = handle.call<xo::Future<HBValue>>("later");
  robot->server.reset();
  ASSERT_TRUE(future.wait(10000));
  EXPECT_FALSE(future.hasValue());
  EXPECT_TRUE(comesTrue([&] { return !handle.isAlive() && !session->isConnected(); }));
  EXPECT_THROW(session->client(), RemoteError);
  robot->server = std::make_unique<Server>(robot->access, options);
  EXPECT_TRUE(comesTrue([&] { return handle.isAlive(); }));
  EXPECT_EQ(handle.call<std::string>("name", "x", "y"), "two texts");
}

TEST(RemoteSession, LendsAgainWhenTheRobotIsBack) {
  auto robot = std::make_unique<TestRobot>();
  Server::Options options;
  options.listen = robot->server->tcpAddress();
  const auto session = RemoteSession::connect(options.listen);
  auto lending = session->lend("Lamp", answering(7));
  const auto handle = robot->session->find("Lamp");
  EXPECT_EQ(handle.call<int>("answer"), 7);
  robot->server.reset();
  EXPECT_FALSE(handle.isAlive());
  robot->server = std::make_unique<Server>(robot->access, options);
  EXPECT_TRUE(comesTrue([&] { return handle.isAlive() && lending->isStanding(); }));
  EXPECT_EQ(handle.call<int>("answer"), 7);
  lending.reset();
  EXPECT_TRUE(comesTrue([&] { return !handle.isAlive(); }));
}

TEST(RemoteSession, ItsOwnLentServiceIsSeenInItLikeAnyOther) {
  const TestRobot robot;
  const auto session = RemoteSession::connect(robot.server->tcpAddress());
  const auto lending = session->lend("Lamp", answering(7));
  EXPECT_EQ(session->session().service("Lamp").value(10000).call<int>("answer"), 7);
}

TEST(RemoteSession, CallsUnderWayFailWhenTheRobotGoes) {
  TestRobot robot;
  const auto session = connect(robot.server->tcpAddress());
  std::string text;
  std::thread caller([&] {
    try {
      session->find("Test").call("insist");
    } catch (const std::runtime_error& error) {
      text = error.what();
    }
  });
  robot.awaitInside(1);
  robot.server->stop(std::chrono::milliseconds(500));
  caller.join();
  robot.isOver = true;
  EXPECT_NE(text, "");
}

TEST(RemoteSession, SaysWhoIsNoRobotOrNobody) {
  const RawSocket silent = RawSocket::listenTcp();
  try {
    connect("127.0.0.1:" + std::to_string(silent.port()), {"t", std::chrono::milliseconds(300)});
    FAIL();
  } catch (const RemoteError& error) {
    EXPECT_EQ(error.fault(), Fault::kNotARobot);
  }
  try {
    connect("unix:/nowhere/robot.sock");
    FAIL();
  } catch (const RemoteError& error) {
    EXPECT_EQ(error.fault(), Fault::kUnreachable);
  }
}

TEST(RemoteSession, LeavesNothingBehind) {
  const TestRobot robot;
  {
    const auto session = connect(robot.server->tcpAddress());
    session->find("Test").call("nothing");
    (void)session->find("Test").call<xo::Future<HBValue>>("loose");
  }
  EXPECT_TRUE(comesTrue([&] { return robot.isAtRest(); }));
}

}  // namespace
}  // namespace remote
