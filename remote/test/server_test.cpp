// The door itself: who may listen where, what it tells, what it withstands, how it closes.
#include "remote/server/server.h"

#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <fstream>

#include "remote/test/raw_socket.h"
#include "remote/test/test_robot.h"

namespace remote {
namespace {

using Fault = RemoteError::Fault;
using HB::HBValue;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

template <class E, class F>
std::string textOfThrown(F&& f) {
  try {
    f();
  } catch (const E& error) {
    return error.what();
  }
  return "nothing was thrown";
}

std::unique_ptr<Server> listenOn(const TestRobot& robot, const std::string& listen,
                                 const std::string& unixPath = "", bool isOptional = false) {
  Server::Options options;
  options.listen = listen;
  options.unixPath = unixPath;
  options.isUnixPathOptional = isOptional;
  return std::make_unique<Server>(const_cast<door::Access&>(robot.access), options);
}

TEST(Server, TellsWhoItIsAndBecomesReady) {
  const TestRobot robot;
  const auto client = robot.connect();
  RobotInfo info = client->info();
  EXPECT_EQ(info.name, "");
  EXPECT_FALSE(info.isReady);
  EXPECT_EQ(info.softwareVersion, "1.2.3");
  EXPECT_EQ(info.protocolMajor, 1);
  EXPECT_THAT(info.services, ElementsAre("HBMemory", "Test"));
  EXPECT_LT(info.uptime, std::chrono::minutes(5));
  robot.server->setReady("Vanto");
  info = client->info();
  EXPECT_EQ(info.name, "Vanto");
  EXPECT_TRUE(info.isReady);
  EXPECT_THAT(client->services(), ElementsAre("HBMemory", "Test"));
}

TEST(Server, DescribesAServiceAsItWasPublished) {
  const TestRobot robot;
  const auto here = robot.access.describe("Test");
  const auto there = robot.connect()->describe("Test");
  EXPECT_EQ(there.description, "For tests. \nTwo lines.");
  ASSERT_EQ(there.methods.size(), here.methods.size());
  for (std::size_t i = 0; i < here.methods.size(); ++i) {
    EXPECT_EQ(there.methods[i].doc.name, here.methods[i].doc.name);
    EXPECT_EQ(there.methods[i].doc.description, here.methods[i].doc.description);
    EXPECT_EQ(there.methods[i].doc.params, here.methods[i].doc.params);
    EXPECT_EQ(there.methods[i].doc.returns, here.methods[i].doc.returns);
    EXPECT_EQ(there.methods[i].doc.examples, here.methods[i].doc.examples);
    EXPECT_EQ(there.methods[i].signature.text(), here.methods[i].signature.text());
  }
  EXPECT_EQ(there.methods[0].doc.params.size(), 3u);
  EXPECT_EQ(there.methods[0].signature.params.size(), 2u);
}

TEST(Server, ReadsMemoryAndPassesItsErrorOn) {
  TestRobot robot;
  robot.memory.insert("a/b", 0.25f);
  const auto client = robot.connect();
  EXPECT_EQ(client->readMemory("a/b"), HBValue(0.25f));
  try {
    client->readMemory("nope");
    FAIL() << "nothing was thrown";
  } catch (const RemoteError& error) {
    EXPECT_EQ(error.fault(), Fault::kFailed);
    EXPECT_EQ(error.kind(), "invalid_argument");
    EXPECT_STREQ(error.what(), "HBMemory: no key 'nope'");
  }
}

TEST(Server, OnlyAddressesOfThisMachineNeedNoProtection) {
  const TestRobot robot;
  for (const std::string address : {"0.0.0.0:0", "[::]:0", "192.168.1.5:0", "robot.example:0"}) {
    EXPECT_EQ(textOfThrown<std::invalid_argument>([&] { listenOn(robot, address); }),
              "Cannot listen on " + address +
                  ": other machines reach this address, so it needs TLS (--tls-cert and --tls-key) "
                  "and a token file (--tokens); --insecure does without");
  }
  EXPECT_THAT(textOfThrown<std::invalid_argument>([&] { listenOn(robot, "nonsense"); }),
              HasSubstr("'nonsense' is not an address"));
  EXPECT_EQ(textOfThrown<std::invalid_argument>([&] { listenOn(robot, ""); }),
            "There is no address to listen on");
  EXPECT_GT(listenOn(robot, "localhost:0")->port(), 0);
}

TEST(Server, APortInUseIsRefusedWithItsReason) {
  const TestRobot robot;
  EXPECT_EQ(textOfThrown<std::runtime_error>([&] { listenOn(robot, robot.server->tcpAddress()); }),
            "Cannot listen on " + robot.server->tcpAddress() + ": Address already in use");
}

TEST(Server, AStaleUnixSocketIsReplacedAndALiveOneIsNot) {
  const TestRobot robot;
  const std::string path = robot.server->unixPath();
  EXPECT_EQ(textOfThrown<std::runtime_error>([&] { listenOn(robot, "", path); }),
            "Another robot listens on unix:" + path);
  EXPECT_EQ(listenOn(robot, "127.0.0.1:0", path, true)->unixPath(), "");
  EXPECT_NO_THROW(RobotClient::connect(robot.unixAddress())) << "the live one was harmed";

  const std::string stale = robot.directory.file("stale.sock");
  { const RawSocket left = RawSocket::listenUnix(stale); }
  ASSERT_FALSE(isUnixSocketLive(stale));
  const auto server = listenOn(robot, "", stale);
  EXPECT_EQ(server->unixPath(), stale);
  EXPECT_EQ(server->port(), 0);
  EXPECT_NO_THROW(RobotClient::connect("unix:" + stale));
}

TEST(Server, AUnixSocketIsForThisUserAloneAndGoesWithTheServer) {
  TestRobot robot;
  const std::string path = robot.directory.file("sub/robot.sock");
  auto server = listenOn(robot, "", path);
  struct stat found {};
  ASSERT_EQ(::stat(path.c_str(), &found), 0);
  EXPECT_EQ(found.st_mode & 0777, 0600u);
  ASSERT_EQ(::stat(robot.directory.file("sub").c_str(), &found), 0);
  EXPECT_EQ(found.st_mode & 0777, 0700u);
  server.reset();
  EXPECT_NE(::stat(path.c_str(), &found), 0);
}

TEST(Server, SomethingElseAtTheUnixPathIsLeftAlone) {
  const TestRobot robot;
  const std::string path = robot.directory.file("diary");
  std::ofstream(path) << "dear diary";
  EXPECT_EQ(textOfThrown<std::runtime_error>([&] { listenOn(robot, "", path); }),
            "Cannot listen on unix:" + path + ": something that is no socket stands there");
  EXPECT_TRUE(std::filesystem::exists(path));
}

TEST(Server, GarbageOnThePortAndHalfOpenConnectionsHarmNobody) {
  const TestRobot robot;
  const int port = robot.server->port();
  std::vector<RawSocket> open;
  for (const auto& text :
       {std::string("GET / HTTP/1.1\r\n\r\n"), std::string(100000, '\xFF'), std::string(),
        std::string("PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF")}) {
    open.push_back(RawSocket::connectTcp(port));
    open.back().send(text);
    open.push_back(RawSocket::connectTcp(port));
    open.back().send(text);
    open.back().closeSending();
  }
  EXPECT_NO_THROW(robot.connect());
  EXPECT_EQ(robot.connect()->services().size(), 2u);
}

TEST(Server, ManyIdleConnectionsKeepNobodyOut) {
  ASSERT_GE(raiseOpenFileLimit(), 1024u);
  const TestRobot robot;
  std::vector<RawSocket> idle;
  for (int i = 0; i < 200; ++i) idle.push_back(RawSocket::connectTcp(robot.server->port()));
  EXPECT_NO_THROW(robot.connect());
}

TEST(Server, RaisesTheLimitOfOpenFilesAsFarAsAllowed) {
  rlimit before{};
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
  rlimit lowered = before;
  lowered.rlim_cur = std::min<rlim_t>(256, before.rlim_max);
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &lowered), 0);
  EXPECT_EQ(raiseOpenFileLimit(), before.rlim_max);
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &before), 0);
}

