// What a robot does when its process is ended with much under way, and when it is stopped for a
// while and goes on. Prints what it measured.
#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <iostream>
#include <list>
#include <thread>

#include "tests/system/harmed_robot.h"
#include "tests/system/raw_calls.h"
#include "web/test/page_client.h"

namespace tests {
namespace {

using namespace std::chrono_literals;
using HB::HBValue;
namespace v1 = tavro::v1;
using std::chrono::steady_clock;
using ::testing::HasSubstr;
using ::testing::Not;

/// Longer than a lender may leave a ping unanswered.
constexpr auto kStopped = 2s;

template <class Request, class Reply>
using TwoWay = grpc::ClientReaderWriter<Request, Reply>;

/// Streams of one client, each of which has said its first word.
class Streams {
 public:
  explicit Streams(const std::string& address) : fStub(rawStub(address)) {}

  void watch() {
    fWatches.push_back(fStub->Watch(context(), {}));
    v1::WatchReply first;
    EXPECT_TRUE(fWatches.back()->Read(&first));
  }
  void watchServices() {
    fServices.push_back(fStub->WatchServices(context(), {}));
    v1::WatchServicesReply first;
    EXPECT_TRUE(fServices.back()->Read(&first));
  }
  void start() {
    fStarts.push_back(fStub->Start(context()));
    v1::StartRequest request;
    *request.mutable_call() = callOf("HBLeds", "fade", {"EarLeds", 1.0F, 60.0F});
    fStarts.back()->Write(request);
    v1::StartReply first;
    EXPECT_TRUE(fStarts.back()->Read(&first));
  }
  void lend(const std::string& name) {
    fLends.push_back(fStub->Lend(context()));
    v1::LendRequest request;
    request.mutable_offer()->set_service(name);
    fLends.back()->Write(request);
    v1::LendReply first;
    EXPECT_TRUE(fLends.back()->Read(&first));
    EXPECT_TRUE(first.has_accepted());
  }
  std::size_t size() const { return fContexts.size(); }
  /// Reads all of them to their end.
  void finish() {
    drain<v1::WatchReply>(fWatches);
    drain<v1::WatchServicesReply>(fServices);
    drain<v1::StartReply>(fStarts);
    drain<v1::LendReply>(fLends);
  }

 private:
  grpc::ClientContext* context() { return &fContexts.emplace_back(); }
  template <class Reply, class All>
  static void drain(All& streams) {
    for (const auto& stream : streams) {
      Reply reply;
      while (stream->Read(&reply)) {
      }
      stream->Finish();
    }
  }

  const std::unique_ptr<v1::Robot::Stub> fStub;
  std::list<grpc::ClientContext> fContexts;
  std::list<std::unique_ptr<grpc::ClientReader<v1::WatchReply>>> fWatches;
  std::list<std::unique_ptr<grpc::ClientReader<v1::WatchServicesReply>>> fServices;
  std::list<std::unique_ptr<TwoWay<v1::StartRequest, v1::StartReply>>> fStarts;
  std::list<std::unique_ptr<TwoWay<v1::LendRequest, v1::LendReply>>> fLends;
};

TEST(RobotThatIsTold, ToEndWithTwoHundredOpenStreamsEndsEachAndItself) {
  for (int round = 0; round < faultRounds(); ++round) {
    HarmedRobot robot;
    std::list<Streams> clients;
    std::size_t open = 0;
    for (int client = 0; client < 4; ++client) {
      Streams& streams = clients.emplace_back(robot.address());
      for (int i = 0; i < 30; ++i) streams.watch();
      for (int i = 0; i < 10; ++i) streams.watchServices();
      for (int i = 0; i < 8; ++i) streams.start();
      for (int i = 0; i < 2; ++i) {
        streams.lend("Lent" + std::to_string(client) + "." + std::to_string(i));
      }
      open += streams.size();
    }
    EXPECT_EQ(open, 200u);
    RawCalls animations(robot.address());
    for (int i = 0; i < 16; ++i) animations.begin(callOf("HBLeds", "rotateEyes", kEndlessTurns));
    ASSERT_TRUE(eventually([&] { return robot.running() == 16; }));
    web::PageClient page(robot.pagePort());
    page.hello();
    page.ask({{"op", "watch"}, {"pattern", ""}});

    const auto start = steady_clock::now();
    robot.robot().process().signal(SIGTERM);
    const Outcome ended = robot.robot().process().wait(2s);
    std::cout << "measured: SIGTERM with " << open
              << " streams, 16 animations and a page: ended in "
              << (steady_clock::now() - start) / 1ms << " ms\n";
    EXPECT_EQ(ended.status, 0);
    EXPECT_THAT(ended.err, Not(HasSubstr(" error   [")));
    for (Streams& streams : clients) streams.finish();
    EXPECT_STREQ(page.awaitEnd().what(), "The robot is shutting down");
  }
}

/// The process does nothing for a while, and knows nothing of it.
void stopForAWhile(const Process& process) {
  process.signal(SIGSTOP);
  std::this_thread::sleep_for(kStopped);  // this is the fault
  process.signal(SIGCONT);
}

/// Counts the batches of one watch.
class Follower {
 public:
  Follower(const std::string& address, const std::string& pattern)
      : fClient(remote::RobotClient::connect(address)), fThread([this, pattern] {
          try {
            fClient->watch(
                pattern,
                [this](const remote::WatchBatch&) {
                  ++fBatches;
                  return true;
                },
                fEnd);
          } catch (const remote::RemoteError& error) {
            fIsCancelled = error.fault() == remote::RemoteError::Fault::kCancelled;
          }
        }) {}
  ~Follower() {
    if (fThread.joinable()) end();
  }
  int batches() const { return fBatches; }
  /// Whether it went on until now.
  bool end() {
    fEnd.cancel();
    fThread.join();
    return fIsCancelled;
  }

