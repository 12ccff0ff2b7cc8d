#include "services/motion/src/key_table.h"

#include <gmock/gmock.h>

namespace HB {
namespace {

using testing::ElementsAre;

TEST(KeyTable, NumbersEveryKeyOnceInAscendingOrder) {
  const KeyTable table({"b", "a", "b", ""});
  EXPECT_THAT(table.keys(), ElementsAre("", "a", "b"));
  EXPECT_EQ(table.find(""), 0);
  EXPECT_EQ(table.find("a"), 1);
  EXPECT_EQ(table.find("b"), 2);
}

TEST(KeyTable, FindsAKeyWhateverWasFoundBefore) {
  const KeyTable table({"a", "b", "c"});
  for (int before = -1; before <= 2; ++before) {
    EXPECT_EQ(table.find("a", before), 0);
    EXPECT_EQ(table.find("b", before), 1);
    EXPECT_EQ(table.find("c", before), 2);
    EXPECT_EQ(table.find("d", before), KeyTable::kUnknown);
  }
}

TEST(KeyTable, KnowsNothingWhileEmpty) { EXPECT_EQ(KeyTable({}).find("a"), KeyTable::kUnknown); }

}  // namespace
}  // namespace HB
