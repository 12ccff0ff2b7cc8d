// Messages that are no requests: each ends its own connection with a word, and nothing else.
#include <gmock/gmock.h>

#include "web/test/test_page.h"

namespace web {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

constexpr int kPolicyError = 1008;

class MalformedTest : public testing::Test {
 protected:
  MalformedTest() { fPage.serve(); }
  ~MalformedTest() override {
    EXPECT_EQ(fPage.connect().call("Test", "add", {1, 2})["value"], 3) << "others go on";
  }
  std::string goodbyeTo(const std::string& message) {
    auto client = fPage.connect();
    client.sendText(message);
    const auto closed = client.awaitEnd();
    EXPECT_EQ(closed.code(), kPolicyError) << message;
    return closed.what();
  }

  TestPage fPage;
};

TEST_F(MalformedTest, WhatIsNoJsonObject) {
  for (const char* text :
       {"", "{", R"({"op":"services","id":1)", "hello", "{\"op\":\"services\"}}"}) {
    EXPECT_EQ(goodbyeTo(text), "A message must be JSON") << text;
  }
  EXPECT_EQ(goodbyeTo("[1]"), "A message must be a JSON object");
}

TEST_F(MalformedTest, ARequestWithoutAnOperation) {
  for (const char* text : {"{}", R"({"id":1})", R"({"id":1,"op":null})", R"({"id":1,"op":7})",
                           R"({"id":1,"op":["services"]})"}) {
    EXPECT_EQ(goodbyeTo(text), "A request needs an 'op', a text") << text;
  }
}

TEST_F(MalformedTest, ARequestWithoutAGoodId) {
  for (const char* id : {"", R"(,"id":0)", R"(,"id":-1)", R"(,"id":1.5)", R"(,"id":"1")",
                         R"(,"id":null)", R"(,"id":9007199254740993)", R"(,"id":1e3)",
                         R"(,"id":18446744073709551616)", R"(,"id":{})"}) {
    EXPECT_EQ(goodbyeTo(std::string(R"({"op":"services")") + id + "}"),
              "A request needs an 'id', a positive whole number")
        << id;
  }
}

TEST_F(MalformedTest, TheIdOfACallThatRuns) {
  auto client = fPage.connect();
  const int id = client.begin({{"op", "call"}, {"service", "Test"}, {"method", "stay"}});
  fPage.awaitInside(1);
  client.send({{"op", "services"}, {"id", id}});
  EXPECT_EQ(std::string(client.awaitEnd().what()),
            "The id " + std::to_string(id) + " is that of a call that runs");
  EXPECT_TRUE(comesTrue([&] { return fPage.stopped == 1; })) << "and its calls are stopped";
}

TEST_F(MalformedTest, FramesThatWereNotSent) {
  for (const char* frame : {"1", "0", "-1", "\"1\"", "null", "1e99", "[]"}) {
    EXPECT_EQ(goodbyeTo(std::string(R"({"op":"seen","frame":)") + frame + "}"),
              "'frame' of 'seen' must be the number of a frame that was sent")
        << frame;
  }
}

TEST_F(MalformedTest, NestingWithoutEnd) {
  EXPECT_EQ(goodbyeTo(R"({"id":1,"op":"call","args":)" + std::string(500000, '[')),
            "A message may nest lists and objects 64 deep");
  const std::string balanced = std::string(400000, '[') + std::string(400000, ']');
  EXPECT_EQ(goodbyeTo(R"({"id":1,"op":"call","args":)" + balanced + "}"),
            "A message may nest lists and objects 64 deep");
}

TEST_F(MalformedTest, BinaryMessages) {
  auto client = fPage.connect();
  client.sendBinary(R"({"id":1,"op":"services"})");
  EXPECT_STREQ(client.awaitEnd().what(), "A message must be text");
}

TEST_F(MalformedTest, MessagesThatAreTooLong) {
  auto client = fPage.connect();
  client.sendText(R"({"id":1,"op":"call","args":[")" + std::string(1 << 20, 'x') + "\"]}");
  EXPECT_STREQ(client.awaitEnd().what(), "A message has more bytes than the limit of 1048576");
}

TEST_F(MalformedTest, TextThatIsNotUtf8) {
  auto client = fPage.connect();
  client.sendText("{\"id\":1,\"op\":\"\xff\"}");
  client.awaitEnd();  // the protocol itself ends it
}

TEST_F(MalformedTest, BytesThatAreNoWebSocket) {
  auto client = fPage.connect();
  client.sendRaw(std::string(100, '\xff'));
  client.awaitEnd();
}

TEST_F(MalformedTest, AnythingBeforeHello) {
  for (const char* text : {R"({"id":1,"op":"services"})", R"({"op":"seen","frame":1})",
                           R"({"id":1,"op":"call","service":"Test","method":"nothing"})"}) {
    PageClient client(fPage.port());
    client.sendText(text);
    EXPECT_STREQ(client.awaitEnd().what(), "The first request must be 'hello'") << text;
  }
  EXPECT_TRUE(fPage.access.history().empty());
}

TEST(Hello, IsWaitedForNotForEver) {
  TestPage page;
  page.patience.hello = std::chrono::milliseconds(50);
  page.serve();
  PageClient client(page.port());
  EXPECT_STREQ(client.awaitEnd().what(), "There was no 'hello' in time");
  PageClient known(page.port());
  known.hello();
  std::this_thread::sleep_for(std::chrono::milliseconds(100));  // nothing would tell that it stays
  EXPECT_EQ(known.call("Test", "add", {1, 2})["value"], 3);
}

TEST(Hello, FieldsThatAreNoTextsAreRefused) {
  TestPage page;
  page.serve();
  PageClient client(page.port());
  const Json wrong = client.ask({{"op", "hello"}, {"name", 7}});
  EXPECT_EQ(wrong["error"]["kind"], "refused");
  EXPECT_EQ(wrong["error"]["text"], "'name' must be a text");
  EXPECT_EQ(client.ask({{"op", "hello"}, {"token", Json::array()}})["error"]["kind"], "refused");
  EXPECT_EQ(client.hello()["role"], "operator");
}

TEST(Hello, NamesAreFitForLogs) {
  TestPage page;
  page.serve();
  PageClient client(page.port());
  client.hello("a\nb\x1b[31m" + std::string(100, 'c'));
  client.call("Test", "nothing");
  const auto name = page.access.history().front().client.name;
  EXPECT_THAT(name, StartsWith("a?b?[31mccc"));
  EXPECT_EQ(name.size(), 64u);
  EXPECT_THAT(page.access.history().front().client.peer, StartsWith("ipv4:127.0.0.1:"));
}

}  // namespace
}  // namespace web
