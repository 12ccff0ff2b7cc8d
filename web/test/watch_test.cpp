// Frames: what changes in the memory, at each page's own pace.
#include <gmock/gmock.h>

#include <map>

#include "web/test/test_page.h"

namespace web {
namespace {

/// What a page knows of the memory from the frames that it got.
class Picture {
 public:
  void take(const Json& frame) {
    for (const Json& key : frame["keys"]) fKeys.push_back(key);
    ASSERT_EQ(frame["index"].size(), frame["value"].size());
    for (std::size_t i = 0; i < frame["index"].size(); ++i) {
      values[fKeys.at(frame["index"][i])] = frame["value"][i];
    }
    dropped = frame["dropped"];
  }
  std::map<std::string, Json> values;
  int dropped = 0;

 private:
  std::vector<std::string> fKeys;
};

class WatchTest : public testing::Test {
 protected:
  WatchTest() {
    fPage.memory.insert("Face/Red", 0.0f);
    fPage.memory.insert("Ear/Blue", 0.5f);
    fPage.serve();
  }
  static void watch(PageClient& client, const std::string& pattern) {
    EXPECT_EQ(client.ask({{"op", "watch"}, {"pattern", pattern}}).size(), 1u);
  }
  static void seen(PageClient& client, const Json& frame) {
    client.send({{"op", "seen"}, {"frame", frame["frame"]}});
  }

