#include "services/memory/src/store.h"

#include <gmock/gmock.h>

#include <cmath>
#include <limits>
#include <stdexcept>

namespace HB {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::ThrowsMessage;

template <class F>
std::string refusal(F call) {
  try {
    call();
  } catch (const std::invalid_argument& error) {
    return error.what();
  }
  return "(not refused)";
}

TEST(StoreGet, GivesWhatWasInsertedWithItsType) {
  Store store;
  const std::vector<HBValue> values{true,          7, 0.25f, "text", HBValue::list({1, "two"}),
                                    Binary{{1, 2}}};
  for (const HBValue& value : values) {
    store.insert("key", value);
    EXPECT_EQ(store.get("key"), value);
  }
}

TEST(StoreGet, RefusesAnUnknownKeyByName) {
  EXPECT_EQ(refusal([] { Store().get("no/such"); }),
            "HBMemory: getData: there is no key 'no/such'");
}

TEST(StoreInsert, KeepsNanAndInfinitiesAsData) {
  Store store;
  store.insert("nan", std::nanf(""));
  store.insert("inf", std::numeric_limits<float>::infinity());
  EXPECT_TRUE(std::isnan(store.get("nan").toFloat()));
  EXPECT_TRUE(std::isinf(store.get("inf").toFloat()));
}

TEST(StoreInsert, RefusesAnEmptyKeyAndAnInvalidValue) {
  Store store;
  EXPECT_THAT(refusal([&] { store.insert("", 1); }), HasSubstr("is empty"));
  EXPECT_THAT(refusal([&] { store.insert("key", HBValue()); }), HasSubstr("'key'"));
  EXPECT_TRUE(store.keys("").empty());
}

TEST(StoreInsertBatch, WritesEveryEntryAndLetsTheLaterOfAKeyHold) {
  Store store;
  store.insertBatch({"a", "b", "a", "c"}, {0.1f, "x", 0.3f, 4});
  EXPECT_EQ(store.get("a"), HBValue(0.3f));
  EXPECT_EQ(store.get("b"), HBValue("x"));
  EXPECT_EQ(store.get("c"), HBValue(4));
}

TEST(StoreInsertBatch, WritesNothingWhenOneEntryIsRefused) {
  Store store;
  store.insert("a", 0.5f);
  EXPECT_THAT(refusal([&] { store.insertBatch({"a", ""}, {0.7f, 1}); }), HasSubstr("key 1"));
  EXPECT_THAT(refusal([&] {
                store.insertBatch({"a", "b"}, {0.7f, HBValue()});
              }),
              HasSubstr("key 1, 'b'"));
  EXPECT_EQ(refusal([&] {
              store.insertBatch({"a", "b"}, {0.7f});
            }),
            "HBMemory: insertDataBatch: 2 keys, but 1 values");
  EXPECT_EQ(store.get("a"), HBValue(0.5f));
  EXPECT_THAT(store.keys(""), ElementsAre("a"));
}

TEST(StoreFloatHandles, CreatesMissingKeysWithZeroAndKeepsOldValues) {
  Store store;
  store.insert("old", 0.5f);
  store.floatHandles({"old", "new"});
  EXPECT_EQ(store.get("old"), HBValue(0.5f));
  EXPECT_EQ(store.get("new"), HBValue(0.0f));
}

TEST(StoreFloatHandles, GivesAKeyTheSameHandleForEver) {
  Store store;
  const auto first = store.floatHandles({"a", "b", "a"});
  store.insert("c", 1.0f);
  EXPECT_EQ(first[0], first[2]);
  EXPECT_NE(first[0], first[1]);
  EXPECT_THAT(store.floatHandles({"b", "a"}), ElementsAre(first[1], first[0]));
}

TEST(StoreFloatHandles, RefusesAKeyOfAnotherTypeAndCreatesNothing) {
  Store store;
  store.insert("text", "x");
  EXPECT_EQ(refusal([&] {
              store.floatHandles({"fresh", "text"});
            }),
            "HBMemory: floatHandles: key 1, 'text', holds a string; expected a float");
  EXPECT_THAT(refusal([&] { store.floatHandles({"fresh", ""}); }), HasSubstr("key 1 is empty"));
  EXPECT_THAT(store.keys(""), ElementsAre("text"));
}

TEST(StoreFloatHandles, MakeTheirKeysStayFloats) {
  Store store;
  store.floatHandles({"level"});
  store.insert("level", 1);
  EXPECT_EQ(store.get("level"), HBValue(1.0f));
  EXPECT_EQ(refusal([&] { store.insert("level", "high"); }),
            "HBMemory: insertData: key 0, 'level', is written by handle and stays a float; "
            "\"high\" is none");
  EXPECT_EQ(store.get("level"), HBValue(1.0f));
}

TEST(StoreWriteFloats, WritesWhatGetReads) {
  Store store;
  const auto handles = store.floatHandles({"a", "b"});
  store.writeFloats({handles[1], handles[0], handles[1]}, {0.1f, 0.2f, 0.3f});
  EXPECT_EQ(store.get("a"), HBValue(0.2f));
  EXPECT_EQ(store.get("b"), HBValue(0.3f));
}

TEST(StoreWriteFloats, RefusesHandlesThatWereNeverGivenOutAndWritesNothing) {
  Store store;
  const auto handles = store.floatHandles({"a"});
  store.insert("b", 0.5f);  // a float without a handle
  for (const int wrong : {handles[0] + 1, -1, 1000000, std::numeric_limits<int>::min()}) {
    EXPECT_THAT(refusal([&] {
                  store.writeFloats({handles[0], wrong}, {1.0f, 1.0f});
                }),
                HasSubstr("handle 1, " + std::to_string(wrong) + ", was never given out"));
  }
  EXPECT_EQ(refusal([&] { store.writeFloats(handles, {}); }),
            "HBMemory: writeFloats: 1 handles, but 0 values");
  EXPECT_EQ(store.get("a"), HBValue(0.0f));
  EXPECT_EQ(store.get("b"), HBValue(0.5f));
}

TEST(Store, HoldsHundredThousandsOfKeys) {
  Store store;
  std::vector<std::string> keys;
  std::vector<float> values;
  for (int i = 0; i < 200000; ++i) {
    keys.push_back("Device/" + std::to_string(i));
    values.push_back(static_cast<float>(i));
  }
  store.writeFloats(store.floatHandles(keys), values);
  EXPECT_EQ(store.get("Device/199999"), HBValue(199999.0f));
  EXPECT_EQ(store.keys("Device/19999*").size(), 11u);
}

TEST(Store, RefusesMoreKeysThanItMayHold) {
  Store store;
  std::vector<std::string> keys(static_cast<std::size_t>(Store::kMaxKeys) + 1);
  for (std::size_t i = 0; i < keys.size(); ++i) keys[i] = std::to_string(i);
  EXPECT_THROW(store.floatHandles(keys), std::length_error);
  EXPECT_TRUE(store.keys("").empty());
}

}  // namespace
}  // namespace HB
