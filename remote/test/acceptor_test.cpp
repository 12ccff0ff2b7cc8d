// How many connections a robot takes in, and what the others are told.
#include "remote/server/acceptor.h"

#include <gmock/gmock.h>

#include <list>

#include "remote/test/failing_poll.h"
#include "remote/test/raw_socket.h"
#include "remote/test/test_robot.h"

namespace remote {
namespace {

using testing::HasSubstr;

TEST(ConnectionsFor, LeavesFilesForTheRestOfTheRobot) {
  EXPECT_EQ(connectionsFor(1024, 1048576, 2), 1024u);
  EXPECT_EQ(connectionsFor(1024, 1024, 2), 224u) << "each takes two files";
  EXPECT_EQ(connectionsFor(1024, 1024, 1), 448u);
  EXPECT_EQ(connectionsFor(1024, 64, 2), 8u);
}

door::Limits withConnections(std::size_t most) {
  door::Limits limits;
  limits.connections = most;
  return limits;
}

TEST(Acceptor, OneConnectionMoreThanAllowedIsToldTheLimit) {
  const TestRobot robot(withConnections(8));
  std::list<std::unique_ptr<RobotClient>> clients;
  for (int i = 0; i < 8; ++i) clients.push_back(robot.connect());
  try {
    robot.connect();
    FAIL() << "connected";
  } catch (const RemoteError& error) {
    EXPECT_EQ(error.fault(), RemoteError::Fault::kRefused);
    EXPECT_THAT(error.what(), HasSubstr("The connections have reached the limit of 8"));
  }
  EXPECT_NO_THROW(RobotClient::connect(robot.unixAddress())) << "another way in has its own";
  for (const auto& client : clients) EXPECT_EQ(client->services().size(), 2u);
}

TEST(Acceptor, AConnectionThatEndsMakesRoom) {
  const TestRobot robot(withConnections(8));
  for (int i = 0; i < 50; ++i) {
    EXPECT_TRUE(comesTrue([&] {
      try {
        robot.connect();
        return true;
      } catch (const RemoteError&) {
        return false;
      }
    })) << i;
  }
}

TEST(Acceptor, ConnectionsThatNeverSpeakMakeRoomAfterAWhile) {
  const TestRobot robot(withConnections(8));
  std::vector<RawSocket> silent;
  for (int i = 0; i < 20; ++i) silent.push_back(RawSocket::connectTcp(robot.server->port()));
  EXPECT_TRUE(comesTrue([&] {
    try {
      robot.connect();
      return true;
    } catch (const RemoteError&) {
      return false;
    }
  }));
}

TEST(Acceptor, OneThatCannotBeginFailsTheStartAndNothingStays) {
  TestRobot robot;  // what the library opens once is open now
  const int threads = TestRobot::threads();
  Server::Options options;
  options.listen = "127.0.0.1:0";
  {
    const NoNewPolls refused;
    EXPECT_THROW(Server(robot.access, options), std::system_error);
  }
  EXPECT_TRUE(comesTrue([&] { return TestRobot::threads() <= threads; }));
  EXPECT_NO_THROW(Server(robot.access, options));
}

TEST(Acceptor, AConnectionThatCannotBeWatchedIsToldWhyAndTheNextOnesAreServed) {
  const TestRobot robot;
  {
    const NoNewConnectionWatches refused;
    try {
      robot.connect();
      ADD_FAILURE() << "connected";
    } catch (const RemoteError& error) {
      EXPECT_EQ(error.fault(), RemoteError::Fault::kRefused);
      EXPECT_THAT(error.what(),
                  HasSubstr("No connection can be taken in: No space left on device"));
    }
  }
  EXPECT_NO_THROW(robot.connect());
}

}  // namespace
}  // namespace remote
