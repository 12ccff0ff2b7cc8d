#include "services/robotmodel/src/model_file.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include "framework/hb/hb_error.h"
#include "services/robotmodel/test/temporary_file.h"

namespace HB::test {
namespace {

using testing::StartsWith;

std::string refusal(const std::string& path) {
  try {
    const ModelFile file(path);
    return "";
  } catch (const HBError& error) {
    return error.what();
  }
}

TEST(ModelFile, HoldsTheTextAndTheModelOfAFile) {
  const TemporaryFile file("<robot name=\"Test\"/>\n");
  const ModelFile model(file.path());
  EXPECT_EQ(model.path(), file.path());
  EXPECT_EQ(model.xml(), "<robot name=\"Test\"/>\n");
  EXPECT_EQ(model.model().prettyName(0), "Test");
}

TEST(ModelFile, NamesFileAndLineOfAProblem) {
  const TemporaryFile file("<robot name=\"Test\">\n<leds/>\n<feet/></robot>");
  EXPECT_EQ(
      refusal(file.path()),
      file.path() + ":3: unknown element <feet>; allowed: <config> and <leds> inside <robot>");
}

TEST(ModelFile, RefusesWhatIsMissing) {
  EXPECT_EQ(refusal("no/such/model.xml"),
            "no/such/model.xml: cannot be read: No such file or directory");
  EXPECT_THAT(refusal(""), StartsWith(": cannot be read: "));
}

TEST(ModelFile, RefusesAFolder) {
  const TemporaryFile file;
  EXPECT_EQ(refusal(file.folder()), file.folder() + ": is a folder; a model is one file");
}

TEST(ModelFile, RefusesAPipeInsteadOfWaitingForIt) {
  const TemporaryFile file;
  const std::string pipe = file.folder() + "/pipe";
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  EXPECT_EQ(refusal(pipe), pipe + ": is no ordinary file");
}

TEST(ModelFile, RefusesAnUnreadableFile) {
  const TemporaryFile file("<robot name=\"Test\"/>");
  // A privileged user may read everything; a loop of links is unreadable for everybody.
  const std::string loop = file.folder() + "/loop";
  std::filesystem::create_symlink(loop, loop);
  EXPECT_THAT(refusal(loop), StartsWith(loop + ": cannot be read: "));
}

TEST(ModelFile, RefusesMoreThan64MegabytesWithoutReadingThem) {
  const TemporaryFile file("<robot name=\"Test\"/>");
  std::filesystem::resize_file(file.path(), Sim::Model::kMaxBytes + 1);
  EXPECT_EQ(refusal(file.path()), file.path() + ": larger than 64 MB");
}

TEST(ModelFile, RefusesAnEmptyFile) {
  const TemporaryFile file;
  EXPECT_THAT(refusal(file.path()), StartsWith(file.path() + ":1: not a model"));
}

}  // namespace
}  // namespace HB::test
