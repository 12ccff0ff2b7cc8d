#include "tavro/output_tap.h"

#include <gtest/gtest.h>

#include <sstream>

namespace tavro {
namespace {

TEST(OutputTap, LetsEverythingThroughInOrder) {
  std::ostringstream stream;
  {
    OutputTap tap(stream);
    stream << "one " << 2 << std::endl << 'c';
  }
  EXPECT_EQ(stream.str(), "one 2\nc");
}

TEST(OutputTap, RecordsWhatItsThreadWritesAndNothingElse) {
  std::ostringstream stream;
  OutputTap tap(stream);
  stream << "before";
  const OutputTap::Recording recording(tap);
  std::thread([&] { stream << "other"; }).join();
  stream << "mine " << 1;
  EXPECT_EQ(recording.text(), "mine 1");
}

TEST(OutputTap, LeavesTheStreamAsItWas) {
  std::ostringstream stream;
  auto* const before = stream.rdbuf();
  { const OutputTap tap(stream); }
  EXPECT_EQ(static_cast<std::ostream&>(stream).rdbuf(), before);
}

}  // namespace
}  // namespace tavro
