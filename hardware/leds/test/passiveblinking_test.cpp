// The names that disturb the eyes, and the pause.
#include "hardware/leds/src/passiveblinking.h"

#include <gmock/gmock.h>

#include <boost/smart_ptr/make_shared.hpp>

#include "hardware/leds/test/support/leds_access.h"
#include "hardware/leds/test/support/threads.h"

namespace HB::test {
namespace {

using ::testing::ElementsAre;
using Set = std::set<std::string>;

class Blinking : public ::testing::Test {
 protected:
  PassiveBlinking blinking{nullptr};

  int paused() const { return LedsAccess::paused(blinking); }
};

TEST_F(Blinking, StartsUnpausedAndWithoutConflicts) {
  EXPECT_EQ(paused(), 0);
  EXPECT_TRUE(LedsAccess::conflicts(blinking).empty());
}

TEST_F(Blinking, IsPausedAndResumedHoweverOften) {
  blinking.pause();
  EXPECT_EQ(paused(), 1);
  blinking.pause();
  EXPECT_EQ(paused(), 1);
  blinking.resume();
  EXPECT_EQ(paused(), 0);
  blinking.resume();
  EXPECT_EQ(paused(), 0);
}

TEST_F(Blinking, KnowsExactlyTheNamesThatWereAdded) {
  blinking.addConflictingResource(std::string("FaceLeds"));
  EXPECT_TRUE(blinking.isConflictingResource("FaceLeds"));
  EXPECT_FALSE(blinking.isConflictingResource("faceleds"));
  EXPECT_FALSE(blinking.isConflictingResource("FaceLeds "));
  EXPECT_FALSE(blinking.isConflictingResource("FaceLed"));
}

TEST_F(Blinking, AddsASetToWhatItKnows) {
  blinking.addConflictingResource(std::string("a"));
  blinking.addConflictingResource(Set{"b", "a", "c"});
  EXPECT_THAT(LedsAccess::conflicts(blinking), ElementsAre("a", "b", "c"));
  blinking.addConflictingResource(Set{});
  EXPECT_EQ(LedsAccess::conflicts(blinking).size(), 3u);
}

TEST_F(Blinking, ForgetsARemovedNameAtOnceHoweverOftenItWasAdded) {
  blinking.addConflictingResource(std::string("a"));
  blinking.addConflictingResource(std::string("a"));
  blinking.removeConflictingResource("a");
  EXPECT_FALSE(blinking.isConflictingResource("a"));
  EXPECT_NO_THROW(blinking.removeConflictingResource("a"));
}

TEST_F(Blinking, NeverCountsTheEmptyNameAsAConflict) {
  EXPECT_FALSE(blinking.isConflictingResource(""));
  blinking.addConflictingResource(std::string());
  blinking.addConflictingResource(Set{""});
  EXPECT_FALSE(blinking.isConflictingResource(""));
}

TEST_F(Blinking, TakesTheTimerLockToPauseAndResumeAndNotForNames) {
  boost::unique_lock<boost::mutex> timer(LedsAccess::timerMutex(blinking));
  Beside names([&] {
    blinking.addConflictingResource(std::string("a"));
    blinking.isConflictingResource("a");
    blinking.removeConflictingResource("a");
  });
  EXPECT_TRUE(names.ends());
  Beside pause([&] { blinking.pause(); });
  Beside resume([&] { blinking.resume(); });
  EXPECT_TRUE(pause.isKeptOut());
  EXPECT_TRUE(resume.isKeptOut());
  timer.unlock();
  EXPECT_TRUE(pause.ends() && resume.ends());
}

TEST_F(Blinking, TakesTheResourcesLockForNamesAndNotToPause) {
  boost::unique_lock<boost::mutex> resources(LedsAccess::resourcesMutex(blinking));
  Beside pause([&] {
    blinking.pause();
    blinking.resume();
  });
  EXPECT_TRUE(pause.ends());
  Beside one([&] { blinking.addConflictingResource(std::string("a")); });
  Beside many([&] { blinking.addConflictingResource(Set{"b"}); });
  Beside remove([&] { blinking.removeConflictingResource("c"); });
  Beside ask([&] { blinking.isConflictingResource("d"); });
  EXPECT_TRUE(one.isKeptOut());
  EXPECT_TRUE(many.isKeptOut());
  EXPECT_TRUE(remove.isKeptOut());
  EXPECT_TRUE(ask.isKeptOut());
  resources.unlock();
  EXPECT_TRUE(one.ends() && many.ends() && remove.ends() && ask.ends());
}

TEST_F(Blinking, LogsUnderItsOwnCategory) {
  EXPECT_EQ(PassiveBlinking::fLog.name(), "PassiveBlinking");
}

}  // namespace
}  // namespace HB::test