TEST(Server, AClientThatGoesAwayStopsItsRunningCall) {
  const TestRobot robot;
  CancelToken token;
  std::thread caller([&] {
    const auto client = robot.connect();
    EXPECT_THROW(client->call("Test", "stay", {}, {{}, {}, token}), RemoteError);
  });
  robot.awaitInside(1);
  token.cancel();
  caller.join();
  EXPECT_TRUE(comesTrue([&] { return robot.stopped == 1; }));
}

TEST(Server, StopEndsStreamsFuturesAndCallsInTime) {
  TestRobot robot;
  std::vector<std::thread> clients;
  std::atomic<int> watching{0};
  std::atomic<int> unreachable{0};
  const auto run = [&](auto work) {
    clients.emplace_back([&, work] {
      const auto client = robot.connect();
      try {
        work(*client);
      } catch (const RemoteError& error) {
        if (error.fault() == Fault::kUnreachable) ++unreachable;
      }
    });
  };
  for (int i = 0; i < 20; ++i) {
    run([&](RobotClient& client) {
      client.watch("", [&](const WatchBatch&) {
        ++watching;
        return true;
      });
    });
  }
  run([](RobotClient& client) {
    client.call("Test", "later", {}, {Completion::kFinished, {}, {}});
  });
  run([](RobotClient& client) { client.call("Test", "stay", {}); });
  robot.awaitInside(1);
  ASSERT_TRUE(comesTrue([&] { return watching == 20 && robot.access.history().size() == 1; }));

  const auto start = std::chrono::steady_clock::now();
  EXPECT_TRUE(robot.server->stop());
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(900));
  for (auto& client : clients) client.join();
  EXPECT_EQ(robot.stopped, 1);
  EXPECT_TRUE(robot.later.isCancelRequested());
  EXPECT_GE(unreachable, 21) << "the streams and the future; the call itself ended regularly";
  EXPECT_EQ(robot.memory.subscriptions(), 0u);
  EXPECT_TRUE(robot.server->stop()) << "a second stop finds everything ended";
}

TEST(Server, StopReturnsAtItsDeadlineWhenACallDoesNotLookAtItsStop) {
  TestRobot robot;
  std::thread caller([&] {
    const auto client = robot.connect();
    EXPECT_THROW(client->call("Test", "insist", {}), RemoteError);
  });
  robot.awaitInside(1);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(robot.server->stop(std::chrono::milliseconds(300)));
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(900));
  caller.join();  // its client learned of the end although the method is still inside
  EXPECT_EQ(robot.inside, 1);
  robot.isOver = true;
  robot.server.reset();
  EXPECT_EQ(robot.inside, 0);
}

TEST(Server, AStoppedServerIsUnreachableAndItsPortIsFree) {
  TestRobot robot;
  const std::string address = robot.server->tcpAddress();
  EXPECT_TRUE(robot.server->stop());
  EXPECT_THROW(RobotClient::connect(address), RemoteError);
  EXPECT_EQ(listenOn(robot, address)->tcpAddress(), address);
}

}  // namespace
}  // namespace remote
