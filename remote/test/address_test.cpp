#include "remote/client/address.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

#include "remote/test/raw_socket.h"
#include "remote/test/test_robot.h"

namespace remote {
namespace {

TEST(Address, BothFormsAreReadAndWritten) {
  const Address tcp = parseAddress("127.0.0.1:5480");
  EXPECT_EQ(tcp.host, "127.0.0.1");
  EXPECT_EQ(tcp.port, 5480);
  const Address unixAddress = parseAddress("unix:/run/a:b.sock");
  EXPECT_EQ(unixAddress.kind, Address::Kind::kUnix);
  EXPECT_EQ(unixAddress.path, "/run/a:b.sock");
  EXPECT_EQ(parseAddress("[::1]:80").host, "::1");
  for (const std::string text : {"127.0.0.1:5480", "[::1]:80", "localhost:0", "unix:/a/b"}) {
    EXPECT_EQ(parseAddress(text).text(), text);
  }
}

TEST(Address, MalformedTextsAreRefusedWithWhatIsAllowed) {
  for (const std::string text : {"", "5480", "127.0.0.1", ":5480", "a:", "a:65536", "a:-1", "a:1x",
                                 "::1:80", "unix:", "a b:1", "http://a:1"}) {
    try {
      parseAddress(text);
      ADD_FAILURE() << text;
    } catch (const std::invalid_argument& error) {
      EXPECT_NE(std::string(error.what()).find("allowed are HOST:PORT"), std::string::npos);
    }
  }
  EXPECT_NO_THROW(parseAddress("unix:/" + std::string(106, 'x')));
  EXPECT_THROW(parseAddress("unix:/" + std::string(107, 'x')), std::invalid_argument);
}

TEST(Address, OnlyLoopbackAndUnixSocketsAreLocal) {
  for (const std::string text :
       {"127.0.0.1:1", "127.8.9.1:1", "[::1]:1", "localhost:1", "unix:a"}) {
    EXPECT_TRUE(parseAddress(text).isLocal()) << text;
  }
  for (const std::string text : {"0.0.0.0:1", "[::]:1", "10.0.0.1:1", "127.evil.example:1",
                                 "127.0.0:1", "127.0.0.1.2:1", "localhost.example:1", "robot:1"}) {
    EXPECT_FALSE(parseAddress(text).isLocal()) << text;
  }
}

/// Puts XDG_RUNTIME_DIR back.
class RuntimeDirectory : public testing::Test {
 protected:
  RuntimeDirectory() {
    if (const char* const value = std::getenv("XDG_RUNTIME_DIR")) fBefore = value;
    ::setenv("XDG_RUNTIME_DIR", fDirectory.file("").c_str(), 1);
  }
  ~RuntimeDirectory() override {
    if (fBefore) {
      ::setenv("XDG_RUNTIME_DIR", fBefore->c_str(), 1);
    } else {
      ::unsetenv("XDG_RUNTIME_DIR");
    }
  }
  door::TemporaryFolder fDirectory;
  std::optional<std::string> fBefore;
};

TEST_F(RuntimeDirectory, TheDefaultSocketIsThereOrInTheUsersOwnPlace) {
  EXPECT_TRUE(defaultUnixPath().starts_with(fDirectory.file("")));
  ::setenv("XDG_RUNTIME_DIR", "/nowhere", 1);
  EXPECT_EQ(defaultUnixPath(), "/tmp/tavro-" + std::to_string(::getuid()) + "/robot.sock");
}

TEST_F(RuntimeDirectory, AClientTakesTheSocketWhenSomebodyListensThereElseThePort) {
  EXPECT_EQ(defaultAddress().text(), kDefaultTcpAddress);
  const std::string path = defaultUnixPath();
  std::filesystem::create_directories(std::filesystem::path(path).parent_path());
  {
    const RawSocket listener = RawSocket::listenUnix(path);
    EXPECT_EQ(defaultAddress().text(), "unix:" + path);
  }
  EXPECT_EQ(defaultAddress().text(), kDefaultTcpAddress) << "a stale socket is no robot";
}

}  // namespace
}  // namespace remote
