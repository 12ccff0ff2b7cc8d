// What readers of a Store may rely on while others write.
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "services/memory/src/store.h"

namespace HB {
namespace {

constexpr int kRounds = 3000;

std::vector<std::string> someKeys(const std::string& prefix, int count) {
  std::vector<std::string> keys;
  for (int i = 0; i < count; ++i) keys.push_back(prefix + std::to_string(i));
  return keys;
}

std::set<float> valuesOf(const std::vector<MemoryItem>& items) {
  std::set<float> values;
  for (const auto& item : items) values.insert(item.second.toFloat());
  return values;
}

TEST(StoreThreads, NeverShowHalfOfAChange) {
  Store store;
  const auto keys = someKeys("x/", 64);
  const auto handles = store.floatHandles(keys);
  const int id = store.subscribe("x/*", [] {});
  std::atomic<bool> done{false};
  std::thread writer([&] {
    for (int round = 1; round <= kRounds; ++round) {
      const auto value = static_cast<float>(round);
      if (round % 2 == 0) {
        store.writeFloats(handles, std::vector<float>(keys.size(), value));
      } else {
        store.insertBatch(keys, std::vector<HBValue>(keys.size(), value));
      }
    }
    done = true;
  });
  int halves = 0;
  while (!done) {
    if (valuesOf(store.snapshot("x/*")).size() != 1) ++halves;
    const auto changed = store.changes(id);
    if (!changed.empty() && (changed.size() != keys.size() || valuesOf(changed).size() != 1)) {
      ++halves;
    }
  }
  writer.join();
  EXPECT_EQ(halves, 0);
}

TEST(StoreThreads, NeverShowHalfOfAChangeThatMakesKeys) {
  Store store;
  store.insert("x/known", 0.0f);
  std::atomic<bool> done{false};
  std::thread writer([&] {
    for (int round = 1; round <= 500; ++round) {
      store.insertBatch({"x/known", "x/new" + std::to_string(round)},
                        {static_cast<float>(round), 0.0f});
    }
    done = true;
  });
  int halves = 0;
  while (!done) {
    const auto items = store.snapshot("x/*");  // "x/known" sorts first and counts the others
    if (items.front().second.toFloat() != static_cast<float>(items.size() - 1)) ++halves;
  }
  writer.join();
  EXPECT_EQ(halves, 0);
}

TEST(StoreThreads, LoseNoChangeBetweenWakeAndChanges) {
  Store store;
  const auto handles = store.floatHandles({"a"});
  std::atomic<int> wakes{0};
  const int id = store.subscribe("a", [&] { ++wakes; });
  std::thread writer([&] {
    for (int round = 1; round <= kRounds; ++round) {
      store.writeFloats(handles, {static_cast<float>(round)});
    }
  });
  // Reads only when woken, as a subscriber does.
  float last = 0;
  int taken = 0;
  while (last != static_cast<float>(kRounds)) {
    if (wakes == taken) {
      std::this_thread::yield();
      continue;
    }
    taken = wakes;
    const auto changed = store.changes(id);
    if (!changed.empty()) last = changed.front().second.toFloat();
  }
  writer.join();
  EXPECT_EQ(last, static_cast<float>(kRounds));
}

TEST(StoreThreads, NeverWakeAfterUnsubscribeReturned) {
  Store store;
  const auto handles = store.floatHandles({"a"});
  std::atomic<bool> done{false};
  std::thread writer([&] {
    for (int round = 1; !done; ++round) store.writeFloats(handles, {static_cast<float>(round)});
  });
  int late = 0;
  for (int round = 0; round < 1000; ++round) {
    auto ended = std::make_unique<std::atomic<bool>>(false);
    std::atomic<bool>* const flag = ended.get();
    std::atomic<int> after{0};
    const int id = store.subscribe("a", [flag, &after] {
      if (*flag) ++after;
    });
    std::this_thread::yield();
    store.unsubscribe(id);
    *ended = true;
    late += after;
  }
  done = true;
  writer.join();
  EXPECT_EQ(late, 0);
}

TEST(StoreThreads, ReadSingleValuesWhileKeysAndValuesCome) {
  Store store;
  const auto handles = store.floatHandles({"a"});
  std::thread writer([&] {
    for (int round = 1; round <= kRounds; ++round) {
      store.writeFloats(handles, {static_cast<float>(round)});
      store.insert("key" + std::to_string(round), "text");
    }
  });
  float last = 0;
  int steps = 0;
  while (last != static_cast<float>(kRounds)) {
    const float value = store.get("a").toFloat();
    if (value < last) ++steps;
    last = value;
  }
  writer.join();
  EXPECT_EQ(steps, 0) << "a value went back";
}

}  // namespace
}  // namespace HB
