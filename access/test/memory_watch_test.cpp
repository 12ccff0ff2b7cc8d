#include "access/memory_watch.h"

#include <gmock/gmock.h>

#include "access/test/fake_memory.h"
#include "access/test/refusal.h"
#include "framework/xo/event_loop.h"

namespace door {
namespace {

using HB::HBValue;
using testing::ElementsAre;
using testing::Pair;

/// Time is driven by hand; after `settle` every step that was due has run.
class MemoryWatchTest : public testing::Test {
 protected:
  MemoryWatchTest() {
    fMemory->insert("Face/Red", 0.0f);
    fMemory->insert("Ear/Blue", 0.0f);
  }

  void open(const std::string& pattern, bool isPrompt = true) {
    fWatch = std::make_unique<MemoryWatch>(
        fAccess, pattern,
        MemoryWatch::Viewer{[this, isPrompt](HB::MemoryChanges part) {
                              {
                                std::scoped_lock lock(fMutex);
                                for (const auto& item : part.items) fKeys += item.first + " ";
                                fKeys += part.isMore ? "+ " : ". ";
                                fBatches.push_back(std::move(part.items));
                              }
                              if (fOnPart) fOnPart();
                              if (isPrompt) fWatch->next();
                            },
                            [this](const std::string& why) {
                              std::scoped_lock lock(fMutex);
                              fEnded = why;
                            }});
    fWatch->next();
    settle();
  }
  void settle(xo::Duration by = xo::Duration::zero()) {
    fClock.advance(by);
    fClock.awaitIdle();
  }
  std::size_t batches() {
    std::scoped_lock lock(fMutex);
    return fBatches.size();
  }

