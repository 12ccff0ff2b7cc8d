// What a robot does that may open no more files, and when it may again. Prints what it measured.
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <iostream>
#include <list>
#include <set>
#include <thread>

#include "remote/test/raw_socket.h"
#include "tests/system/harmed_robot.h"
#include "web/test/page_client.h"

namespace tests {
namespace {

using namespace std::chrono_literals;
using remote::RawSocket;
using remote::RemoteError;
using ::testing::HasSubstr;

const std::string kNoMore = "No connection can be taken in: Too many open files";

/// While it lives the process may open so many files more than it has. What it has stays open.
class FewFiles {
 public:
  FewFiles(pid_t pid, rlim_t more) : fPid(pid) {
    ::prlimit(pid, RLIMIT_NOFILE, nullptr, &fUsual);
    allow(more);
  }
  ~FewFiles() { ::prlimit(fPid, RLIMIT_NOFILE, &fUsual, nullptr); }
  FewFiles(const FewFiles&) = delete;
  FewFiles& operator=(const FewFiles&) = delete;

  void allow(rlim_t more) const {
    std::set<rlim_t> open;
    const std::string folder = "/proc/" + std::to_string(fPid) + "/fd";
    for (const auto& file : std::filesystem::directory_iterator(folder)) {
      open.insert(static_cast<rlim_t>(std::stoul(file.path().filename())));
    }
    rlim_t limit = 0;  // new files have the lowest free numbers, which are below the limit
    for (rlim_t free = 0; free < more || open.contains(limit); ++limit) {
      if (!open.contains(limit)) ++free;
    }
    const rlimit few{limit, fUsual.rlim_max};
    ASSERT_EQ(::prlimit(fPid, RLIMIT_NOFILE, &few, nullptr), 0);
  }

 private:
  const pid_t fPid;
  rlimit fUsual{};
};

std::size_t countOf(const std::string& text, const std::string& part) {
  std::size_t count = 0;
  for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
  return count;
}

/// Processor seconds per second, over a while.
double load(const HarmedRobot& robot) {
  const double before = robot.vitals().cpuSeconds;
  const auto start = std::chrono::steady_clock::now();
  std::this_thread::sleep_for(2s);  // the time over which it is measured
  const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
  return (robot.vitals().cpuSeconds - before) / took.count();
}

TEST(RobotWithoutFiles, TellsOrKeepsWaitingWhoComesServesWhoIsInAndTakesInAgainWhenItMay) {
  HarmedRobot robot;
  auto inside = remote::RobotClient::connect(robot.address(), {"inside"});
  robot.begin();
  const std::string socket = robot.robot().socket();
  const std::string asking =
      "GET / HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(robot.pagePort()) +
      "\r\nConnection: close\r\n\r\n";
  std::list<RawSocket> waiting;
  std::list<RawSocket> browsers;
  {
    FewFiles files(robot.robot().pid(), 1);
    // One file is not enough for a connection, which takes two: who comes is told.
    for (const std::string& address : {robot.address(), "unix:" + socket}) {
      try {
        remote::RobotClient::connect(address);
        ADD_FAILURE() << "taken in";
      } catch (const RemoteError& error) {
        EXPECT_THAT(error.what(), HasSubstr(kNoMore)) << address;
      }
    }
    // With none left they wait, those of the page too.
    EXPECT_TRUE(eventually([&] { return robot.isAsBefore(); }));
    files.allow(0);
    for (int i = 0; i < 20; ++i) {
      waiting.push_back(RawSocket::connectTcp(robot.port()));
      waiting.push_back(RawSocket::connectUnix(socket));
      browsers.push_back(RawSocket::connectTcp(robot.pagePort()));
      browsers.back().send(asking);
    }
    const auto said = [&] { return robot.robot().process().outputSoFar(); };
    EXPECT_TRUE(eventually([&] {
      return countOf(said(), "warning [remote] " + kNoMore) >= 1 &&
             countOf(said(), "warning [page] " + kNoMore) >= 1;
    })) << said();
    const auto exhausted = robot.vitals().descriptors;
    EXPECT_EQ(exhausted, robot.before().descriptors);
    EXPECT_NO_THROW(inside->services()) << "who is in is served";
    std::cout << "measured: no file left: the robot and its neighbour took " << 100 * load(robot)
              << " % of a core\n";
    EXPECT_LE(countOf(said(), kNoMore), 4u) << "no flood of words";
  }
  const auto took = HarmedRobot::timeUntil([&] {
    try {
      return !remote::RobotClient::connect(robot.address())->services().empty();
    } catch (const RemoteError&) {
      return false;
    }
  });
  ASSERT_TRUE(took);
  std::cout << "measured: files freed: taken in again after " << *took << " ms\n";
  for (const RawSocket& browser : browsers) EXPECT_EQ(browser.receive(12), "HTTP/1.1 200");
  waiting.clear();
  browsers.clear();
  robot.expectUnharmed("no file left", 8 * 1024);
}

TEST(RobotWithoutFiles, DoesNotSpinWhileNobodyCanBeTakenIn) {
  HarmedRobot robot;  // and no neighbour
  const double calm = load(robot);
  std::list<RawSocket> waiting;
  const FewFiles files(robot.robot().pid(), 0);
  for (int i = 0; i < 20; ++i) {
    waiting.push_back(RawSocket::connectTcp(robot.port()));
    waiting.push_back(RawSocket::connectUnix(robot.robot().socket()));
    waiting.push_back(RawSocket::connectTcp(robot.pagePort()));
  }
  const double busy = load(robot);
  std::cout << "measured: no file left: " << 100 * busy << " % of a core, " << 100 * calm
            << " % before\n";
  EXPECT_LT(busy, 0.1);  // who spins takes a whole one, or his part of it
  const auto start = std::chrono::steady_clock::now();
  robot.robot().process().signal(SIGTERM);
  EXPECT_EQ(robot.robot().process().wait().status, 0);
  std::cout << "measured: no file left: SIGTERM ended it in "
            << (std::chrono::steady_clock::now() - start) / 1ms << " ms\n";
}

}  // namespace
}  // namespace tests
