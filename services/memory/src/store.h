// The values behind HBMemory: by key, by handle, and by what changed. No service, no thread.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <span>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "framework/hb/hb_memory_proxy.h"
#include "framework/value/hb_value.h"
#include "services/memory/src/key_pattern.h"

namespace HB {

/// Thread-safe. Keys are never removed, so each keeps its handle for ever. What each operation
/// means is documented where it is published, at HBMemory.
///
/// Two locks. `fChange` makes a change of many values one change: whoever writes holds it, and so
/// does whoever reads several values. `fTable` guards the table of keys and the values that are not
/// floats: `get` holds it shared, only a new key or a value that is not a float takes it
/// exclusively (and `fChange` too, so that under `fChange` the table can be read). So a `get` never
/// waits for a write of floats to known keys, nor the other way round: the floats are atomics.
/// Order: `fChange`, then `fTable`. Wakes run under neither.
///
/// A write that leaves a value as it was, bit by bit, is no change.
class Store {
 public:
  /// Bounds what clients can make it hold. Errors beyond: `std::length_error`.
  static constexpr int kMaxKeys = 2'000'000;

  Store() = default;
  Store(const Store&) = delete;
  Store& operator=(const Store&) = delete;

  HBValue get(const std::string& key) const;
  void insert(const std::string& key, const HBValue& value);
  void insertBatch(const std::vector<std::string>& keys, const std::vector<HBValue>& values);
  std::vector<std::string> keys(const std::string& pattern) const;
  std::vector<MemoryItem> snapshot(const std::string& pattern) const;

  std::vector<int> floatHandles(const std::vector<std::string>& keys);
  void writeFloats(const std::vector<int>& handles, const std::vector<float>& values);

  int subscribe(const std::string& pattern, const std::function<void()>& wake);
  std::vector<MemoryItem> changes(int subscription);
  MemoryChanges changesPart(int subscription, int mostBytes);
  void unsubscribe(int subscription);

 private:
  static constexpr std::size_t kChunkSize = 1024;
  using Chunk = std::array<std::atomic<float>, kChunkSize>;  // never moves once made
  using Place = std::size_t;                                 // of a key; its handle, too
  static constexpr Place kNowhere = static_cast<Place>(-1);

  /// The keys up to one (to the last, if null) were read at that version. Batches come in parts,
  /// and values change between them: one version for all would lose changes, or tell them twice.
  struct Seen {
    const std::string* upTo;  // stands for ever
    std::uint64_t version;
  };
  struct Subscription {
    explicit Subscription(KeyPattern wanted) : pattern(std::move(wanted)) {}
    const KeyPattern pattern;
    // Guarded by fChange.
    std::vector<Place> places;          // that match
    std::vector<std::uint8_t> isMatch;  // by place
    bool isSorted = true;               // `places` by key
    bool isDirty = false;
    std::vector<Seen> seen{{nullptr, 0}};  // by the last whole batch, in the keys' order
    std::vector<Seen> reading;             // by the batch that is being read, so far
    // Guarded by its own mutex, which is held while `wake` runs.
    std::mutex wakeMutex;
    std::function<void()> wake;
  };
  using SubscriptionPtr = std::shared_ptr<Subscription>;
  using Wakes = std::vector<SubscriptionPtr>;
  struct Item {
    const std::string* key;
    const HBValue* value;
    Place place;
  };
  struct Read {
    const std::string* key;  // stands for ever
    HBValue value;
  };

  // All of these under fChange; those with "table" in their comment also with fTable exclusively.
  Place xFind(const std::string& key) const;
  Place xFindOrAdd(const std::string& key);  // table
  void xCheck(const char* method, Place index, const Item& item) const;
  Wakes xInsert(std::vector<Item>& items);
  void xSetAny(const Item& item);  // table
  void xSetFloat(Place place, float value);
  HBValue xGet(Place place) const;
  static void xMatch(Subscription& subscription, Place place, const std::string& key);
  Wakes xCollectWakes(std::span<const int> written);
  static void xWake(const Wakes& wakes);
  static std::vector<MemoryItem> xItems(std::vector<Read> reads);
  SubscriptionPtr xSubscription(const char* method, int number) const;
  void xSort(Subscription& subscription) const;
  std::size_t xBytes(Place place) const;
  MemoryChanges xChanges(const char* method, int number, std::size_t mostBytes);

  std::atomic<float>& xFloat(Place place) const {
    return (*fChunks[place / kChunkSize])[place % kChunkSize];
  }

  mutable std::mutex fChange;
  mutable std::shared_mutex fTable;
  std::unordered_map<std::string, Place> fPlaces;  // fTable
  std::vector<const std::string*> fKeys;           // by place, fTable
  std::vector<std::unique_ptr<Chunk>> fChunks;     // fTable
  std::vector<std::uint8_t> fIsOther;              // by place, fTable: no float, stands in fOthers
  std::unordered_map<Place, HBValue> fOthers;      // fTable
  std::vector<std::uint8_t> fHasHandle;            // by place, fChange: stays a float for ever
  std::vector<std::uint64_t> fVersions;            // by place, fChange: the last change of it
  std::uint64_t fVersion = 0;                      // fChange: the last change of all
  std::map<int, SubscriptionPtr> fSubscriptions;   // fChange
  int fNextSubscription = 1;                       // fChange
};

}  // namespace HB