  xo::ManualClock fClock;
  std::shared_ptr<xo::Session> fSession = std::make_shared<xo::Session>();
  std::unique_ptr<FakeMemory> fMemory = std::make_unique<FakeMemory>(*fSession);
  Access fAccess{fSession};
  std::mutex fMutex;
  std::vector<std::vector<HB::MemoryItem>> fBatches;
  std::string fKeys;  // of all parts: "+" where a batch goes on, "." at its end
  std::function<void()> fOnPart;
  std::string fEnded;
  std::unique_ptr<MemoryWatch> fWatch;
};

TEST_F(MemoryWatchTest, FirstComesEveryMatchingKeyThenOnlyWhatChanged) {
  open("Face");
  ASSERT_EQ(batches(), 1u);
  EXPECT_THAT(fBatches[0], ElementsAre(Pair("Face/Red", HBValue(0.0f))));
  settle(kWatchTick);
  EXPECT_EQ(batches(), 1u);
  fMemory->insert("Face/Red", 0.5f);
  fMemory->insert("Ear/Blue", 0.5f);
  settle();
  ASSERT_EQ(batches(), 2u);
  EXPECT_THAT(fBatches[1], ElementsAre(Pair("Face/Red", HBValue(0.5f))));
}

TEST_F(MemoryWatchTest, TheFirstBatchComesEvenWhenNothingMatches) {
  open("Foot");
  ASSERT_EQ(batches(), 1u);
  EXPECT_TRUE(fBatches[0].empty());
}

TEST_F(MemoryWatchTest, BatchesAreATickApartAndTheLastValueWins) {
  open("Face");
  settle(std::chrono::seconds(1));
  fMemory->insert("Face/Red", 0.1f);
  settle();
  ASSERT_EQ(batches(), 2u);
  fMemory->insert("Face/Red", 0.2f);
  fMemory->insert("Face/Red", 0.3f);
  settle(kWatchTick - std::chrono::milliseconds(1));
  EXPECT_EQ(batches(), 2u);
  settle(std::chrono::milliseconds(1));
  ASSERT_EQ(batches(), 3u);
  EXPECT_THAT(fBatches[2], ElementsAre(Pair("Face/Red", HBValue(0.3f))));
}

TEST_F(MemoryWatchTest, NothingIsAskedOfTheMemoryWhileNothingChanges) {
  open("Face");
  const int reads = fMemory->reads();
  settle(std::chrono::seconds(10));
  EXPECT_EQ(fMemory->reads(), reads);
  EXPECT_EQ(xo::getEventLoop().pendingDelays(), 0u);
}

TEST_F(MemoryWatchTest, AViewerThatIsNotReadyGetsOneMergedBatchWhenItIs) {
  open("", false);
  ASSERT_EQ(batches(), 1u);
  for (int i = 1; i <= 100; ++i) {
    fMemory->insert("Face/Red", static_cast<float>(i));
    settle(kWatchTick);
  }
  EXPECT_EQ(batches(), 1u);
  EXPECT_EQ(fMemory->reads(), 1);
  fWatch->next();
  settle(kWatchTick);
  ASSERT_EQ(batches(), 2u);
  EXPECT_THAT(fBatches[1], ElementsAre(Pair("Face/Red", HBValue(100.0f))));
}

TEST_F(MemoryWatchTest, AfterItsDestructionNothingComesAndTheMemoryForgetsIt) {
  open("Face");
  fMemory->insert("Face/Red", 0.5f);  // a batch may be due
  fWatch.reset();
  EXPECT_EQ(fMemory->subscriptions(), 0u);
  const auto seen = batches();
  settle(std::chrono::seconds(1));
  EXPECT_EQ(batches(), seen);
}

TEST_F(MemoryWatchTest, AMemoryThatGoesEndsTheWatch) {
  open("Face");
  settle(kWatchTick);
  auto registration = std::move(fMemory);
  registration->close();  // nothing changed, and nobody will write there any more
  settle(kWatchTick);
  EXPECT_EQ(fEnded, "The service HBMemory has gone");
  const auto before = batches();
  fWatch->next();
  registration->insert("Face/Red", 1.0f);
  settle(kWatchTick);
  EXPECT_EQ(batches(), before);
  fWatch.reset();
}

TEST_F(MemoryWatchTest, AWatchOfAMemoryThatWasReplacedEndsAndTakesNothingFromTheOthers) {
  open("Face");
  settle(kWatchTick);
  auto old = std::move(fWatch);
  fMemory.reset();
  fMemory = std::make_unique<FakeMemory>(*fSession);  // gives out the same numbers again
  fMemory->insert("Face/Red", 0.0f);
  settle(kWatchTick);
  EXPECT_EQ(fEnded, "The service HBMemory has gone");
  open("Face");
  settle(kWatchTick);
  old.reset();
  const auto before = batches();
  fMemory->insert("Face/Red", 1.0f);
  settle(kWatchTick);
  EXPECT_EQ(batches(), before + 1);
}

TEST_F(MemoryWatchTest, ALargeBatchComesInPartsEachWhenTheViewerIsReady) {
  const std::string text(kWatchPartBytes / 2, 'x');
  for (const char* key : {"a", "b", "c", "d", "e"}) fMemory->insert(key, text);
  fMemory->insert("f", text + text + text);
  open("", false);
  EXPECT_EQ(batches(), 1u);
  fMemory->insert("a", 1);  // behind the part that is on its way
  settle(10 * kWatchTick);
  EXPECT_EQ(batches(), 1u);
  for (int part = 0; part < 3; ++part) {
    fWatch->next();
    settle();  // at once: no tick between the parts
  }
  ASSERT_EQ(batches(), 4u);
  fWatch->next();
  settle(kWatchTick);
  EXPECT_EQ(fKeys, "Ear/Blue Face/Red a + b c + d e + f . a . ");
  EXPECT_FALSE(fBatches[3].back().second.isValid()) << "too large alone";
  EXPECT_EQ(fBatches[4][0].second, HBValue(1));
}

TEST_F(MemoryWatchTest, AChangeAmongThePartsIsToldOnceABatchLater) {
  const std::string text(kWatchPartBytes - 100, 'x');
  fMemory->insert("a", text);
  fMemory->insert("b", text);
  bool isChanged = false;
  fOnPart = [&] {
    if (!std::exchange(isChanged, true)) fMemory->insert("a", 1);
  };
  open("");
  settle(kWatchTick);
  EXPECT_EQ(fKeys, "Ear/Blue Face/Red a + b . a . ");
  EXPECT_EQ(fWatch->dropped(), 0u);
}

TEST_F(MemoryWatchTest, AMemoryThatCannotBeFollowedIsRefusedWithItsReason) {
  fMemory.reset();
  xo::ObjectBuilder builder;
  builder.add(xo::makeMethod<HBValue(const std::string&)>(
      {"getData", "", {}, {}, {}}, [](const std::string&) { return HBValue(1); }));
  const auto registration = fSession->registerService("HBMemory", std::move(builder));
  EXPECT_THAT(refusalOf([&] { open(""); }),
              testing::StartsWith("This memory cannot be followed: "));
}

TEST_F(MemoryWatchTest, WithoutAMemoryItIsRefused) {
  fMemory.reset();
  EXPECT_THROW(open("Face"), Refused);
}

TEST_F(MemoryWatchTest, ALongPatternIsRefused) {
  EXPECT_THROW(open(std::string(1025, '*')), Refused);
}

TEST_F(MemoryWatchTest, CountsTheTicksThatASlowViewerMissed) {
  open("Face", false);
  fMemory->insert("Face/Red", 0.1f);
  settle(kWatchTick * 10);
  EXPECT_EQ(fWatch->dropped(), 0u);  // known when the viewer is back
  fWatch->next();
  settle();
  EXPECT_EQ(batches(), 2u);
  EXPECT_EQ(fWatch->dropped(), 9u);
}

TEST_F(MemoryWatchTest, CountsNothingForAViewerThatKeepsUp) {
  open("Face");
  for (int i = 0; i < 5; ++i) {
    fMemory->insert("Face/Red", static_cast<float>(i) / 10);
    settle(kWatchTick);
  }
  EXPECT_EQ(fWatch->dropped(), 0u);
}

TEST_F(MemoryWatchTest, CountsNothingWhileNothingChanges) {
  open("Face", false);
  settle(kWatchTick * 10);
  fWatch->next();
  settle();
  EXPECT_EQ(fWatch->dropped(), 0u);
}

}  // namespace
}  // namespace door
