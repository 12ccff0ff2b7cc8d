#include <gmock/gmock.h>

#include <cmath>
#include <stdexcept>

#include "framework/xo/log.h"
#include "services/memory/src/store.h"

namespace HB {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

TEST(StoreKeys, AreListedInAscendingOrder) {
  Store store;
  for (const char* key : {"x/b", "x/a", "y/a", "x/B"}) store.insert(key, 1);
  EXPECT_THAT(store.keys("x/*"), ElementsAre("x/B", "x/a", "x/b"));
  EXPECT_THAT(store.keys("z"), IsEmpty());
}

TEST(StoreSnapshot, GivesMatchingKeysAndValuesOfEveryType) {
  Store store;
  store.insertBatch({"x/b", "x/a", "y"}, {"text", 0.5f, 1});
  EXPECT_THAT(store.snapshot("x/*"),
              ElementsAre(Pair("x/a", HBValue(0.5f)), Pair("x/b", HBValue("text"))));
}

class StoreSubscription : public testing::Test {
 protected:
  int subscribe(const std::string& pattern) {
    return store.subscribe(pattern, [this] { ++wakes; });
  }
  Store store;
  int wakes = 0;
};

TEST_F(StoreSubscription, GivesEveryMatchingKeyFirstThenWhatChanged) {
  store.insertBatch({"b", "a", "c"}, {2, 0.1f, 3});
  const int id = subscribe("*");
  EXPECT_THAT(store.changes(id),
              ElementsAre(Pair("a", HBValue(0.1f)), Pair("b", HBValue(2)), Pair("c", HBValue(3))));
  EXPECT_THAT(store.changes(id), IsEmpty());
  store.insertBatch({"c", "a"}, {"x", 0.2f});
  EXPECT_THAT(store.changes(id), ElementsAre(Pair("a", HBValue(0.2f)), Pair("c", HBValue("x"))));
}

TEST_F(StoreSubscription, WakesOnceUntilChangesIsCalledAgain) {
  const int id = subscribe("a");
  store.insert("a", 1);
  store.insert("a", 2);
  EXPECT_EQ(wakes, 1);
  store.changes(id);
  EXPECT_EQ(wakes, 1);
  store.insert("a", 3);
  EXPECT_EQ(wakes, 2);
}

TEST_F(StoreSubscription, DoesNotWakeForOtherKeysNorForTheSameValueAgain) {
  store.insert("a", 0.5f);
  store.insert("text", "x");
  const auto handles = store.floatHandles({"a"});
  subscribe("*a");
  subscribe("text");
  store.insert("b", 1);
  store.insert("a", 0.5f);
  store.writeFloats(handles, {0.5f});
  store.insert("text", "x");
  EXPECT_EQ(wakes, 0);
  store.writeFloats(handles, {0.6f});
  EXPECT_EQ(wakes, 1);
}

TEST_F(StoreSubscription, TellsZeroFromNegativeZeroAndNanFromNanOnlyByBits) {
  store.insert("a", 0.0f);
  const int id = subscribe("a");
  store.changes(id);
  store.insert("a", -0.0f);
  EXPECT_EQ(store.changes(id).size(), 1u);
  store.insert("a", std::nanf(""));
  EXPECT_EQ(store.changes(id).size(), 1u);
  store.insert("a", std::nanf(""));
  EXPECT_EQ(store.changes(id).size(), 0u);
}

TEST_F(StoreSubscription, SeesKeysThatComeLaterInTheirOrder) {
  const int id = subscribe("x/*");
  EXPECT_THAT(store.changes(id), IsEmpty());
  store.insert("x/b", 1);
  store.floatHandles({"x/a", "y"});
  EXPECT_EQ(wakes, 1);
  EXPECT_THAT(store.changes(id), ElementsAre(Pair("x/a", HBValue(0.0f)), Pair("x/b", HBValue(1))));
}

TEST_F(StoreSubscription, SeesAChangeOfTypeInBothDirections) {
  store.insert("a", 0.5f);
  const int id = subscribe("a");
  store.changes(id);
  store.insert("a", "x");
  EXPECT_THAT(store.changes(id), ElementsAre(Pair("a", HBValue("x"))));
  store.insert("a", 0.5f);
  EXPECT_THAT(store.changes(id), ElementsAre(Pair("a", HBValue(0.5f))));
}

TEST_F(StoreSubscription, KeepsSubscribersApart) {
  store.insert("a", 1);
  const int one = subscribe("a");
  const int two = subscribe("a");
  EXPECT_NE(one, two);
  store.changes(one);
  store.insert("a", 2);
  EXPECT_EQ(store.changes(one).size(), 1u);
  EXPECT_EQ(store.changes(two).size(), 1u);
  EXPECT_EQ(wakes, 2);
}

TEST_F(StoreSubscription, IsSilentAfterItsEnd) {
  const int id = subscribe("a");
  store.unsubscribe(id);
  store.insert("a", 1);
  EXPECT_EQ(wakes, 0);
  EXPECT_THROW(store.changes(id), std::invalid_argument);
  store.unsubscribe(id);
  store.unsubscribe(-5);
}

TEST_F(StoreSubscription, WakesOutsideOfTheLocksOfValues) {
  // The wake runs outside of the memory's locks: a reader that holds its own lock while it reads,
  // and takes the same lock in its wake, does not block the writer for ever.
  const int other = subscribe("a");
  store.subscribe("a", [&] { store.changes(other); });
  store.insert("a", 1);
  EXPECT_THAT(store.changes(other), IsEmpty());
}

TEST_F(StoreSubscription, WithoutAWakeIsRefused) {
  EXPECT_THROW(store.subscribe("a", nullptr), std::invalid_argument);
}

TEST_F(StoreSubscription, WhoseWakeThrowsHarmsNobody) {
  int errors = 0;
  const xo::log::Listener listener(xo::log::Level::kError, [&](const auto&) { ++errors; });
  store.subscribe("a", [] { throw std::runtime_error("no"); });
  subscribe("a");
  store.insert("a", 1);
  EXPECT_EQ(errors, 1);
  EXPECT_EQ(wakes, 1);
}

}  // namespace
}  // namespace HB
