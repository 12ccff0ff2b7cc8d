// Calls that pages make: their ends, their stops, and what becomes of them when the page goes.
#include <gmock/gmock.h>

#include "web/test/test_page.h"

namespace web {
namespace {

using testing::HasSubstr;

Json callOf(const std::string& method, Json args = Json::array()) {
  return {{"op", "call"}, {"service", "Test"}, {"method", method}, {"args", std::move(args)}};
}

class CallsTest : public testing::Test {
 protected:
  CallsTest() { fPage.serve(); }
  bool isAtRest() {
    return comesTrue([&] { return fPage.access.running().empty() && fPage.access.futures() == 0; });
  }

  TestPage fPage;
};

TEST_F(CallsTest, AValueComesWithTheTimeItTook) {
  auto client = fPage.connect();
  const Json reply = client.call("Test", "add", {1, 2});
  EXPECT_EQ(reply["value"], 3);
  EXPECT_GE(reply["ms"], 0);
  EXPECT_TRUE(client.call("Test", "nothing")["value"].is_null());
}

TEST_F(CallsTest, ArgumentsMayBeLeftOutWhereThereAreNone) {
  auto client = fPage.connect();
  EXPECT_TRUE(
      client.ask({{"op", "call"}, {"service", "Test"}, {"method", "nothing"}}).contains("value"));
}

TEST_F(CallsTest, EveryFormOfValueGoesThereAndBack) {
  auto client = fPage.connect();
  for (const char* text :
       {"null", "true", "-7", "0.25", R"({"float":"NaN"})", R"({"float":"-Infinity"})",
        R"({"binary":"AP8Q"})", R"("<b> äöü")", R"([1,["a",{"binary":""}],null])"}) {
    const Json value = Json::parse(text);
    EXPECT_EQ(client.call("Test", "echo", Json::array({value}))["value"], value);
  }
}

TEST_F(CallsTest, WhatAMethodThrowsComesUnchanged) {
  const Json reply = fPage.connect().call("Test", "fail");
  EXPECT_EQ(reply["error"]["kind"], "out_of_range");
  EXPECT_EQ(reply["error"]["text"], "There is no <b>such</b> thing");
}

TEST_F(CallsTest, ArgumentsThatDoNotFitListTheCandidates) {
  const Json reply = fPage.connect().call("Test", "add", {"one"});
  EXPECT_EQ(reply["error"]["kind"], "invalid_argument");
  EXPECT_THAT(reply["error"]["text"].get<std::string>(), HasSubstr("(int, int)"));
}

TEST_F(CallsTest, ArgumentsThatAreNoValuesAreRefusedByTheirPlace) {
  auto client = fPage.connect();
  EXPECT_EQ(client.call("Test", "add", {1, 4294967296})["error"]["text"],
            "args[1] is 4294967296; a whole number must lie within -2147483648 to 2147483647");
  EXPECT_THAT(client.call("Test", "echo", Json::array({Json::object()}))["error"]["text"]
                  .get<std::string>(),
              HasSubstr("args[0] is {}; an object must be"));
}

TEST_F(CallsTest, WhatExceedsALimitIsRefusedByName) {
  auto client = fPage.connect();
  const auto refusal = [&](const Json& value) -> std::string {
    const Json reply = client.call("Test", "echo", Json::array({value}));
    EXPECT_EQ(reply["error"]["kind"], "refused");
    return reply["error"]["text"];
  };
  EXPECT_EQ(refusal(std::string(65537, 'x')), "A text has 65537 bytes; the limit is 65536");
  EXPECT_EQ(refusal(Json(std::vector<int>(4097))), "A list has 4097 elements; the limit is 4096");
  Json deep(1);
  for (int i = 0; i < 34; ++i) deep = Json::array({deep});
  EXPECT_EQ(refusal(deep), "Lists are nested more deeply than the limit of 32");
}

TEST_F(CallsTest, ArgumentsThatExceedALimitWaitForNoThread) {
  auto client = fPage.connect();
  const Json reply = client.call("Test", "insist", Json::array({std::string(65537, 'x')}));
  EXPECT_EQ(reply["error"]["text"], "A text has 65537 bytes; the limit is 65536");
  EXPECT_FALSE(reply.contains("ms")) << "no call was begun";
}

TEST_F(CallsTest, TextThatIsNotUtf8AndListsWithoutEndComeAsFarAsJsonCan) {
  auto client = fPage.connect();
  EXPECT_EQ(client.call("Test", "broken")["value"],
            "a\xEF\xBF\xBD"
            "b");
  EXPECT_EQ(client.call("Test", "deep")["error"]["text"],
            "A value is nested too deeply for the page");
}

TEST_F(CallsTest, AFutureIsToldAtOnceAndItsValueLater) {
  auto client = fPage.connect();
  const int id = client.begin(callOf("later"));
  EXPECT_EQ(client.replyTo(id), (Json{{"id", id}, {"future", true}}));
  EXPECT_EQ(fPage.access.futures(), 1u);
  EXPECT_EQ(client.call("Test", "add", {1, 2})["value"], 3) << "others run meanwhile";
  fPage.settleLater();
  const Json end = client.replyTo(id);
  EXPECT_EQ(end["value"], "settled");
  EXPECT_GE(end["ms"], 0);
  EXPECT_TRUE(isAtRest());
}

TEST_F(CallsTest, AStopCancelsAFuture) {
  auto client = fPage.connect();
  const int id = client.begin(callOf("later"));
  client.replyTo(id);
  fPage.later.onCancel([&] { fPage.later.setCancelled(); });
  EXPECT_EQ(client.ask({{"op", "stop"}, {"call", id}})["found"], true);
  EXPECT_EQ(client.replyTo(id)["error"]["kind"], "cancelled");
  EXPECT_TRUE(isAtRest());
}

TEST_F(CallsTest, AStopRaisesTheFlagOfARunningMethod) {
  auto client = fPage.connect();
  const int id = client.begin(callOf("stay"));
  fPage.awaitInside(1);
  EXPECT_EQ(client.ask({{"op", "stop"}, {"call", id + 100}})["found"], false);
  EXPECT_EQ(fPage.inside, 1);
  EXPECT_EQ(client.ask({{"op", "stop"}, {"call", id}})["found"], true);
  EXPECT_TRUE(client.replyTo(id).contains("value"));
  EXPECT_EQ(fPage.stopped, 1);
  EXPECT_EQ(client.ask({{"op", "stop"}, {"call", id}})["found"], false);
}

TEST_F(CallsTest, AnotherPagesCallIsNotStoppedByItsNumberHere) {
  auto one = fPage.connect();
  auto other = fPage.connect();
  const int id = one.begin(callOf("stay"));
  fPage.awaitInside(1);
  EXPECT_EQ(other.ask({{"op", "stop"}, {"call", id}})["found"], false);
  EXPECT_EQ(fPage.inside, 1);
  one.ask({{"op", "stop"}, {"call", id}});
  one.replyTo(id);
}

TEST_F(CallsTest, AConnectionLostInTheMiddleOfCallsStopsThem) {
  auto client = fPage.connect();
  client.begin(callOf("stay"));
  client.begin(callOf("stay"));
  client.replyTo(client.begin(callOf("later")));
  fPage.awaitInside(2);
  EXPECT_EQ(fPage.access.futures(), 3u);
  client.drop();
  EXPECT_TRUE(comesTrue([&] { return fPage.stopped == 2; }));
  EXPECT_TRUE(isAtRest());
  EXPECT_FALSE(fPage.later.isCancelRequested()) << "a future is let go of, not cancelled";
}

TEST_F(CallsTest, OnlySoManyRunAtOnceAndTheRestIsRefusedByName) {
  door::Limits limits;
  TestPage page(limits);
  page.serve();
  auto client = page.connect();
  constexpr int kAsked = 200;
  std::vector<int> ids;
  for (int i = 0; i < kAsked; ++i) ids.push_back(client.begin(callOf("stay")));
  const std::string text = "More calls that run at once than one client's limit of 32";
  int refused = 0;
  for (int i = 0; i < kAsked - 32; ++i) {
    const Json reply = client.receive();
    if (reply["error"]["kind"] == "refused") ++refused;
    EXPECT_THAT(reply["error"]["text"].get<std::string>(), HasSubstr("calls that run at once"));
  }
  EXPECT_EQ(refused, kAsked - 32);
  page.awaitInside(32);
  EXPECT_EQ(client.call("Test", "add", {1, 2})["value"], 3) << "short ones find a place";
  auto other = page.connect("other");
  EXPECT_EQ(other.call("Test", "add", {1, 2})["value"], 3);
  client.drop();
  EXPECT_TRUE(comesTrue([&] { return page.stopped == 32; }));
}

TEST_F(CallsTest, AFloodOfRequestsIsAnsweredInFull) {
  auto client = fPage.connect();
  constexpr int kAsked = 2000;
  for (int i = 0; i < kAsked; ++i) client.begin(callOf("add", {i, 1}));
  int answered = 0;
  for (int i = 0; i < kAsked; ++i) {
    const Json reply = client.receive();
    if (reply.contains("value")) ++answered;
    if (reply.contains("error")) {
      EXPECT_EQ(reply["error"]["kind"], "refused");
    }
  }
  EXPECT_GT(answered, 0);
  EXPECT_TRUE(isAtRest());
}

}  // namespace
}  // namespace web
