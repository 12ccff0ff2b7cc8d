#include "access/tokens.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>

namespace door {
namespace {

using testing::HasSubstr;
using testing::Not;

const std::string kLong = "0123456789abcdef";  // the shortest allowed

std::string faultOf(const std::string& text) {
  try {
    (void)Tokens::read(text, "tokens");
  } catch (const std::runtime_error& error) {
    return error.what();
  }
  return "none";
}

TEST(Tokens, StandForARoleAndPerhapsAName) {
  const auto tokens = Tokens::read(
      "# who may\n\noperator " + kLong + "X\n  viewer\t" + kLong + "Y kitchen-display\r\n",
      "tokens");
  ASSERT_TRUE(tokens.find(kLong + "X"));
  EXPECT_EQ(tokens.find(kLong + "X")->role, Role::kOperator);
  EXPECT_EQ(tokens.find(kLong + "X")->name, "");
  ASSERT_TRUE(tokens.find(kLong + "Y"));
  EXPECT_EQ(tokens.find(kLong + "Y")->role, Role::kViewer);
  EXPECT_EQ(tokens.find(kLong + "Y")->name, "kitchen-display");
}

TEST(Tokens, NothingButTheWholeTokenIsFound) {
  const auto tokens = Tokens::read("operator " + kLong, "tokens");
  for (const std::string& token :
       std::vector<std::string>{"", kLong.substr(1), kLong.substr(0, 15), kLong + "0",
                                "0123456789abcdeF", kLong + std::string(1, '\0')}) {
    EXPECT_FALSE(tokens.find(token)) << token;
  }
  EXPECT_TRUE(tokens.find(kLong));
}

TEST(Tokens, EveryFaultIsNamedWithItsLineAndWithoutTheToken) {
  const std::string text = "operator " + kLong + "\n" + kLong + "Z\nviewer\nviewer short\n" +
                           "viewer " + std::string(257, 'x') + "\nviewer " + kLong + "1 a b\n" +
                           "viewer " + kLong + "\nOperator " + kLong + "2\nviewer \x80" + kLong;
  const std::string fault = faultOf(text);
  EXPECT_EQ(fault,
            "tokens:2: a line begins with 'operator' or 'viewer', then comes the token\n"
            "tokens:3: the token is missing\n"
            "tokens:4: the token has 5 characters; allowed are 16 to 256\n"
            "tokens:5: the token has 257 characters; allowed are 16 to 256\n"
            "tokens:6: there is more after the token and the name\n"
            "tokens:7: the token stands in line 1 already\n"
            "tokens:8: a line begins with 'operator' or 'viewer', then comes the token\n"
            "tokens:9: the token has characters other than printable ASCII");
  EXPECT_THAT(fault, Not(HasSubstr(kLong)));
}

TEST(Tokens, AFileWithoutATokenIsAFault) {
  EXPECT_EQ(faultOf(""), "tokens: there is no token in it");
  EXPECT_EQ(faultOf("# nobody\n"), "tokens: there is no token in it");
}

class TokenFile : public testing::Test {
 protected:
  TokenFile() : fPath(testing::TempDir() + "tokens." + std::to_string(::getpid())) {
    std::ofstream(fPath) << "operator " << kLong << "\n";
    ::chmod(fPath.c_str(), 0600);
  }
  ~TokenFile() override { std::remove(fPath.c_str()); }
  std::string fault(const std::string& path) {
    try {
      (void)Tokens::readFile(path);
    } catch (const std::runtime_error& error) {
      return error.what();
    }
    return "none";
  }
  const std::string fPath;
};

TEST_F(TokenFile, OfThisUserAloneIsRead) {
  EXPECT_TRUE(Tokens::readFile(fPath).find(kLong));
  ::chmod(fPath.c_str(), 0400);
  EXPECT_EQ(fault(fPath), "none") << "a stricter mode will do";
}

TEST_F(TokenFile, ThatOthersMayReadIsRefusedWithItsMode) {
  for (const auto& [mode, text] : {std::pair{0640, "0640"},
                                   {0604, "0604"},
                                   {0620, "0620"},
                                   {0602, "0602"},
                                   {0700, "0700"},
                                   {0666, "0666"}}) {
    ::chmod(fPath.c_str(), static_cast<mode_t>(mode));
    EXPECT_EQ(fault(fPath), fPath + ": its mode is " + text +
                                "; 0600 is needed, so that nobody else reads the tokens");
  }
}

TEST_F(TokenFile, OfAnotherUserIsRefused) {
  if (::geteuid() != 0) {  // only root can give a file away; others have those of root
    EXPECT_EQ(fault("/etc/passwd"), "/etc/passwd: it belongs to user 0, not to you (user " +
                                        std::to_string(::geteuid()) + ")");
    return;
  }
  ASSERT_EQ(::chown(fPath.c_str(), 65534, 65534), 0);
  EXPECT_EQ(fault(fPath), fPath + ": it belongs to user 65534, not to you (user 0)");
}

TEST_F(TokenFile, ThatIsMissingOrNoFileIsRefused) {
  EXPECT_EQ(fault(fPath + ".no"), fPath + ".no: No such file or directory");
  EXPECT_THAT(fault(testing::TempDir()), HasSubstr(": this is no file"));
}

}  // namespace
}  // namespace door
