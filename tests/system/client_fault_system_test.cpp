// What a robot does when its clients are lost, do not read or give up: real processes
// over real sockets, beside another client that must not notice. Prints what it measured.
#include <gmock/gmock.h>

#include <algorithm>
#include <csignal>
#include <future>
#include <iostream>
#include <list>
#include <thread>

#include "remote/test/deaf_watch.h"
#include "tests/system/animation.h"
#include "tests/system/harmed_robot.h"
#include "tests/system/proxy.h"
#include "tests/system/raw_calls.h"
#include "web/test/page_client.h"

namespace tests {
namespace {

using namespace std::chrono_literals;
using HB::HBValue;
using web::Json;

/// What a robot may keep of clients that are gone: gRPC and the C library hold on to some.
constexpr long kKeptKib = 8 * 1024;
constexpr int kTimes = 5;

/// Does harm a few times, and prints how long the animation went on after it.
class Losses {
 public:
  explicit Losses(HarmedRobot& robot) : fRobot(robot) {}
  template <class F>
  void cause(F harm) {
    harm();
    const auto took = HarmedRobot::timeUntil([&] { return !fRobot.runs("rotateEyes"); });
    ASSERT_TRUE(took) << "the animation of a lost client goes on";
    fLongest = std::max(fLongest, *took);
  }
  void tell(const std::string& fault) const {
    std::cout << "measured: " << fault << ": the animation ended after " << fLongest
              << " ms at most\n";
  }

