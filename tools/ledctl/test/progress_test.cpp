#include "tools/ledctl/progress.h"

#include <gmock/gmock.h>

#include <future>
#include <sstream>
#include <utility>

namespace ledctl {
namespace {

using namespace std::chrono_literals;
using ::testing::EndsWith;
using ::testing::StartsWith;

/// Tells when something was written to it.
class Told : public std::stringbuf {
 public:
  std::future<void> written() { return fWritten.get_future(); }

 protected:
  int sync() override {
    if (!std::exchange(fIsTold, true)) fWritten.set_value();
    return 0;
  }

 private:
  std::promise<void> fWritten;
  bool fIsTold = false;
};

TEST(Progress, TellsWhatGoesOnAndCleansUp) {
  Told told;
  std::ostream out(&told);
  {
    const Progress progress(out, true, "fade", 1ms);
    told.written().wait();
  }
  EXPECT_THAT(told.str(), StartsWith("\rfade: 1 s, Ctrl-C stops it\x1b[K"));
  EXPECT_THAT(told.str(), EndsWith("\r\x1b[K"));
}

TEST(Progress, WritesNothingWhenItIsOverSoon) {
  std::ostringstream out;
  { const Progress progress(out, true, "fade", 1h); }
  EXPECT_EQ(out.str(), "");
}

TEST(Progress, WritesNothingWhereItIsNotShown) {
  std::ostringstream out;
  { const Progress progress(out, false, "fade", 0ms); }
  EXPECT_EQ(out.str(), "");
}

}  // namespace
}  // namespace ledctl
