// Who may come in: every address, with and without TLS and tokens, for every kind of page.
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <array>
#include <cstdlib>

#include "access/test/certificate.h"
#include "access/test/protections.h"
#include "web/test/test_page.h"

namespace web {
namespace {

using door::kViewerToken;
using door::kWrongToken;
using door::Protection;
using testing::HasSubstr;

const door::Certificate& certificate() {
  static const door::Certificate made;
  return made;
}

class PageDoor : public testing::Test {
 protected:
  PageDoor() {
    fFiles.write("tokens", door::textOfTokens());
    ::chmod(fFiles.file("tokens").c_str(), 0600);
  }
  void listen(const std::string& host, bool isLocal, const Protection& protection) {
    auto& options = fPage.options;
    options.host = options.name = host;
    options.isLocal = isLocal;
    options.tlsCertificate = protection.hasTls ? certificate().file() : "";
    options.tlsKey = protection.hasTls ? certificate().key() : "";
    options.tokens = protection.hasTokens ? fFiles.file("tokens") : "";
    options.isInsecureAllowed = protection.isInsecure;
    fPage.serve();
  }
  PageClient connectAt(const std::string& address, bool hasTls) const {
    PageClient::Manner manner;
    manner.address = address;
    manner.hasTls = hasTls;
    return PageClient(fPage.port(), manner);
  }
  /// What a page with that token may do there: "nothing", "viewer" or "operator".
  std::string roleAt(const std::string& address, bool hasTls, const std::string& token) const {
    auto client = connectAt(address, hasTls);
    const Json reply = client.hello("tester", token);
    if (reply.contains("error")) {
      EXPECT_EQ(reply["error"]["kind"], "token");
      return "nothing";
    }
    const Json called = client.call("Test", "nothing");
    EXPECT_EQ(called.contains("value"), reply["role"] == "operator") << called;
    EXPECT_EQ(client.call("Test", "look")["value"], 7) << "everybody may call readings";
    EXPECT_TRUE(client.ask({{"op", "state"}}).contains("running"));
    return reply["role"];
  }

  void expectTheTableToHold(const std::vector<door::Road>& roads) {
    door::expectTheTableToHold(roads, [&](const door::Road& road, const Protection& protection) {
      listen(road.listens, road.isLocal, protection);
      return [&, hasTls = protection.hasTls](const std::string& token) {
        return roleAt(road.reached, hasTls, token);
      };
    });
  }

