// The end of the server, with everything under way.
#include <gmock/gmock.h>

#include "web/test/test_page.h"

namespace web {
namespace {

Json callOf(const std::string& method) {
  return {{"op", "call"}, {"service", "Test"}, {"method", method}};
}

TEST(End, PagesHearThatTheRobotGoes) {
  TestPage page;
  page.serve();
  auto client = page.connect();
  std::thread end([&] { EXPECT_TRUE(page.server->stop()); });
  const auto closed = client.awaitEnd();
  EXPECT_STREQ(closed.what(), "The robot is shutting down");
  EXPECT_EQ(closed.code(), 1001);
  end.join();
  EXPECT_EQ(page.server->connections(), 0u);
  EXPECT_THROW(PageClient{page.port()}, std::exception) << "nobody is let in any more";
}

TEST(End, RunningCallsAreAskedToStopAndWaitedFor) {
  TestPage page;
  page.serve();
  auto client = page.connect();
  client.begin(callOf("stay"));
  client.begin(callOf("stay"));
  page.awaitInside(2);
  page.server.reset();
  EXPECT_EQ(page.stopped, 2);
  EXPECT_EQ(page.inside, 0);
}

TEST(End, CallsThatDoNotStopAreToldOfAndWaitedForByItsDestruction) {
  TestPage page;
  page.serve();
  auto client = page.connect();
  client.begin(callOf("insist"));
  page.awaitInside(1);
  EXPECT_FALSE(page.server->stop(std::chrono::milliseconds(50)));
  EXPECT_FALSE(page.server->stop(std::chrono::milliseconds(1)));
  page.stopAll = true;
  EXPECT_TRUE(page.server->stop(std::chrono::seconds(10)));
  page.server.reset();
  EXPECT_EQ(page.inside, 0);
}

TEST(End, NothingIsCalledBackAfterIt) {
  for (int round = 0; round < 20; ++round) {
    LogTail tail(xo::log::Level::kInfo);
    TestPage page;
    page.options.log = &tail;
    for (int i = 0; i < 200; ++i) page.memory.insert("key " + std::to_string(i), i);
    page.serve();
    page.server->setModules([] { return std::vector<std::string>{"a"}; });
    std::vector<PageClient> clients;
    for (int i = 0; i < 5; ++i) {
      clients.push_back(page.connect());
      PageClient& client = clients.back();
      client.begin({{"op", "watch"}, {"pattern", ""}});
      client.begin({{"op", "log"}, {"level", "info"}});
      client.begin(callOf("stay"));
      client.begin(callOf("later"));
      client.begin({{"op", "state"}});
      client.begin({{"op", "read"}, {"key", "key 1"}});
    }
    clients.emplace_back(page.port());  // one that has said nothing
    std::atomic<bool> isOver{false};
    std::thread writer([&] {
      const xo::log::Category log("Writer");
      for (int i = 0; !isOver; ++i) {
        page.memory.insert("key 7", i);
        log.info("line");
      }
    });
    std::thread lender([&] { page.later.setValue(HB::HBValue(1)); });
    if (round % 2 == 0) page.server->stop(std::chrono::milliseconds(round));
    page.server.reset();
    EXPECT_EQ(page.inside, 0);
    EXPECT_EQ(page.access.futures(), 0u);
    EXPECT_EQ(page.memory.subscriptions(), 0u);
    isOver = true;
    writer.join();
    lender.join();
  }
}

TEST(End, AServerThatNobodyVisitedEndsToo) {
  TestPage page;
  page.serve();
  page.server.reset();
}

TEST(End, ItsPortIsFreeAgain) {
  TestPage page;
  page.serve();
  auto client = page.connect();
  page.options.port = page.port();
  EXPECT_NO_THROW(page.serve());
}

}  // namespace
}  // namespace web
