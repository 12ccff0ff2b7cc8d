// What the server answers to HTTP, byte by byte over real sockets.
#include <gmock/gmock.h>

#include "web/test/test_page.h"
#include "web/test/unpacked.h"

namespace web {
namespace {

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class HttpTest : public testing::Test {
 protected:
  HttpTest() { fPage.serve(); }
  std::string host() const { return "127.0.0.1:" + std::to_string(fPage.port()); }
  /// The answer to a request line and more headers; the connection ends with it.
  std::string ask(const std::string& line, const std::string& headers = "") {
    return exchangeRaw(fPage.port(), line + " HTTP/1.1\r\nHost: " + host() +
                                         "\r\nConnection: close\r\n" + headers + "\r\n");
  }
  static std::string statusOf(const std::string& answer) { return answer.substr(0, 12); }

  TestPage fPage;
};

TEST_F(HttpTest, AFileComesWithEveryHeaderThatKeepsItSafe) {
  EXPECT_THAT(
      ask("GET /"),
      AllOf(StartsWith("HTTP/1.1 200"),
            HasSubstr("Content-Security-Policy: default-src 'none'; script-src 'self'; style-src "
                      "'self'; img-src 'self' data:; connect-src 'self'; base-uri 'none'; "
                      "form-action 'none'; frame-ancestors 'none'\r\n"),
            HasSubstr("X-Content-Type-Options: nosniff\r\n"),
            HasSubstr("Referrer-Policy: no-referrer\r\n"),
            HasSubstr("Cross-Origin-Resource-Policy: same-origin\r\n"),
            HasSubstr("Cache-Control: no-cache\r\n"),
            HasSubstr("Content-Type: text/html; charset=utf-8\r\n"),
            EndsWith("\r\n\r\n<!doctype html><title>Robot</title>")));
  EXPECT_THAT(ask("GET /robot.js?v=1"), EndsWith("\r\n\r\nexport const robot = 1;"));
}

TEST_F(HttpTest, EveryAnswerKeepsTheHeadersThatMakeItSafe) {
  for (const char* line : {"GET /nothing", "POST /", "GET /socket", "HEAD /"}) {
    EXPECT_THAT(ask(line), AllOf(HasSubstr("Content-Security-Policy: default-src 'none'"),
                                 HasSubstr("nosniff")))
        << line;
  }
}

TEST_F(HttpTest, HeadTellsTheLengthAndSendsNothing) {
  EXPECT_THAT(
      ask("HEAD /robot.js"),
      AllOf(StartsWith("HTTP/1.1 200"), HasSubstr("Content-Length: 23\r\n"), EndsWith("\r\n\r\n")));
}

TEST_F(HttpTest, AFileThatTheBrowserHasIsNotSentAgain) {
  const std::string first = ask("GET /robot.js");
  const auto at = first.find("ETag: ");
  ASSERT_NE(at, std::string::npos);
  const std::string tag = first.substr(at + 6, first.find("\r\n", at) - at - 6);
  const std::string again = ask("GET /robot.js", "If-None-Match: " + tag + "\r\n");
  EXPECT_EQ(statusOf(again), "HTTP/1.1 304");
  EXPECT_THAT(again, AllOf(HasSubstr(tag), EndsWith("\r\n\r\n")));
  EXPECT_EQ(statusOf(ask("GET /robot.js", "If-None-Match: \"other\"\r\n")), "HTTP/1.1 200");
}

TEST_F(HttpTest, AFileComesPackedToWhoAcceptsIt) {
  const std::string content(2000, 'x');
  fPage.folder.write("large.js", content);
  fPage.serve();
  const auto bodyOf = [](const std::string& answer) {
    return answer.substr(answer.find("\r\n\r\n") + 4);
  };
  const std::string plain = ask("GET /large.js");
  EXPECT_THAT(plain, AllOf(HasSubstr("Vary: Accept-Encoding\r\n"), Not(HasSubstr("Content-Enc"))));
  EXPECT_EQ(bodyOf(plain), content);
  const std::string packed = ask("GET /large.js", "Accept-Encoding: br, gzip;q=0.5\r\n");
  EXPECT_THAT(packed,
              AllOf(HasSubstr("Vary: Accept-Encoding\r\n"), HasSubstr("Content-Encoding: gzip\r\n"),
                    HasSubstr("Content-Type: text/javascript; charset=utf-8\r\n")));
  EXPECT_EQ(unpacked(bodyOf(packed)), content);
  EXPECT_THAT(packed, HasSubstr("Content-Length: " + std::to_string(bodyOf(packed).size()) + "\r"));
  EXPECT_EQ(bodyOf(ask("HEAD /large.js", "Accept-Encoding: gzip\r\n")), "");
  EXPECT_EQ(bodyOf(ask("GET /large.js", "Accept-Encoding: gzip;q=0, *\r\n")), content);
  EXPECT_THAT(ask("GET /large.js", "Accept-Encoding: br\r\nAccept-Encoding: gzip\r\n"),
              HasSubstr("Content-Encoding: gzip"))
      << "a header may come in two lines";
}

TEST_F(HttpTest, AFileThatTheBrowserHasPackedIsNotSentAgainPacked) {
  fPage.folder.write("large.js", std::string(2000, 'x'));
  fPage.serve();
  const std::string accept = "Accept-Encoding: gzip\r\n";
  const std::string first = ask("GET /large.js", accept);
  const auto at = first.find("ETag: ");
  ASSERT_NE(at, std::string::npos);
  const std::string known =
      "If-None-Match: " + first.substr(at + 6, first.find("\r\n", at) - at - 6) + "\r\n";
  const std::string again = ask("GET /large.js", accept + known);
  EXPECT_EQ(statusOf(again), "HTTP/1.1 304");
  EXPECT_THAT(again, AllOf(HasSubstr("Vary: Accept-Encoding"), Not(HasSubstr("Content-Encoding"))));
  EXPECT_EQ(statusOf(ask("GET /large.js", known)), "HTTP/1.1 200") << "the other form has its own";
}

TEST_F(HttpTest, NoPathLeavesTheListOfFiles) {
  fPage.folder.write("secret.txt", "secret");
  for (const char* path : {"/..",
                           "/../etc/passwd",
                           "/%2e%2e/etc/passwd",
                           "/..%2f..%2fetc/passwd",
                           "//etc/passwd",
                           "/etc/passwd",
                           "/.",
                           "/./robot.js",
                           "/robot.js/",
                           "/robot.js/..",
                           "/robot.js%00",
                           "/secret.txt",
                           "/ROBOT.JS",
                           "http://127.0.0.1/robot.js",
                           "robot.js",
                           "*",
                           "/\\..\\robot.js",
                           "/index.html/x",
                           "/robot.js#x",
                           "/%72obot.js"}) {
    EXPECT_THAT(statusOf(ask(std::string("GET ") + path)),
                testing::AnyOf("HTTP/1.1 404", "HTTP/1.1 400"))
        << path;
  }
}

TEST_F(HttpTest, OnlyGetAndHeadAreAnswered) {
  for (const char* method : {"POST", "PUT", "DELETE", "OPTIONS", "PATCH", "TRACE", "BREW"}) {
    EXPECT_THAT(ask(std::string(method) + " /"),
                AllOf(StartsWith("HTTP/1.1 405"), HasSubstr("Allow: GET, HEAD")))
        << method;
  }
}

TEST_F(HttpTest, AnotherHostIsMisdirectedWhateverItAsksFor) {
  for (const char* path : {"/", "/socket", "/nothing"}) {
    const std::string answer = exchangeRaw(
        fPage.port(), std::string("GET ") + path + " HTTP/1.1\r\nHost: evil.example:" +
                          std::to_string(fPage.port()) + "\r\nConnection: close\r\n\r\n");
    EXPECT_EQ(statusOf(answer), "HTTP/1.1 421") << path;
    EXPECT_THAT(answer, Not(HasSubstr("Robot</title>")));
  }
}

TEST_F(HttpTest, ARequestNamesOneHost) {
  EXPECT_EQ(statusOf(exchangeRaw(fPage.port(), "GET / HTTP/1.1\r\nConnection: close\r\n\r\n")),
            "HTTP/1.1 400");
  EXPECT_EQ(statusOf(ask("GET /", "Host: " + host() + "\r\n")), "HTTP/1.1 400");
  EXPECT_EQ(statusOf(exchangeRaw(fPage.port(), "GET / HTTP/1.0\r\n\r\n")), "HTTP/1.0 400");
}

TEST_F(HttpTest, AnotherOriginIsForbidden) {
  for (const char* origin : {"http://evil.example", "null", "", "https://127.0.0.1:1"}) {
    EXPECT_EQ(statusOf(ask("GET /", std::string("Origin: ") + origin + "\r\n")), "HTTP/1.1 403")
        << origin;
  }
  EXPECT_EQ(statusOf(ask("GET /", "Origin: http://" + host() + "\r\n")), "HTTP/1.1 200");
  EXPECT_EQ(statusOf(ask("GET /", "Origin: http://" + host() + "\r\nOrigin: http://x\r\n")),
            "HTTP/1.1 400");
}

TEST_F(HttpTest, TheWebSocketLooksAtHostAndOriginToo) {
  const auto statusWith = [&](const PageClient::Manner& manner) -> std::string {
    try {
      PageClient client(fPage.port(), manner);
      client.hello();
      return "in";
    } catch (const PageClient::NotAccepted& status) {
      return status.what();
    }
  };
  PageClient::Manner manner;
  EXPECT_EQ(statusWith(manner), "in");
  manner.origin = "http://" + host();
  EXPECT_EQ(statusWith(manner), "in");
  manner.origin = "http://evil.example";
  EXPECT_EQ(statusWith(manner), "403");
  manner = {};
  manner.host = "evil.example:" + std::to_string(fPage.port());
  EXPECT_EQ(statusWith(manner), "421");
  manner.host = "localhost:" + std::to_string(fPage.port());
  EXPECT_EQ(statusWith(manner), "in");
  manner = {};
  manner.path = "/";
  EXPECT_EQ(statusWith(manner), "200") << "a WebSocket is at one path alone";
  manner.path = "/socket/";
  EXPECT_EQ(statusWith(manner), "404");
}

TEST_F(HttpTest, TheSocketsPathWantsAWebSocket) {
  EXPECT_THAT(ask("GET /socket"),
              AllOf(StartsWith("HTTP/1.1 426"), HasSubstr("Upgrade: websocket")));
}

TEST_F(HttpTest, OneConnectionMayAskSeveralTimes) {
  const std::string request = "GET /robot.js HTTP/1.1\r\nHost: " + host() + "\r\n";
  const std::string answers =
      exchangeRaw(fPage.port(), request + "\r\n" + request + "Connection: close\r\n\r\n");
  EXPECT_EQ(answers.find("HTTP/1.1 200"), 0u);
  EXPECT_NE(answers.find("HTTP/1.1 200", 12), std::string::npos);
}

TEST_F(HttpTest, WhatIsNoRequestIsToldSo) {
  EXPECT_EQ(statusOf(exchangeRaw(fPage.port(), "nonsense\r\n\r\n")), "HTTP/1.1 400");
  EXPECT_EQ(statusOf(exchangeRaw(fPage.port(), "GET /\x01 HTTP/1.1\r\n\r\n")), "HTTP/1.1 400");
  EXPECT_EQ(statusOf(ask("GET /" + std::string(9000, 'a'))), "HTTP/1.1 431");
  EXPECT_EQ(statusOf(ask("GET /", "X: " + std::string(9000, 'a') + "\r\n")), "HTTP/1.1 431");
  EXPECT_EQ(statusOf(ask("POST /", "Content-Length: 5\r\n\r\nhello")), "HTTP/1.1 413");
  EXPECT_EQ(statusOf(ask("GET /", "Content-Length: 99999999999\r\n")), "HTTP/1.1 413");
  EXPECT_EQ(statusOf(ask("GET /")), "HTTP/1.1 200") << "and goes on";
}

TEST_F(HttpTest, AWebSocketThatIsHalfAskedForIsNone) {
  const std::string upgrade = "Upgrade: websocket\r\nConnection: Upgrade\r\n";
  const std::string answer = exchangeRaw(
      fPage.port(), "GET /socket HTTP/1.1\r\nHost: " + host() + "\r\n" + upgrade + "\r\n");
  EXPECT_THAT(statusOf(answer), testing::AnyOf("HTTP/1.1 400", "HTTP/1.1 426"));
}

TEST(Http, AConnectionThatAsksNothingIsClosed) {
  TestPage page;
  page.patience.request = std::chrono::milliseconds(50);
  page.serve();
  EXPECT_EQ(exchangeRaw(page.port(), ""), "");
  EXPECT_EQ(exchangeRaw(page.port(), "GET / HTTP/1.1\r\nHost:"), "")
      << "nor one that stops halfway";
  EXPECT_TRUE(comesTrue([&] { return page.server->connections() == 0; }));
}

TEST(Http, MoreConnectionsThanTheLimitAreTurnedAwayByName) {
  TestPage page;
  page.options.connections = 3;
  page.serve();
  std::vector<PageClient> clients;
  for (int i = 0; i < 3; ++i) clients.push_back(page.connect());
  const std::string answer = exchangeRaw(
      page.port(), "GET / HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(page.port()) + "\r\n\r\n");
  EXPECT_THAT(answer, AllOf(StartsWith("HTTP/1.1 503"),
                            HasSubstr("More connections to the page than the limit of 3\n")));
  try {
    const PageClient late(page.port());
    FAIL() << "let in";
  } catch (const PageClient::NotAccepted& status) {
    EXPECT_STREQ(status.what(), "503");
  }
  EXPECT_EQ(clients.front().call("Test", "add", {1, 2})["value"], 3) << "those inside go on";
  clients.clear();
  EXPECT_TRUE(comesTrue([&] { return page.server->connections() == 0; }));
  EXPECT_NO_THROW(page.connect());
}

TEST(Http, WithoutItsFilesThePageSaysSo) {
  TestPage page;
  page.options.folder = "/nowhere/page";
  page.serve();
  EXPECT_THAT(exchangeRaw(page.port(), "GET / HTTP/1.1\r\nConnection: close\r\nHost: localhost:" +
                                           std::to_string(page.port()) + "\r\n\r\n"),
              AllOf(StartsWith("HTTP/1.1 404"), HasSubstr("files of the page were not found")));
}

}  // namespace
}  // namespace web
