#include "web/server/hosts.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <array>

namespace web {
namespace {

std::string ownName() {
  std::array<char, 256> name{};
  ::gethostname(name.data(), name.size() - 1);
  return name.data();
}

TEST(Hosts, AreNumbersLocalhostThisMachineAndWhatWasGiven) {
  const Hosts hosts("robot.example", 5481, false);
  for (const std::string& host :
       {std::string("127.0.0.1"), std::string("192.0.2.7"), std::string("[::1]"),
        std::string("localhost"), std::string("LocalHost"), std::string("robot.example"), ownName(),
        ownName() + ".local"}) {
    EXPECT_TRUE(hosts.isOurs(host + ":5481")) << host;
  }
}

TEST(Hosts, OfSomebodyElseAreNot) {
  const Hosts hosts("127.0.0.1", 5481, false);
  for (const char* host :
       {"evil.example:5481", "localhost.evil.example:5481", "127.0.0.1.evil.example:5481",
        "127.0.0.1", "127.0.0.1:80", "127.0.0.1:54811", "127.0.0.1:", ":5481", "",
        "localhost:05481", "localhost:5481:5481", "evil.example:80@127.0.0.1:5481", "[::1:5481",
        "::1:5481", "[evil.example]:5481", " 127.0.0.1:5481", "2130706433:5481", "0x7f.1:5481"}) {
    EXPECT_FALSE(hosts.isOurs(host)) << host;
  }
}

TEST(Hosts, NeedNoPortWhereBrowsersLeaveItOut) {
  EXPECT_TRUE(Hosts("127.0.0.1", 80, false).isOurs("127.0.0.1"));
  EXPECT_TRUE(Hosts("127.0.0.1", 443, true).isOurs("[::1]"));
  EXPECT_FALSE(Hosts("127.0.0.1", 443, false).isOurs("127.0.0.1"));
}

TEST(Hosts, OwnOriginIsSchemeAndHostExactly) {
  const Hosts plain("127.0.0.1", 5481, false);
  EXPECT_TRUE(plain.isOwnOrigin("http://127.0.0.1:5481", "127.0.0.1:5481"));
  EXPECT_TRUE(plain.isOwnOrigin("http://localhost:5481", "LOCALHOST:5481"));
  for (const char* origin : {"null", "", "https://127.0.0.1:5481", "http://127.0.0.1",
                             "http://127.0.0.1:5481/", "http://localhost:5481",
                             "http://evil.example", "http://127.0.0.1:5480", "127.0.0.1:5481"}) {
    EXPECT_FALSE(plain.isOwnOrigin(origin, "127.0.0.1:5481")) << origin;
  }
  EXPECT_TRUE(
      Hosts("127.0.0.1", 5481, true).isOwnOrigin("https://127.0.0.1:5481", "127.0.0.1:5481"));
}

}  // namespace
}  // namespace web