 private:
  const std::unique_ptr<remote::RobotClient> fClient;
  const remote::CancelToken fEnd;
  std::atomic<int> fBatches{0};
  std::atomic<bool> fIsCancelled{false};
  std::thread fThread;
};

TEST(RobotThatIsStopped, ForTwoSecondsGoesOnAndNobodyIsLost) {
  for (int round = 0; round < faultRounds(); ++round) {
    HarmedRobot robot;
    robot.begin();
    {
      auto& client = robot.client();
      xo::ObjectBuilder lamp;
      lamp.add(xo::makeMethod<int(int)>({"twice", "", {}, {}, {}}, [](int n) { return 2 * n; }));
      const auto lender = remote::RobotClient::connect(robot.address(), {"lender"});
      const auto lending = lender->lend("Lamp", std::move(lamp));
      Follower follower(robot.address(), "Head/*");
      web::PageClient page(robot.pagePort());
      page.hello();
      ASSERT_TRUE(eventually([&] { return follower.batches() > 10; }));
      const std::vector<HBValue> quick{"EarLeds", 1.0F, 1.0F};
      const std::vector<HBValue> slow{"FaceLeds", 1.0F, 3.0F};
      const auto start = steady_clock::now();
      const auto during = *client.start("HBLeds", "fade", quick).future;
      const auto after = *client.start("HBLeds", "fade", slow).future;
      stopForAWhile(robot.robot().process());
      const auto resumed = steady_clock::now();
      EXPECT_TRUE(during.wait(20000));
      std::cout << "measured: stopped for 2 s: a fade that had ended meanwhile was told "
                << (steady_clock::now() - resumed) / 1ms << " ms after it went on\n";
      EXPECT_TRUE(after.wait(20000));
      EXPECT_GE(steady_clock::now() - start, 3s);
      std::cout << "measured: stopped for 2 s: a fade of 3 s took "
                << (steady_clock::now() - start) / 1ms << " ms\n";
      for (const auto& future : {during, after}) EXPECT_TRUE(future.hasValue());
      const int seen = follower.batches();
      EXPECT_TRUE(eventually([&] { return follower.batches() > seen + 10; }));
      EXPECT_TRUE(follower.end());
      EXPECT_TRUE(lending->isStanding()) << lending->loss();
      const std::vector<HBValue> args{21};
      EXPECT_EQ(client.call("Lamp", "twice", args).value, HBValue(42));
      EXPECT_TRUE(page.ask({{"op", "state"}})["ready"]);
    }
    robot.expectUnharmed("stopped for 2 s", 8 * 1024);
  }
}

/// Lends a service, and answers pings when the test says so.
class Lender {
 public:
  explicit Lender(const std::string& address) : fStub(rawStub(address)) {
    fRequest.mutable_offer()->set_service("Lamp");
    fStream->Write(fRequest);
  }
  ~Lender() { fContext.TryCancel(); }
  Lender(const Lender&) = delete;
  Lender& operator=(const Lender&) = delete;

  /// False when it was lost instead.
  bool awaitPing() {
    while (fStream->Read(&fReply)) {
      if (fReply.what_case() == v1::LendReply::kPing) return true;
    }
    return false;
  }
  void answer() {
    fRequest.mutable_pong()->set_number(fReply.ping());
    fStream->Write(fRequest);
  }
  std::string loss() { return fStream->Finish().error_message(); }

 private:
  const std::unique_ptr<v1::Robot::Stub> fStub;
  grpc::ClientContext fContext;
  const std::unique_ptr<TwoWay<v1::LendRequest, v1::LendReply>> fStream = fStub->Lend(&fContext);
  v1::LendRequest fRequest;
  v1::LendReply fReply;
};

// The time in which the robot itself was stopped is none that the lender had for its answer.
TEST(RobotThatIsStopped, WithAPingUnderWayDoesNotTakeItsLenderForLost) {
  HarmedRobot robot;
  robot.begin();
  {
    Lender lender(robot.address());
    for (int i = 0; i < 2 * faultRounds(); ++i) {
      ASSERT_TRUE(lender.awaitPing());
      stopForAWhile(robot.robot().process());
      lender.answer();
      ASSERT_TRUE(lender.awaitPing()) << "lost: " << lender.loss();
      lender.answer();
    }
    EXPECT_THAT(robot.client().services(), testing::Contains("Lamp"));
  }
  robot.expectUnharmed("stopped with a ping under way", 8 * 1024);
}

}  // namespace
}  // namespace tests
