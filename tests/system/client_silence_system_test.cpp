// How a robot notices clients that are there and say nothing any more: real processes over real
// sockets, each kind with a robot of its own. Prints what it measured.
#include <gmock/gmock.h>

#include <chrono>
#include <csignal>
#include <iostream>
#include <list>
#include <memory>
#include <optional>
#include <thread>

#include "tests/system/animation.h"
#include "tests/system/harmed_robot.h"
#include "tests/system/proxy.h"
#include "web/test/page_client.h"

namespace tests {
namespace {

using namespace std::chrono_literals;

constexpr long kKeptKib = 8 * 1024;
/// Between calls of each neighbour: many robots share the machine here.
constexpr std::chrono::milliseconds kManyRobots{10};

/// One way of falling silent, and what the robot lets go of when it has noticed.
class Silence {
 public:
  explicit Silence(std::string name) : fName(std::move(name)) {}
  virtual ~Silence() = default;
  Silence(const Silence&) = delete;
  Silence& operator=(const Silence&) = delete;

  void fall() {
    fBegin = std::chrono::steady_clock::now();
    beSilent();
  }
  /// Prints it once.
  bool isNoticed() {
    if (!fIsNoticed && fRobot.isAsBefore()) {
      fIsNoticed = true;
      std::cout << "measured: silent, " << fName << ": noticed after "
                << (std::chrono::steady_clock::now() - fBegin) / 1ms << " ms\n";
    }
    return fIsNoticed;
  }
  void end() { fRobot.expectUnharmed("silent, " + fName, kKeptKib); }
  const std::string& name() const { return fName; }

 protected:
  virtual void beSilent() = 0;
  HarmedRobot fRobot;

 private:
  const std::string fName;
  std::chrono::steady_clock::time_point fBegin;
  bool fIsNoticed = false;
};

class StoppedProcess final : public Silence {
 public:
  StoppedProcess(const std::string& name, const std::vector<std::string>& words, bool isLocal)
      : Silence(name) {
    fRobot.begin(kManyRobots);
    const std::string address = isLocal ? "unix:" + fRobot.robot().socket() : fRobot.address();
    std::vector<std::string> command{ledctlProgram(), "--robot", address};
    command.insert(command.end(), words.begin(), words.end());
    fClient.emplace(command);
    const bool watches = words.front() == "watch";
    EXPECT_TRUE(eventually(
        [&] { return watches ? !fClient->outputSoFar().empty() : fRobot.runs("rotateEyes"); }));
  }

 private:
  void beSilent() override { fClient->signal(SIGSTOP); }
  std::optional<Process> fClient;
};

class SilentNetwork final : public Silence {
 public:
  SilentNetwork() : Silence("network that carries nothing") {
    fRobot.begin(kManyRobots);
    fProxy.emplace(fRobot.port());
    fAnimation.emplace(fProxy->address(), fRobot);
  }

 private:
  void beSilent() override { fProxy->fallSilent(); }
  std::optional<Animation> fAnimation;
  std::optional<Proxy> fProxy;  // goes first: the animation's client waits for its end
};

class SilentPage final : public Silence {
 public:
  SilentPage() : Silence("page that answers nothing") {
    fRobot.begin(kManyRobots);
    fPage.emplace(fRobot.pagePort());
    fPage->hello();
    fPage->begin({{"op", "call"},
                  {"service", "HBLeds"},
                  {"method", "rotateEyes"},
                  {"args", {0x00ff00, 0.05, 80000.0}}});
    EXPECT_TRUE(eventually([&] { return fRobot.runs("rotateEyes"); }));
  }

 private:
  void beSilent() override {}  // it only answers when it is read
  std::optional<web::PageClient> fPage;
};

class SilentBrowser final : public Silence {
 public:
  explicit SilentBrowser(const std::string& words)
      : Silence(words.empty() ? "browser that asks nothing" : "browser that asks by half"),
        fWords(words) {
    fRobot.begin(kManyRobots);
  }

 private:
  void beSilent() override {
    fSocket.emplace(remote::RawSocket::connectTcp(fRobot.pagePort()));
    fSocket->send(fWords);
    EXPECT_TRUE(eventually([&] { return !fRobot.isAsBefore(); }));
  }
  const std::string fWords;
  std::optional<remote::RawSocket> fSocket;
};

// A peer that is silent is told from one that has nothing to say by what it does not answer: pings
// every ten seconds by gRPC and by the page, a request by a browser.
TEST(ClientThatIsSilent, IsNoticedWhileItHasSomethingUnderWay) {
  std::list<std::unique_ptr<Silence>> all;
  const std::vector<std::string> turns{"rotateEyes", "0x00ff00", "0.05", "80000"};
  all.push_back(std::make_unique<StoppedProcess>("stopped process with a call, TCP", turns, false));
  all.push_back(std::make_unique<StoppedProcess>("stopped process with a call, Unix", turns, true));
  all.push_back(std::make_unique<StoppedProcess>("stopped process with a watch of what moves, TCP",
                                                 std::vector<std::string>{"watch", "Head*"},
                                                 false));
  all.push_back(std::make_unique<StoppedProcess>("stopped process with a watch of what moves, Unix",
                                                 std::vector<std::string>{"watch", "Head*"}, true));
  all.push_back(std::make_unique<SilentNetwork>());
  all.push_back(std::make_unique<SilentPage>());
  all.push_back(std::make_unique<SilentBrowser>(""));
  all.push_back(std::make_unique<SilentBrowser>("GET / HT"));
  for (const auto& one : all) one->fall();
  const auto deadline = std::chrono::steady_clock::now() + 60s;
  const auto areNoticed = [&] {
    bool areAll = true;
    for (const auto& one : all) areAll = one->isNoticed() && areAll;
    return areAll;
  };
  while (!areNoticed() && std::chrono::steady_clock::now() < deadline) {
    // Between two looks at other processes, which wake nobody here.
    std::this_thread::sleep_for(20ms);
  }
  for (const auto& one : all) {
    EXPECT_TRUE(one->isNoticed()) << one->name();
    one->end();
  }
}

}  // namespace
}  // namespace tests