  TestPage fPage;
};

TEST_F(WatchTest, TheFirstFrameBringsEveryMatchingKeyAndLaterOnesWhatChanged) {
  auto client = fPage.connect();
  watch(client, "");
  const Json first = client.event("frame");
  EXPECT_EQ(first["keys"], (Json{"Ear/Blue", "Face/Red"}));
  EXPECT_EQ(first["index"], (Json{0, 1}));
  EXPECT_EQ(first["value"], (Json{0.5, 0.0}));
  EXPECT_EQ(first["frame"], 1);
  EXPECT_EQ(first["dropped"], 0);
  EXPECT_GE(first["at"], 0);
  seen(client, first);
  fPage.memory.insert("Face/Red", 0.3f);
  const Json second = client.event("frame");
  EXPECT_EQ(second["keys"], Json::array());
  EXPECT_EQ(second["index"], (Json{1}));
  EXPECT_EQ(second["value"], (Json{0.3}));
  EXPECT_EQ(second["frame"], 2);
  EXPECT_GE(second["at"], first["at"]);
  seen(client, second);
  fPage.memory.insert("Chest/Green", HB::HBValue("on"));
  const Json third = client.event("frame");
  EXPECT_EQ(third["keys"], (Json{"Chest/Green"}));
  EXPECT_EQ(third["index"], (Json{2}));
  EXPECT_EQ(third["value"], (Json{"on"}));
}

TEST_F(WatchTest, OnlyTwoFramesAreOnTheirWayUnseen) {
  auto client = fPage.connect();
  watch(client, "");
  Picture picture;
  Json last = client.event("frame");
  picture.take(last);
  for (int i = 0; i < 200 && client.ask({{"op", "services"}}).contains("services"); ++i) {
    fPage.memory.insert("Face/Red", static_cast<float>(i + 1));
    std::this_thread::sleep_for(std::chrono::milliseconds(1));  // what is asked is that none comes
  }
  const Json second = client.event("frame");
  EXPECT_EQ(second["frame"], 2);
  picture.take(second);
  seen(client, second);
  while (picture.values["Face/Red"] != 200.0) {
    const Json frame = client.event("frame");
    picture.take(frame);
    seen(client, frame);
  }
  EXPECT_GT(picture.dropped, 0) << "what was missed is told";
}

TEST_F(WatchTest, ASecondWatchReplacesTheFirst) {
  auto client = fPage.connect();
  watch(client, "Face");
  EXPECT_EQ(client.event("frame")["keys"], (Json{"Face/Red"}));
  watch(client, "Ear");  // neither frame was told to be seen
  const Json frame = client.event("frame");
  EXPECT_EQ(frame["keys"], (Json{"Ear/Blue"}));
  EXPECT_EQ(frame["index"], (Json{0}));
  EXPECT_EQ(fPage.memory.subscriptions(), 1u);
}

TEST_F(WatchTest, NoFrameFollowsItsEnd) {
  auto client = fPage.connect();
  watch(client, "");
  seen(client, client.event("frame"));
  EXPECT_EQ(client.ask({{"op", "unwatch"}}).size(), 1u);
  EXPECT_EQ(fPage.memory.subscriptions(), 0u);
  for (int i = 0; i < 20; ++i) {
    fPage.memory.insert("Face/Red", static_cast<float>(i));
    client.begin({{"op", "services"}});
    const Json next = client.receive();
    EXPECT_TRUE(next.contains("services")) << next;
  }
  EXPECT_EQ(client.ask({{"op", "unwatch"}}).size(), 1u) << "again is harmless";
}

TEST_F(WatchTest, AConnectionThatIsLostEndsItsWatch) {
  auto client = fPage.connect();
  watch(client, "");
  client.event("frame");
  client.drop();
  EXPECT_TRUE(comesTrue([&] { return fPage.memory.subscriptions() == 0; }));
}

TEST_F(WatchTest, WithoutAMemoryItIsRefusedByName) {
  fPage.memory.close();
  auto client = fPage.connect();
  const Json reply = client.ask({{"op", "watch"}, {"pattern", ""}});
  EXPECT_EQ(reply["error"]["kind"], "refused");
  EXPECT_EQ(reply["error"]["text"], "There is no service 'HBMemory'; there are Test");
}

TEST_F(WatchTest, AMemoryThatGoesEndsTheWatchAloud) {
  auto client = fPage.connect();
  watch(client, "");
  seen(client, client.event("frame"));
  fPage.memory.insert("Face/Red", 1.0f);
  seen(client, client.event("frame"));
  fPage.memory.close();
  const Json ended = client.event("ended");
  EXPECT_EQ(ended["what"], "watch");
  EXPECT_EQ(ended["text"], "The service HBMemory has gone");
  EXPECT_TRUE(client.ask({{"op", "unwatch"}}).contains("id"));
}

TEST_F(WatchTest, ManyKeysComeInSeveralFrames) {
  constexpr int kKeys = 3000;
  for (int i = 0; i < kKeys; ++i) {
    fPage.memory.insert("Key/" + std::to_string(i) + std::string(60, '.'), i);
  }
  auto client = fPage.connect();
  watch(client, "Key");
  Picture picture;
  int frames = 0;
  while (picture.values.size() < kKeys) {
    const Json frame = client.event("frame");
    EXPECT_LT(textOf(frame).size(), 100u * 1024);
    picture.take(frame);
    seen(client, frame);
    ++frames;
  }
  EXPECT_GT(frames, 2);
  EXPECT_EQ(picture.values["Key/2999" + std::string(60, '.')], 2999);
}

TEST_F(WatchTest, KeysAndValuesThatAreNoTextDoNotEndIt) {
  fPage.memory.insert("bad\xff", HB::HBValue("\xfe"));
  auto client = fPage.connect();
  watch(client, "bad");
  const Json frame = client.event("frame");
  EXPECT_EQ(frame["keys"], (Json{"bad\xEF\xBF\xBD"}));
  EXPECT_EQ(frame["value"], (Json{"\xEF\xBF\xBD"}));
}

TEST_F(WatchTest, APatternThatIsTooLongIsRefusedAndTheWatchBeforeGoesOn) {
  auto client = fPage.connect();
  watch(client, "");
  seen(client, client.event("frame"));
  EXPECT_EQ(client.ask({{"op", "watch"}, {"pattern", std::string(1025, 'a')}})["error"]["text"],
            "A pattern has 1025 bytes; the limit is 1024");
  fPage.memory.insert("Face/Red", 1.0f);
  EXPECT_EQ(client.event("frame")["value"], (Json{1.0}));
}

}  // namespace
}  // namespace web
