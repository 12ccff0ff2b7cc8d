#include "tavro/options.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>

namespace tavro {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

const std::string kNowhere = "/nowhere/bin";

TEST(ReadCommandLine, TakesEveryOption) {
  const auto line = readCommandLine(
      {"--model", "m.xml", "--listen", "127.0.0.1:0", "--socket", "s.sock", "--module", "a.so",
       "--module", "b.so", "--module-dir", "/modules", "--log-level", "verbose"},
      kNowhere);
  ASSERT_TRUE(line.options);
  EXPECT_EQ(line.options->model, "m.xml");
  EXPECT_EQ(line.options->listen, "127.0.0.1:0");
  EXPECT_EQ(line.options->socket, "s.sock");
  EXPECT_THAT(line.options->modules, ElementsAre("a.so", "b.so"));
  EXPECT_EQ(line.options->moduleDirectory, "/modules");
  EXPECT_EQ(line.options->logLevel, xo::log::Level::kVerbose);
}

TEST(ReadCommandLine, TakesWhatProtectsAnAddress) {
  const auto line = readCommandLine({"--model", "m.xml", "--listen", "0.0.0.0:5480", "--tls-cert",
                                     "c.pem", "--tls-key", "k.pem", "--tokens", "t"},
                                    kNowhere);
  ASSERT_TRUE(line.options);
  EXPECT_EQ(line.options->listen, "0.0.0.0:5480");
  EXPECT_EQ(line.options->tlsCertificate, "c.pem");
  EXPECT_EQ(line.options->tlsKey, "k.pem");
  EXPECT_EQ(line.options->tokens, "t");
  EXPECT_FALSE(line.options->isInsecureAllowed);
  EXPECT_TRUE(readCommandLine({"--model", "m.xml", "--insecure"}, kNowhere)
                  .options.value()
                  .isInsecureAllowed);
}

TEST(ReadCommandLine, LeavesModulesOutByName) {
  const auto line =
      readCommandLine({"--model", "m.xml", "--without", "motion", "--without", "memory"}, kNowhere);
  EXPECT_THAT(line.options.value().without, ElementsAre("motion", "memory"));
}

TEST(ReadCommandLine, ListsTheModulesWhenOneToLeaveOutIsUnknown) {
  const auto line = readCommandLine({"--model", "m.xml", "--without", "motoin"}, kNowhere);
  EXPECT_FALSE(line.options);
  EXPECT_EQ(line.status, 2);
  EXPECT_EQ(
      line.error,
      "tavro: --without: the robot has no module 'motoin'; it has memory, robotmodel, motion, "
      "leds, signsandfeedback\nTry 'tavro --help'.\n");
}

TEST(ReadCommandLine, FindsTheModulesBesideTheProgram) {
  const auto line = readCommandLine({"--model", "m.xml"}, "/some/bin");
  EXPECT_EQ(line.options.value().moduleDirectory, "/some/lib/tavro");
}

TEST(ReadCommandLine, ListensOnLoopbackUnlessToldOtherwise) {
  const auto line = readCommandLine({"--model", "m.xml"}, kNowhere);
  EXPECT_THAT(line.options.value().listen, ::testing::StartsWith("127.0.0.1:"));
}

TEST(ReadCommandLine, ServesThePageOnLoopbackUnlessToldOtherwise) {
  const auto pageOf = [](std::vector<std::string> words) {
    words.insert(words.end(), {"--model", "m.xml"});
    return readCommandLine(words, kNowhere).options.value().page;
  };
  EXPECT_EQ(pageOf({}), "127.0.0.1:5481");
  EXPECT_EQ(pageOf({"--page", "localhost:0"}), "localhost:0");
  EXPECT_EQ(pageOf({"--page", "none"}), "");
}

TEST(ReadCommandLine, FindsThePagesFilesBesideTheProgram) {
  const auto root = std::filesystem::path(testing::TempDir()) / "tavro_page_test";
  const auto folderOf = [&] {
    return readCommandLine({"--model", "m.xml"}, (root / "build" / "bin").string())
        .options.value()
        .pageFolder;
  };
  EXPECT_EQ(folderOf(), "");
  std::filesystem::create_directories(root / "web" / "page");
  EXPECT_EQ(folderOf(), (root / "web" / "page").string());
  std::filesystem::create_directories(root / "build" / "share" / "tavro" / "page");
  EXPECT_EQ(folderOf(), (root / "build" / "share" / "tavro" / "page").string());
  std::filesystem::remove_all(root);
}

TEST(ReadCommandLine, InsistsOnASocketOnlyWhenItWasNamed) {
  EXPECT_TRUE(readCommandLine({"--model", "m.xml"}, kNowhere).options.value().isSocketOptional);
  EXPECT_FALSE(readCommandLine({"--model", "m.xml", "--socket", "s.sock"}, kNowhere)
                   .options.value()
                   .isSocketOptional);
}

TEST(ReadCommandLine, FindsTheDefaultModelInTheSourceTreeOfTheProgram) {
  const auto root = std::filesystem::path(testing::TempDir()) / "tavro_options_test";
  std::filesystem::create_directories(root / "models");
  std::ofstream(root / "models" / "vanto.xml") << "<x/>";
  const auto line = readCommandLine({}, (root / "build" / "bin").string());
  EXPECT_EQ(line.options.value().model, (root / "models" / "vanto.xml").string());
  std::filesystem::remove_all(root);
}

TEST(ReadCommandLine, SaysHowToNameAModelWhenThereIsNone) {
  const auto line = readCommandLine({}, kNowhere);
  EXPECT_FALSE(line.options);
  EXPECT_EQ(line.status, 2);
  EXPECT_THAT(line.error, HasSubstr("--model FILE"));
}

TEST(ReadCommandLine, PrintsItsVersionAndItsHelpOnStandardOutput) {
  EXPECT_EQ(readCommandLine({"--version"}, kNowhere).output, "tavro 1.0.0\n");
  const auto help = readCommandLine({"--help"}, kNowhere);
  EXPECT_EQ(help.status, 0);
  EXPECT_EQ(help.error, "");
  EXPECT_THAT(help.output, HasSubstr("Examples:"));
}

TEST(ReadCommandLine, RefusesWhatItDoesNotKnow) {
  for (const auto& words : std::vector<std::vector<std::string>>{
           {"--modle", "m.xml"}, {"m.xml"}, {"--model"}, {"--log-level", "loud"}}) {
    const auto line = readCommandLine(words, kNowhere);
    EXPECT_FALSE(line.options);
    EXPECT_EQ(line.status, 2);
    EXPECT_THAT(line.error, ::testing::StartsWith("tavro: "));
  }
}

}  // namespace
}  // namespace tavro