 private:
  HarmedRobot& fRobot;
  double fLongest = 0;
};

TEST(ClientThatIsLost, CutInTheMiddleOfAnAnimationEndsItAndNothingElse) {
  HarmedRobot robot;
  robot.begin();
  Losses losses(robot);
  for (int i = 0; i < kTimes * faultRounds(); ++i) {
    Proxy proxy(robot.port());
    const Animation animation(proxy.address(), robot);
    losses.cause([&] { proxy.cut(); });
  }
  losses.tell("cut");
  robot.expectUnharmed("cut", kKeptKib);
}

TEST(ClientThatIsLost, KilledInTheMiddleOfAnAnimationEndsItAndNothingElse) {
  for (const bool isLocal : {false, true}) {
    HarmedRobot robot;
    robot.begin();
    Losses losses(robot);
    for (int i = 0; i < kTimes * faultRounds(); ++i) {
      const std::string address = isLocal ? "unix:" + robot.robot().socket() : robot.address();
      const Process client(
          {ledctlProgram(), "--robot", address, "rotateEyes", "0x00ff00", "0.05", "80000"});
      ASSERT_TRUE(eventually([&] { return robot.runs("rotateEyes"); }));
      losses.cause([&] { client.signal(SIGKILL); });
    }
    losses.tell(isLocal ? "killed, Unix socket" : "killed, TCP");
    robot.expectUnharmed(isLocal ? "killed, Unix socket" : "killed, TCP", kKeptKib);
  }
}

TEST(ClientThatIsLost, APageThatIsLostEndsItsAnimationAndNothingElse) {
  HarmedRobot robot;
  robot.begin();
  Losses losses(robot);
  for (int i = 0; i < kTimes * faultRounds(); ++i) {
    web::PageClient page(robot.pagePort());
    page.hello();
    page.ask({{"op", "watch"}, {"pattern", ""}});
    page.begin({{"op", "call"},
                {"service", "HBLeds"},
                {"method", "rotateEyes"},
                {"args", {0x00ff00, 0.05, 80000.0}}});
    ASSERT_TRUE(eventually([&] { return robot.runs("rotateEyes"); }));
    losses.cause([&] { page.drop(); });
  }
  losses.tell("page lost");
  robot.expectUnharmed("page lost", kKeptKib);
}

/// Begins a thousand animations by ten connections and cancels them all. Returns the milliseconds
/// until the last was over; prints how many were refused.
std::optional<double> cancelCalls(HarmedRobot& robot) {
  constexpr int kConnections = 10;
  constexpr int kEach = 100;
  std::list<RawCalls> callers;
  const auto request = callOf("HBLeds", "rotateEyes", kEndlessTurns);
  for (int i = 0; i < kConnections; ++i) {
    callers.emplace_back(robot.address());
    for (int call = 0; call < kEach; ++call) callers.back().begin(request);
  }
  EXPECT_TRUE(eventually([&] { return robot.running() >= 64; }));
  for (RawCalls& caller : callers) caller.cancel();
  const auto took = HarmedRobot::timeUntil([&] { return !robot.runs("rotateEyes"); });
  std::map<grpc::StatusCode, int> ended;
  for (RawCalls& caller : callers) {
    for (const auto& [status, count] : caller.wait()) ended[status] += count;
  }
  const int cancelled = ended[grpc::StatusCode::CANCELLED];
  const int refused = ended[grpc::StatusCode::RESOURCE_EXHAUSTED];
  EXPECT_EQ(cancelled + refused, kConnections * kEach);
  std::cout << "measured: 1,000 calls: " << cancelled << " cancelled, " << refused << " refused\n";
  return took;
}

/// Begins a thousand fades of a minute and cancels them all. Returns the milliseconds until the
/// last was told.
std::optional<double> cancelFutures(HarmedRobot& robot) {
  const auto client = remote::RobotClient::connect(robot.address());
  const std::vector<HBValue> args{"EarLeds", 1.0F, 60.0F};
  constexpr int kFutures = 1000;
  std::vector<xo::Future<HBValue>> futures;
  futures.reserve(kFutures);
  for (int i = 0; i < kFutures; ++i) {
    futures.push_back(*client->start("HBLeds", "fade", args).future);
  }
  for (const auto& future : futures) future.cancel();
  const auto took = HarmedRobot::timeUntil([&] {
    return std::ranges::all_of(futures, [](const auto& future) { return future.wait(0); });
  });
  EXPECT_TRUE(
      std::ranges::all_of(futures, [](const auto& future) { return future.isCancelled(); }));
  // The motion itself goes on: a chain of a thousand key frames a light, which this removes.
  client->call("HBLeds", "off", std::vector<HBValue>{"EarLeds"});
  return took;
}

/// The same once before, so that what a robot keeps for the next time is there.
void expectManyCancelled(const std::string& what,
                         std::optional<double> (*cancelAll)(HarmedRobot& robot)) {
  HarmedRobot robot;
  EXPECT_TRUE(cancelAll(robot));
  EXPECT_TRUE(eventually([&] { return robot.running() == 0; }));
  robot.begin();
  double longest = 0;
  for (int round = 0; round < 3 * faultRounds(); ++round) {
    const auto took = cancelAll(robot);
    ASSERT_TRUE(took);
    longest = std::max(longest, *took);
    EXPECT_TRUE(eventually([&] { return robot.isAsBefore(); }));
  }
  std::cout << "measured: " << what << ": the last ended after " << longest << " ms at most\n";
  robot.expectUnharmed(what, kKeptKib);
}

TEST(ClientThatGivesUp, AThousandCancelledCallsEndAndNothingElse) {
  expectManyCancelled("1,000 calls cancelled", cancelCalls);
}

TEST(ClientThatGivesUp, AThousandCancelledFuturesEndAndNothingElse) {
  expectManyCancelled("1,000 futures cancelled", cancelFutures);
}

TEST(ClientThatDoesNotRead, CostsABoundedAmountAndDelaysNobody) {
  constexpr int kDeaf = 32;
  HarmedRobot robot;
  robot.begin();
  {
    std::list<remote::DeafWatch> deaf;
    for (int i = 0; i < kDeaf; ++i) deaf.emplace_back(robot.address());
    web::PageClient::Manner manner;
    manner.receiveBuffer = 128 * 1024;
    web::PageClient page(robot.pagePort(), manner);
    page.hello();
    page.ask({{"op", "watch"}, {"pattern", ""}});
    const auto end = std::chrono::steady_clock::now() + 3s * faultRounds();
    for (int i = 0; std::chrono::steady_clock::now() < end; ++i) {
      // Every LED moves all the time, none of it is read.
      const HBValue args[] = {"AllLeds", static_cast<float>(i % 2), 0.1F};
      remote::CallOptions options;
      options.completion = remote::Completion::kFinished;
      robot.client().call("HBLeds", "fade", args, options);
    }
    const long grown = robot.vitals().peakKib - robot.before().residentKib;
    if (kIsMemoryTelling) {
      EXPECT_LT(grown, (kDeaf + 2) * 1024);
    }
    page.drop();
  }
  robot.expectUnharmed("32 watches and a page never read", kKeptKib);
}

}  // namespace
}  // namespace tests
