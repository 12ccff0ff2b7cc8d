// One page when the others have taken all that pages may take together.
#include <gmock/gmock.h>

#include <boost/asio/io_context.hpp>

#include "web/server/conversation.h"
#include "web/test/test_page.h"

namespace web {
namespace {

constexpr std::size_t kOfAll = 64U << 20U;

/// Keeps what a page is told; what waits is as much as the test says.
class NotedOutlet final : public Outlet {
 public:
  explicit NotedOutlet(Budget& budget) : share(budget) {}
  void send(std::string message) override { told.push_back(Json::parse(message)); }
  void goodbye(const std::string& why) override { reason = why; }
  std::size_t waiting() const override { return share.bytes(); }

  Budget::Share share;
  std::vector<Json> told;
  std::string reason;
};

class FullTest : public testing::Test {
 protected:
  ~FullTest() override {
    fConversation->gone();
    fHouse.calls.waitUntilEmpty();
    fLoop.restart();
    fLoop.poll();  // what calls left here may hold parts of the house
    fHouse.mailbox->close();
  }
  void say(const Json& request) { fConversation->take(textOf(request)); }
  /// The next thing told, after what is left for the page's thread was done.
  Json next() {
    EXPECT_TRUE(comesTrue([&] {
      fLoop.restart();
      fLoop.poll();
      return fRead < fOutlet.told.size() || !fOutlet.reason.empty();
    }));
    return fRead < fOutlet.told.size() ? fOutlet.told[fRead++] : Json::object();
  }
  void greet() {
    fConversation = std::make_unique<Conversation>(fHouse, fOutlet, "ipv4:127.0.0.1:1");
    say({{"op", "hello"}, {"id", 1}, {"name", "tester"}});
    next();
  }

  TestPage fPage;
  boost::asio::io_context fLoop;
  House fHouse{fPage.access, std::make_shared<Mailbox>(fLoop)};
  NotedOutlet fOutlet{fHouse.waiting};
  std::unique_ptr<Conversation> fConversation;
  std::size_t fRead = 0;
};

TEST_F(FullTest, AWatchThatKnowsItsKeysGoesOnUntilANewKeyComes) {
  constexpr int kKeys = 40;  // 2.4 MB: more than what each page always has
  const std::string filler(60'000, 'k');
  for (int i = 0; i < kKeys; ++i) fPage.memory.insert(filler + std::to_string(i), i);
  greet();
  say({{"op", "watch"}, {"id", 2}, {"pattern", ""}});
  next();
  for (std::size_t named = 0; named < kKeys;) {
    const Json frame = next();
    ASSERT_EQ(frame["event"], "frame") << frame;
    named += frame["keys"].size();
    say({{"op", "seen"}, {"frame", frame["frame"]}});
  }
  Budget::Share others(fHouse.keys);
  others.add(kOfAll);
  for (int i = 0; i < 3; ++i) {
    fPage.memory.insert(filler + "7", 1000 + i);
    const Json frame = next();
    ASSERT_EQ(frame["event"], "frame") << frame;
    EXPECT_EQ(frame["value"], (Json{1000 + i}));
    say({{"op", "seen"}, {"frame", frame["frame"]}});
  }
  fPage.memory.insert("new", 1);
  const Json ended = next();
  EXPECT_EQ(ended["event"], "ended");
  EXPECT_EQ(ended["text"], "More bytes of keys of a watch than the limit of 67108864 of all pages");
}

TEST_F(FullTest, APageWithAllItsFramesWaitingIsToldItsReplies) {
  greet();
  Budget::Share others(fHouse.waiting);
  others.add(kOfAll);
  fOutlet.share.add(2 * kMostWaiting);  // the last frame was as large as all before it
  const Json add = {
      {"op", "call"}, {"id", 2}, {"service", "Test"}, {"method", "add"}, {"args", {1, 2}}};
  say(add);
  EXPECT_EQ(next()["value"], 3);
  EXPECT_EQ(fOutlet.reason, "");
  fOutlet.share.add(2U << 20U);
  say(add);
  next();
  EXPECT_EQ(fOutlet.reason,
            "More bytes that wait to be read than the limit of 67108864 of all pages");
}

}  // namespace
}  // namespace web