  TestPage fPage;
  door::TemporaryFolder fFiles;
};

TEST_F(PageDoor, OnThisMachineNobodyNeedsAnything) {
  expectTheTableToHold({{"127.0.0.1", "127.0.0.1"}, {"127.0.0.2", "127.0.0.2"}});
}

TEST_F(PageDoor, OtherMachinesNeedTlsAndATokenUnlessSomebodySaysOtherwise) {
  expectTheTableToHold(door::roadsFromOutside());
}

TEST_F(PageDoor, ThreeTriesAreGivenAndNoMore) {
  listen("127.0.0.1", true, {false, true, false});
  auto client = connectAt("127.0.0.1", false);
  EXPECT_EQ(client.hello("x", kWrongToken)["error"],
            (Json{{"kind", "token"}, {"text", "This robot does not know that token"}}));
  EXPECT_EQ(client.hello("x", kWrongToken)["error"]["kind"], "token");
  EXPECT_EQ(client.hello("x", kWrongToken)["error"]["kind"], "token");
  EXPECT_STREQ(client.awaitEnd().what(), "This robot does not know that token");
  auto second = connectAt("127.0.0.1", false);
  EXPECT_EQ(second.hello("x", kWrongToken)["error"]["kind"], "token");
  EXPECT_EQ(second.hello("x", kViewerToken)["role"], "viewer");
}

TEST_F(PageDoor, AMissingTokenIsAskedForByName) {
  listen("0.0.0.0", false, {true, true, false});
  EXPECT_EQ(connectAt("127.0.0.1", true).hello()["error"]["text"],
            "This robot wants a token, and none was sent");
}

TEST_F(PageDoor, AViewerIsToldWhatItLacksAndIsKnownByTheTokensName) {
  listen("127.0.0.1", true, {false, true, false});
  fPage.memory.insert("a", 0.5f);
  auto viewer = connectAt("127.0.0.1", false);
  viewer.hello("page", kViewerToken);
  EXPECT_EQ(viewer.call("Test", "nothing")["error"],
            (Json{{"kind", "refused"},
                  {"text", "Calling methods needs the role operator; yours is viewer"}}));
  EXPECT_EQ(viewer.ask({{"op", "stopCall"}, {"call", 1}})["error"]["text"],
            "Stopping a call needs the role operator; yours is viewer");
  EXPECT_EQ(viewer.ask({{"op", "read"}, {"key", "a"}})["value"], 0.5);
  EXPECT_TRUE(viewer.ask({{"op", "watch"}, {"pattern", ""}}).contains("id"));
  EXPECT_EQ(viewer.event("frame")["value"], (Json{0.5}));
  EXPECT_EQ(viewer.ask({{"op", "services"}})["services"], (Json{"HBMemory", "Test"}));
  EXPECT_TRUE(viewer.ask({{"op", "describe"}, {"service", "Test"}}).contains("service"));
}

TEST_F(PageDoor, WithoutTlsWhereItIsSpokenThereIsNoPage) {
  listen("127.0.0.1", true, {true, false, false});
  EXPECT_EQ(fPage.server->url(), "https://127.0.0.1:" + std::to_string(fPage.port()));
  EXPECT_THROW(connectAt("127.0.0.1", false), PageClient::NotAccepted);
  EXPECT_THAT(exchangeRaw(fPage.port(), "GET / HTTP/1.1\r\nHost: 127.0.0.1:" +
                                            std::to_string(fPage.port()) + "\r\n\r\n"),
              testing::Not(HasSubstr("Robot</title>")));
}

TEST_F(PageDoor, SpeaksTls12AndLaterOnly) {
  listen("127.0.0.1", true, {true, false, false});
  const auto handshake = [&](const std::string& version) {
    const std::string log = fFiles.file("handshake.log");
    const std::string command =
        "openssl s_client -connect 127.0.0.1:" + std::to_string(fPage.port()) + " -" + version +
        " -cipher ALL:@SECLEVEL=0 </dev/null >" + log + " 2>&1";
    (void)!std::system(command.c_str());
    std::ostringstream text;
    text << std::ifstream(log).rdbuf();
    return text.str();
  };
  EXPECT_THAT(handshake("tls1_1"),
              testing::AllOf(HasSubstr("CONNECTED"), HasSubstr("New, (NONE)")));
  EXPECT_THAT(handshake("tls1_2"), HasSubstr("New, TLSv1.2"));
  EXPECT_THAT(handshake("tls1_3"), HasSubstr("New, TLSv1.3"));
}

TEST_F(PageDoor, OriginsAreCheckedWithTheSchemeInUse) {
  listen("127.0.0.1", true, {true, false, false});
  PageClient::Manner manner;
  manner.hasTls = true;
  manner.origin = "https://127.0.0.1:" + std::to_string(fPage.port());
  EXPECT_NO_THROW(PageClient(fPage.port(), manner));
  manner.origin = "http://127.0.0.1:" + std::to_string(fPage.port());
  EXPECT_THROW(PageClient(fPage.port(), manner), PageClient::NotAccepted);
}

TEST_F(PageDoor, FilesThatCannotProtectItAreNamed) {
  const auto faultOf = [&](const std::string& cert, const std::string& key,
                           const std::string& tokens) -> std::string {
    fPage.options.tlsCertificate = cert;
    fPage.options.tlsKey = key;
    fPage.options.tokens = tokens;
    try {
      fPage.serve();
    } catch (const std::exception& error) {
      return error.what();
    }
    return "none";
  };
  const std::string cert = certificate().file();
  const std::string key = certificate().key();
  EXPECT_THAT(faultOf(cert, "", ""), HasSubstr("--tls-cert, --tls-key"));
  EXPECT_THAT(faultOf("", key, ""), HasSubstr("--tls-cert, --tls-key"));
  EXPECT_EQ(faultOf("/nowhere/c", key, ""), "The TLS certificate /nowhere/c cannot be read");
  EXPECT_EQ(faultOf(cert, "/nowhere/k", ""), "The TLS key /nowhere/k cannot be read");
  EXPECT_THAT(faultOf(key, key, ""), HasSubstr("is no PEM file: there is no"));
  const door::Certificate other;
  EXPECT_EQ(faultOf(cert, other.key(), ""), "TLS cannot be used: " + cert +
                                                " is not the certificate of the key " +
                                                other.key() + ", or one of them is damaged");
  fFiles.write("damaged", "-----BEGIN CERTIFICATE-----\nAAAA\n-----END CERTIFICATE-----\n");
  EXPECT_THAT(faultOf(fFiles.file("damaged"), key, ""), HasSubstr("or one of them is damaged"));
  EXPECT_EQ(faultOf("", "", "/nowhere/t"), "/nowhere/t: No such file or directory");
  EXPECT_EQ(faultOf(cert, key, ""), "none");
}

TEST_F(PageDoor, AnAddressThatCannotBeUsedIsNamedWithItsOption) {
  listen("127.0.0.1", true, {});
  const std::string taken = std::to_string(fPage.port());
  TestPage other;
  other.options.port = fPage.port();
  try {
    other.serve();
    FAIL() << "two at one port";
  } catch (const std::runtime_error& error) {
    EXPECT_EQ(std::string(error.what()),
              "Cannot serve the page at 127.0.0.1:" + taken +
                  ": Address already in use (--page names another address, or 'none')");
  }
  other.options.port = 0;
  other.options.host = "192.0.2.1";
  EXPECT_THROW(other.serve(), std::runtime_error);
  other.options.host = "0.0.0.0";
  other.options.isLocal = false;
  try {
    other.serve();
    FAIL() << "unprotected";
  } catch (const std::invalid_argument& error) {
    EXPECT_THAT(error.what(), HasSubstr("Cannot serve the page at 0.0.0.0:0 (--page): other "
                                        "machines reach this address"));
  }
}

}  // namespace
}  // namespace web
