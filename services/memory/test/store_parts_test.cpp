// Batches of changes that are read in parts: bounded, and still nothing is lost or told twice.
#include <gmock/gmock.h>

#include <atomic>
#include <map>
#include <random>
#include <stdexcept>
#include <thread>

#include "services/memory/src/store.h"

namespace HB {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

/// What a part counts for a key of one letter and a text of `bytes`.
int costOf(int bytes) { return static_cast<int>(sizeof(MemoryItem)) + 1 + bytes; }

class StoreParts : public testing::Test {
 protected:
  StoreParts() {
    for (const char* key : {"a", "b", "c", "d"}) store.insert(key, std::string(100, *key));
    id = store.subscribe("*", [this] { ++wakes; });
  }
  MemoryChanges next(int keys) { return store.changesPart(id, keys * costOf(100)); }
  static std::string keysOf(const MemoryChanges& part) {
    std::string keys;
    for (const auto& item : part.items) keys += item.first;
    return keys + (part.isMore ? "+" : "");
  }

  Store store;
  int id = 0;
  int wakes = 0;
};

TEST_F(StoreParts, AreAsLargeAsTheirBoundAllowsAndGoOnWhereTheLastOneEnded) {
  EXPECT_EQ(keysOf(next(3)), "abc+");
  EXPECT_EQ(keysOf(next(3)), "d");
  EXPECT_EQ(keysOf(next(3)), "");
  store.insertBatch({"d", "b", "a"}, {1, 2, 3});
  EXPECT_EQ(keysOf(store.changesPart(id, 2 * costOf(0))), "ab+");
  EXPECT_EQ(keysOf(store.changesPart(id, 2 * costOf(0))), "d");
}

TEST_F(StoreParts, AreOneWhenEverythingFitsExactly) { EXPECT_EQ(keysOf(next(4)), "abcd"); }

TEST_F(StoreParts, TellAtOnceWhatChangesAheadAndLaterWhatChangesBehind) {
  EXPECT_EQ(keysOf(next(2)), "ab+");
  store.insertBatch({"a", "d"}, {1, 4});
  EXPECT_THAT(next(4).items,
              ElementsAre(Pair("c", HBValue(std::string(100, 'c'))), Pair("d", HBValue(4))));
  EXPECT_EQ(wakes, 1) << "for what changed behind the part";
  EXPECT_THAT(next(4).items, ElementsAre(Pair("a", HBValue(1))));
  EXPECT_THAT(next(4).items, IsEmpty());
}

TEST_F(StoreParts, FindKeysThatAreMadeAheadAndBehind) {
  EXPECT_EQ(keysOf(next(2)), "ab+");
  store.insertBatch({"B", "bb", "e"}, {1, 2, 3});
  EXPECT_EQ(keysOf(next(9)), "bbcde");
  EXPECT_EQ(keysOf(next(9)), "B");
}

TEST_F(StoreParts, KeepAWakeThatComesAmongThem) {
  next(9);
  store.insertBatch({"a", "b"}, {std::string(100, 'x'), std::string(100, 'y')});
  EXPECT_EQ(wakes, 1);
  EXPECT_EQ(keysOf(next(1)), "a+");
  store.insert("a", 1);
  EXPECT_EQ(wakes, 2);
  EXPECT_EQ(keysOf(next(1)), "b");
  store.insert("a", 2);
  EXPECT_EQ(wakes, 2) << "a batch is due already";
  EXPECT_EQ(keysOf(next(1)), "a");
  store.insert("a", 3);
  EXPECT_EQ(wakes, 3);
}

TEST_F(StoreParts, LeaveOutAValueThatIsTooLargeAndGoOn) {
  store.insert("b", HBValue::list({std::string(300, 'x'), std::string(300, 'x')}));
  const MemoryChanges part = next(3);
  EXPECT_THAT(part.items,
              ElementsAre(Pair("a", HBValue(std::string(100, 'a'))), Pair("b", HBValue()),
                          Pair("c", HBValue(std::string(100, 'c')))));
  EXPECT_EQ(keysOf(next(3)), "d");
}

TEST_F(StoreParts, HoldOneKeyHoweverSmallTheBound) {
  std::string keys;
  while (keysOf(store.changesPart(id, 1)).ends_with("+")) keys += ".";
  EXPECT_EQ(keys, "...");
}

TEST_F(StoreParts, OfNoBytesAreRefused) {
  EXPECT_THROW(store.changesPart(id, 0), std::invalid_argument);
  EXPECT_THROW(store.changesPart(id + 1, 1), std::invalid_argument);
}

TEST_F(StoreParts, GiveTheirRestToAReaderOfWholeBatches) {
  EXPECT_EQ(keysOf(next(2)), "ab+");
  EXPECT_EQ(store.changes(id).size(), 2u);
  EXPECT_THAT(store.changes(id), IsEmpty());
}

TEST_F(StoreParts, AmongRandomWritesTellEachChangeOnceAndTheLastValueAlways) {
  std::mt19937 random(7);
  const auto any = [&](int below) {
    return static_cast<int>(random() % static_cast<unsigned>(below));
  };
  std::map<std::string, HBValue> seen;
  int last = 0;
  for (int round = 0; round < 20000; ++round) {
    if (any(3) > 0) store.insert("key" + std::to_string(any(40)), ++last);
    if (any(2) == 0) continue;
    std::string before;
    for (const auto& [key, value] : store.changesPart(id, 180 + any(800)).items) {
      EXPECT_LT(before, key);
      before = key;
      const auto [entry, isNew] = seen.try_emplace(key, value);
      EXPECT_TRUE(isNew || !(entry->second == value)) << key << " was told twice";
      entry->second = value;
    }
  }
  for (int quiet = 0; quiet < 2;) {
    const MemoryChanges part = store.changesPart(id, 300);
    for (const auto& [key, value] : part.items) seen[key] = value;
    quiet = part.isMore ? 0 : quiet + 1;
  }
  EXPECT_EQ(seen.size(), store.keys("*").size());
  for (const auto& [key, value] : seen) EXPECT_EQ(value, store.get(key)) << key;
}

TEST_F(StoreParts, WhileOthersWriteLoseNothingAndNeverGoBack) {
  std::atomic<bool> isOver{false};
  std::thread writer([&] {
    for (int i = 1; i <= 20000; ++i) store.insert("key" + std::to_string(i % 50), i);
    isOver = true;
  });
  std::map<std::string, int> seen;
  const auto read = [&] {
    const MemoryChanges part = store.changesPart(id, 500);
    for (const auto& [key, value] : part.items) {
      if (value.getType() != HBValue::TypeInt) continue;
      EXPECT_GT(value.toInt(), seen[key]) << key;
      seen[key] = value.toInt();
    }
    return part.isMore || !part.items.empty();
  };
  while (!isOver) read();
  writer.join();
  while (read()) {
  }
  ASSERT_EQ(seen.size(), 50u);
  for (const auto& [key, value] : seen) EXPECT_EQ(HBValue(value), store.get(key)) << key;
}

}  // namespace
}  // namespace HB
