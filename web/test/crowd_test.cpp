// Many pages at once, and pages that do not read: none holds up the robot or another page.
#include <gmock/gmock.h>
#include <malloc.h>
#include <unistd.h>

#include <fstream>

#include "web/test/test_page.h"

namespace web {
namespace {

/// Small, but no smaller than a segment: else the systems on both ends wait for each other.
constexpr int kReceiveBuffer = 128 * 1024;

/// Bytes of this process in memory.
std::size_t residentBytes() {
  std::ifstream stream("/proc/self/statm");
  std::size_t size = 0;
  std::size_t resident = 0;
  stream >> size >> resident;
  return resident * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
}

TEST(Crowd, FiftyPagesWatchAndEachSeesTheEnd) {
  TestPage page;
  page.memory.insert("value", 0);
  page.serve();
  std::vector<PageClient> clients;
  for (int i = 0; i < 50; ++i) {
    clients.push_back(page.connect("page " + std::to_string(i)));
    clients.back().ask({{"op", "watch"}, {"pattern", ""}});
  }
  EXPECT_EQ(page.server->connections(), 50u);
  for (int i = 1; i <= 200; ++i) page.memory.insert("value", i);
  for (PageClient& client : clients) {
    for (Json last; last != 200;) {
      const Json frame = client.event("frame");
      if (!frame["value"].empty()) last = frame["value"].back();
      client.send({{"op", "seen"}, {"frame", frame["frame"]}});
    }
  }
  EXPECT_EQ(page.memory.subscriptions(), 50u);
  clients.clear();
  EXPECT_TRUE(comesTrue([&] { return page.memory.subscriptions() == 0; }));
  EXPECT_TRUE(comesTrue([&] { return page.server->connections() == 0; }));
}

/// A page that asks for large values without end and reads none of them.
class Glutton {
 public:
  explicit Glutton(const TestPage& page) : fClient(page.port(), manner()) {
    fClient.hello("glutton");
    const std::string text = textOf(
        {{"op", "call"}, {"service", "Test"}, {"method", "text"}, {"args", {kBytes}}, {"id", 1}});
    fText = text.substr(0, text.find("\"id\":1"));
    fRest = text.substr(fText.size() + 6);
  }
  /// Sends until the server takes no more.
  void ask(int times) {
    for (int i = 0; i < times; ++i) {
      fClient.send(Json::parse(fText + "\"id\":" + std::to_string(i + 2) + fRest));
    }
  }
  PageClient& client() { return fClient; }
  static constexpr int kBytes = 1 << 19;

