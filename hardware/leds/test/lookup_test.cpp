#include "hardware/leds/src/lookup.h"

#include <gtest/gtest.h>

#include <map>

#include "hardware/leds/test/support/errors.h"

namespace HB::test {
namespace {

using Table = std::map<std::string, int>;

const std::string kNotFound = "map::at:  key not found";

TEST(AtKey, GivesTheValueItself) {
  Table table{{"a", 1}};
  atKey(table, "a") = 2;
  EXPECT_EQ(table.at("a"), 2);
}

TEST(AtKey, RefusesAnUnknownKeyWithTwoSpaces) {
  const Table table{{"a", 1}};
  EXPECT_EQ(outOfRange([&] { atKey(table, "b"); }), kNotFound);
}

TEST(AscendingLookup, FindsNeighboursAndWhatComesAfterAGap) {
  Table table{{"a", 1}, {"b", 2}, {"c", 3}, {"d", 4}};
  AscendingLookup lookup(table);
  EXPECT_EQ(lookup.at("a"), 1);
  EXPECT_EQ(lookup.at("b"), 2);
  EXPECT_EQ(lookup.at("d"), 4);
}

TEST(AscendingLookup, FindsKeysInAnyOrder) {
  Table table{{"a", 1}, {"b", 2}, {"c", 3}};
  AscendingLookup lookup(table);
  EXPECT_EQ(lookup.at("c"), 3);
  EXPECT_EQ(lookup.at("a"), 1);
  EXPECT_EQ(lookup.at("a"), 1);
  EXPECT_EQ(lookup.at("b"), 2);
}

TEST(AscendingLookup, RefusesAnUnknownKeyAndGoesOn) {
  Table table{{"a", 1}, {"c", 3}};
  AscendingLookup lookup(table);
  EXPECT_EQ(lookup.at("a"), 1);
  EXPECT_EQ(outOfRange([&] { lookup.at("b"); }), kNotFound);
  EXPECT_EQ(lookup.at("c"), 3);
  EXPECT_EQ(outOfRange([&] { lookup.at("d"); }), kNotFound);
}

TEST(AscendingLookup, RefusesEveryKeyOfAnEmptyTable) {
  Table table;
  AscendingLookup lookup(table);
  EXPECT_EQ(outOfRange([&] { lookup.at(""); }), kNotFound);
}

}  // namespace
}  // namespace HB::test
