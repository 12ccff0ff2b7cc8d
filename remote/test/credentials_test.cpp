// What a client brings along: files of tokens, the environment's token, what it says of messages
// that are too large.
#include "remote/client/credentials.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <cstdlib>
#include <fstream>

#include "remote/test/test_robot.h"

namespace remote {
namespace {

using testing::HasSubstr;
using testing::Not;

class TokenFile : public testing::Test {
 protected:
  std::string tokenOf(const std::string& text, unsigned mode = 0600) {
    const std::string path = fDirectory.file("token");
    std::ofstream(path) << text;
    ::chmod(path.c_str(), mode);
    try {
      return readTokenFile(path);
    } catch (const std::runtime_error& error) {
      return error.what();
    }
  }
  door::TemporaryFolder fDirectory;
};

TEST_F(TokenFile, GivesTheTokenOfItsFirstRealLine) {
  EXPECT_EQ(tokenOf("0123456789abcdef"), "0123456789abcdef");
  EXPECT_EQ(tokenOf("# mine\n\n  0123456789abcdef \r\nmore\n"), "0123456789abcdef");
}

TEST_F(TokenFile, ThatOthersMayReadOrThatHoldsNoTokenIsRefused) {
  EXPECT_THAT(tokenOf("0123456789abcdef", 0640), HasSubstr("mode 0600 is needed"));
  EXPECT_THAT(tokenOf("# nothing\n"), HasSubstr("there is no token in it"));
  const std::string fault = tokenOf("operator 0123456789abcdef\n");
  EXPECT_THAT(fault, HasSubstr("its first line must be the token alone"));
  EXPECT_THAT(fault, Not(HasSubstr("0123456789abcdef")));
  EXPECT_THROW(readTokenFile("/nowhere/token"), std::runtime_error);
}

TEST(TokenOfEnvironment, GoesOnlyWhereNobodyReadsItOnTheWay) {
  ::setenv("TAVRO_TOKEN", "0123456789abcdef", 1);
  EXPECT_EQ(tokenOfEnvironment(parseAddress("127.0.0.1:1"), {}), "0123456789abcdef");
  EXPECT_EQ(tokenOfEnvironment(parseAddress("unix:/a"), {}), "0123456789abcdef");
  EXPECT_EQ(tokenOfEnvironment(parseAddress("192.0.2.1:1"), {}), "");
  EXPECT_EQ(tokenOfEnvironment(parseAddress("192.0.2.1:1"), Tls{}), "0123456789abcdef");
  ::unsetenv("TAVRO_TOKEN");
  EXPECT_EQ(tokenOfEnvironment(parseAddress("127.0.0.1:1"), {}), "");
}

TEST(Client, AMessageThatIsTooLargeIsRefusedWithItsSizeAndTheLimit) {
  const TestRobot robot;
  const auto client = robot.connect();
  const HB::HBValue args[] = {std::string((1 << 20) + 1000, 'x')};
  try {
    client->call("Test", "echo", args);
    FAIL() << "nothing was thrown";
  } catch (const RemoteError& error) {
    EXPECT_EQ(error.fault(), RemoteError::Fault::kRefused);
    EXPECT_THAT(error.what(), testing::MatchesRegex(
                                  "The request has 10495[0-9][0-9] bytes as it travels; the limit "
                                  "is 1048576"));
  }
  EXPECT_EQ(client->services().size(), 2u) << "the connection was harmed";
}

TEST(Client, ATokenThatCannotTravelOrAnUnreadableAuthorityIsTheCallersFault) {
  RobotClient::Options options{"tester", std::chrono::seconds(5)};
  options.token = "two\nlines";
  EXPECT_THROW(RobotClient::connect("127.0.0.1:1", options), std::invalid_argument);
  options.token = "secret";
  EXPECT_THROW(RobotClient::connect("192.0.2.1:1", options), std::invalid_argument);  // in the open
  options.token = "";
  options.tls = Tls{"/nowhere/ca.pem", ""};
  EXPECT_THROW(RobotClient::connect("127.0.0.1:1", options), std::runtime_error);
}

}  // namespace
}  // namespace remote