 private:
  static PageClient::Manner manner() {
    PageClient::Manner manner;
    manner.receiveBuffer = kReceiveBuffer;
    return manner;
  }
  PageClient fClient;
  std::string fText;
  std::string fRest;
};

TEST(Crowd, APageThatNeverReadsCostsABoundedNumberOfBytes) {
  TestPage page;
  page.serve();
  auto other = page.connect("other");
  ::malloc_trim(0);
  const std::size_t before = residentBytes();
  Glutton glutton(page);
  glutton.ask(500);  // a quarter of a gigabyte if all were answered
  for (int i = 0; i < 100; ++i) EXPECT_EQ(other.call("Test", "add", {i, 1})["value"], i + 1);
  EXPECT_TRUE(comesTrue([&] { return page.access.running().empty(); }));
  ::malloc_trim(0);
  const std::size_t most = 36U * 3U * Glutton::kBytes;  // what may run at once, and its text
  EXPECT_LT(residentBytes(), before + most);
}

TEST(Crowd, FuturesThatEndInMoreThanAPageTakesSendItAway) {
  constexpr int kFutures = 100;
  constexpr std::size_t kBytes = 1 << 20;
  TestPage page;
  page.serve();
  PageClient::Manner manner;
  manner.receiveBuffer = kReceiveBuffer;
  PageClient client(page.port(), manner);
  client.hello("glutton");
  for (int i = 0; i < kFutures; ++i) {
    const int id = client.begin({{"op", "call"}, {"service", "Test"}, {"method", "later"}});
    ASSERT_EQ(client.replyTo(id)["future"], true);
  }
  ::malloc_trim(0);
  const std::size_t before = residentBytes();
  page.settleLater(std::string(kBytes, 'x'));
  EXPECT_TRUE(comesTrue([&] { return page.access.futures() == 0; })) << "they are let go of";
  EXPECT_LT(residentBytes(), before + 64 * kBytes) << "all replies are 100 MiB";
  EXPECT_STREQ(client.awaitEnd().what(),
               "More bytes that wait to be read than one page's limit of 8388608");
  EXPECT_EQ(page.connect("other").call("Test", "add", {1, 2})["value"], 3);
}

TEST(Crowd, AWatchOfKeysWithoutEndIsEndedByName) {
  const std::string filler(60'000, 'k');
  TestPage page;
  for (int i = 0; i < 300; ++i) page.memory.insert(filler + std::to_string(i), i);
  page.serve();
  auto client = page.connect();
  client.ask({{"op", "watch"}, {"pattern", ""}});
  Json event = Json::object();
  for (int i = 0; event.value("event", "") != "ended"; ++i) {
    ASSERT_LT(i, 300) << "all of them were named";
    event = client.receive();
    if (event.contains("frame")) client.send({{"op", "seen"}, {"frame", event["frame"]}});
  }
  EXPECT_EQ(event["what"], "watch");
  EXPECT_EQ(event["text"], "More bytes of keys of a watch than one page's limit of 16777216");
  EXPECT_EQ(page.memory.subscriptions(), 0u);
  EXPECT_EQ(client.call("Test", "add", {1, 2})["value"], 3) << "everything else goes on";
}

TEST(Crowd, APageThatNeverReadsIsLetGo) {
  TestPage page;
  page.patience.reading = std::chrono::milliseconds(100);
  page.serve();
  Glutton glutton(page);
  glutton.ask(40);
  EXPECT_TRUE(comesTrue([&] { return page.server->connections() == 0; }));
  EXPECT_TRUE(comesTrue([&] { return page.access.futures() == 0; }));
}

TEST(Crowd, APageThatReadsSlowlyStaysAsLongAsItGoesOn) {
  constexpr int kReplies = 14;  // 7 MiB
  TestPage page;
  page.patience.silence = std::chrono::milliseconds(500);
  page.patience.reading = std::chrono::seconds(5);
  page.serve();
  Glutton slow(page);
  const auto start = std::chrono::steady_clock::now();
  slow.ask(kReplies);
  ASSERT_TRUE(comesTrue([&] { return page.access.running().empty(); }));
  for (int i = 0; i < kReplies; ++i) {
    // A slow way cannot be had on one machine but by reading seldom.
    if (i < kReplies - 4) std::this_thread::sleep_for(std::chrono::milliseconds(150));
    EXPECT_TRUE(slow.client().receive().contains("value")) << i;
  }
  EXPECT_GT(std::chrono::steady_clock::now() - start, 2 * page.patience.silence)
      << "nothing was read of it meanwhile";
  EXPECT_TRUE(slow.client().ask({{"op", "services"}, {"id", 100}}).contains("services"));
}

TEST(Crowd, APageThatWatchesAndNeverReadsHoldsUpNobody) {
  TestPage page;
  for (int i = 0; i < 1000; ++i) page.memory.insert("key " + std::to_string(i), 0.0f);
  page.serve();
  PageClient::Manner manner;
  manner.receiveBuffer = kReceiveBuffer;
  PageClient deaf(page.port(), manner);
  deaf.hello("deaf");
  deaf.ask({{"op", "watch"}, {"pattern", ""}});
  auto other = page.connect("other");
  other.ask({{"op", "watch"}, {"pattern", "key 999"}});
  int frames = 0;
  for (int i = 1; i <= 2000; ++i) page.memory.insert("key 999", static_cast<float>(i));
  for (Json last; last != 2000.0; ++frames) {
    const Json frame = other.event("frame");
    last = frame["value"].back();
    other.send({{"op", "seen"}, {"frame", frame["frame"]}});
  }
  EXPECT_GT(frames, 0);
}

TEST(Crowd, APageThatSaysNothingAtAllIsAskedAndLetGo) {
  TestPage page;
  page.patience.silence = std::chrono::milliseconds(200);
  page.serve();
  auto silent = page.connect("silent");  // a client that does not read answers no ping
  EXPECT_TRUE(comesTrue([&] { return page.server->connections() == 0; }));
}

}  // namespace
}  // namespace web
