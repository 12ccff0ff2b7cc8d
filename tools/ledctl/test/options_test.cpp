#include "tools/ledctl/options.h"

#include <gmock/gmock.h>

#include "tools/ledctl/usage_error.h"

namespace ledctl {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

Options read(const std::vector<std::string>& arguments) { return readOptions(arguments, ""); }

std::string complaintAbout(const std::vector<std::string>& arguments) {
  try {
    read(arguments);
  } catch (const UsageError& error) {
    return error.what();
  }
  return "no complaint";
}

TEST(ReadOptions, TakesOptionsBeforeAndAfterTheCommand) {
  const auto options =
      read({"--json", "fade", "FaceLeds", "--wait", "1", "--robot", "127.0.0.1:1", "2"});
  EXPECT_TRUE(options.json);
  EXPECT_TRUE(options.wait);
  EXPECT_EQ(options.robot, "127.0.0.1:1");
  EXPECT_THAT(options.words, ElementsAre("fade", "FaceLeds", "1", "2"));
}

TEST(ReadOptions, CallsTheLedsUnlessAnotherServiceIsNamed) {
  EXPECT_EQ(read({"on"}).service, "HBLeds");
  EXPECT_FALSE(read({"on"}).isServiceNamed);
  EXPECT_EQ(read({"--service", "HBMemory", "getData"}).service, "HBMemory");
  EXPECT_TRUE(read({"--service=HBMemory", "getData"}).isServiceNamed);
}

TEST(ReadOptions, EncryptsWhenAnythingOfTlsIsNamed) {
  EXPECT_FALSE(read({"on"}).tls);
  EXPECT_TRUE(read({"--tls", "on"}).tls);
  const auto options = read({"--tls-ca", "ca.pem", "--token-file", "t", "on"});
  EXPECT_TRUE(options.tls);
  EXPECT_EQ(options.tlsCa, "ca.pem");
  EXPECT_EQ(options.tokenFile, "t");
  EXPECT_EQ(read({"on", "--tls-name", "robot"}).tlsName, "robot");
  EXPECT_THAT(options.words, ElementsAre("on"));
}

TEST(ReadOptions, KeepsNegativeNumbersAsWords) {
  EXPECT_THAT(read({"setIntensity", "FaceLeds", "-0.5"}).words,
              ElementsAre("setIntensity", "FaceLeds", "-0.5"));
  EXPECT_THAT(read({"setIntensity", "FaceLeds", "--", "-inf"}).words,
              ElementsAre("setIntensity", "FaceLeds", "-inf"));
  EXPECT_THAT(read({"f", "-inf", "-1e3", "-0xff"}).words,
              ElementsAre("f", "-inf", "-1e3", "-0xff"));
}

TEST(ReadOptions, TakesEveryWordAfterTwoDashesAsItIs) {
  EXPECT_THAT(read({"on", "--", "--json", "--", "-x"}).words,
              ElementsAre("on", "--json", "--", "-x"));
}

TEST(ReadOptions, KeepsEmptyWordsAndLists) {
  EXPECT_THAT(read({"createGroup", "", R"(["a","b"])"}).words,
              ElementsAre("createGroup", "", R"(["a","b"])"));
}

TEST(ReadOptions, SuggestsForAnUnknownOption) {
  EXPECT_EQ(complaintAbout({"on", "X", "--jsn"}), "Unknown option '--jsn'. Did you mean '--json'?");
  EXPECT_THAT(complaintAbout({"on", "-X"}), HasSubstr("Put -- before"));
}

TEST(ReadOptions, TakesEitherPlainOrJson) {
  EXPECT_TRUE(read({"--plain", "watch"}).plain);
  EXPECT_NE(complaintAbout({"--plain", "--json", "watch"}), "no complaint");
}

TEST(ReadOptions, RefusesBadValues) {
  EXPECT_NE(complaintAbout({"watch", "--count", "0"}), "no complaint");
  EXPECT_NE(complaintAbout({"watch", "--count", "x"}), "no complaint");
  EXPECT_NE(complaintAbout({"watch", "--for", "-1"}), "no complaint");
  EXPECT_NE(complaintAbout({"watch", "--for", "nan"}), "no complaint");
  EXPECT_NE(complaintAbout({"on", "--robot"}), "no complaint");
}

TEST(ReadOptions, TakesTheFallbackRobotUnlessOneIsNamed) {
  EXPECT_EQ(readOptions({"on"}, "unix:/s").robot, "unix:/s");
  EXPECT_EQ(readOptions({"on"}, "unix:/s").robotSource, "LEDCTL_ROBOT");
  EXPECT_EQ(readOptions({"on", "--robot", "h:1"}, "unix:/s").robot, "h:1");
  EXPECT_EQ(readOptions({"on", "--robot", "h:1"}, "unix:/s").robotSource, "--robot");
  EXPECT_EQ(read({"on"}).robotSource, "");
}

TEST(ReadOptions, ReadsSecondsOfAWatch) {
  EXPECT_EQ(read({"watch", "--for", "1.5"}).duration, std::chrono::milliseconds(1500));
  EXPECT_EQ(read({"watch"}).duration, std::nullopt);
}

TEST(HelpText, LeadsWithExamples) {
  const auto text = helpText();
  EXPECT_LT(text.find("ledctl setIntensity FaceLeds 0.5"), text.find("Usage:"));
}

}  // namespace
}  // namespace ledctl
