#include "tools/ledctl/config.h"

#include <gmock/gmock.h>

#include "tools/ledctl/usage_error.h"

namespace ledctl {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

std::string complaintAbout(const std::string& text) {
  try {
    parseConfig("/etc/c", text);
  } catch (const UsageError& error) {
    return error.what();
  }
  return "no complaint";
}

TEST(ParseConfig, ReadsKeysAndPassesOverCommentsAndEmptyLines) {
  const auto config = parseConfig("/etc/c",
                                  "# the lab's\n\naddress = robot:5480\r\n  tls-name=lab \n"
                                  "token-file = tokens/mine\ntls-ca = /ca.pem");
  EXPECT_EQ(config, (Config{"robot:5480", "/ca.pem", "lab", "/etc/tokens/mine", true}));
}

TEST(ParseConfig, TakesAnEmptyFile) { EXPECT_EQ(parseConfig("/etc/c", ""), Config()); }

TEST(ParseConfig, EncryptsWhenToldTo) {
  EXPECT_TRUE(parseConfig("/etc/c", "tls = yes").tls);
  EXPECT_FALSE(parseConfig("/etc/c", "tls = no").tls);
}

TEST(ParseConfig, NamesFileAndLineOfWhatIsWrong) {
  EXPECT_EQ(complaintAbout("\nadress = x"),
            "/etc/c:2: unknown key 'adress'. Did you mean 'address'?");
  EXPECT_EQ(complaintAbout("address"), "/etc/c:1: expected KEY = VALUE");
  EXPECT_EQ(complaintAbout("address ="), "/etc/c:1: 'address' has no value");
  EXPECT_THAT(complaintAbout("tls = maybe"), HasSubstr("'maybe'"));
  EXPECT_THAT(complaintAbout("colour = red"), HasSubstr("There are address, tls, tls-ca"));
}

TEST(ConfigPath, IsBelowTheUsersFolderForSuchFiles) {
  const auto path = [](const char* xdg, const char* home) {
    return configPath([=](const char* name) -> const char* {
      return std::string_view(name) == "HOME" ? home : xdg;
    });
  };
  EXPECT_EQ(path("/x", "/h"), "/x/ledctl/config");
  EXPECT_EQ(path(nullptr, "/h"), "/h/.config/ledctl/config");
  EXPECT_EQ(path("", "/h"), "/h/.config/ledctl/config");
  EXPECT_EQ(path(nullptr, nullptr), "");
}

TEST(ReadConfig, IsEmptyWithoutAFile) {
  EXPECT_EQ(readConfig(""), Config());
  EXPECT_EQ(readConfig("/nowhere/config"), Config());
}

TEST(ReadConfig, RefusesAFolder) {
  try {
    readConfig("/");
    FAIL() << "taken";
  } catch (const UsageError& error) {
    EXPECT_THAT(error.what(), StartsWith("/: "));
  }
}

const Config kLab{"robot:5480", "/ca.pem", "lab", "/token", true};

TEST(UseConfig, FillsInWhatNothingElseHasSaid) {
  Options options;
  useConfig(kLab, options);
  EXPECT_EQ(options.robot, "robot:5480");
  EXPECT_EQ(options.robotSource, "the configuration");
  EXPECT_TRUE(options.tls);
  EXPECT_EQ(options.tlsCa, "/ca.pem");
  EXPECT_EQ(options.tlsName, "lab");
  EXPECT_EQ(options.lastTokenFile, "/token");
}

TEST(UseConfig, GivesNothingOfItsRobotToAnother) {
  Options options;
  options.robot = "other:1";
  useConfig(kLab, options);
  EXPECT_EQ(options.robot, "other:1");
  EXPECT_FALSE(options.tls);
  EXPECT_EQ(options.lastTokenFile, "");
}

TEST(UseConfig, LeavesEncryptionToTheOptionsThatSpeakOfIt) {
  Options options;
  options.tls = true;
  options.tlsCa = "/mine.pem";
  useConfig(kLab, options);
  EXPECT_EQ(options.tlsCa, "/mine.pem");
  EXPECT_EQ(options.tlsName, "");
}

}  // namespace
}  // namespace ledctl
