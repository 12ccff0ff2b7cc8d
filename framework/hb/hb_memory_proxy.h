// The robot's shared memory: values by key. What the service "HBMemory" offers to C++.
#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "framework/hb/hb_proxy.h"

namespace HB {

/// One key and its value.
using MemoryItem = std::pair<std::string, HBValue>;

/// A part of what a subscription has not seen yet.
struct MemoryChanges {
  std::vector<MemoryItem> items;  ///< ascending by key
  bool isMore = false;            ///< the batch goes on with the next part
};

/// Thread-safe; calls run on the calling thread and do not block.
///
/// Patterns: "" or "*" is every key; "*" stands for any text, "/" included; a pattern without a
/// leading "*" may begin at the start of any path component ("Face/*" finds
/// "Device/SubDeviceList/Face/Led/...").
class HBMemoryProxy : public HBProxy {
 public:
  using HBProxy::HBProxy;

  /// Errors: `std::invalid_argument` that names an unknown key.
  HBValue getData(const std::string& key) const { return call<HBValue>("getData", key); }
  /// Creates or replaces. Errors: `std::invalid_argument` for an empty key or an invalid value.
  void insertData(const std::string& key, const HBValue& value) const {
    call("insertData", key, value);
  }
  /// Creates or replaces all, seen by readers of a snapshot as one change. Errors: as `insertData`,
  /// or lists of unequal length; nothing is written then.
  void insertDataBatch(const std::vector<std::string>& keys,
                       const std::vector<HBValue>& values) const {
    call("insertDataBatch", keys, values);
  }
  /// Keys that match, ascending.
  std::vector<std::string> listKeys(const std::string& pattern) const {
    return call<std::vector<std::string>>("listKeys", pattern);
  }
  /// Handles for fast writes of floats: the same key gives the same handle for as long as the
  /// memory runs. Keys are created with 0.0 if need be. Errors: `std::invalid_argument` when a key
  /// holds another type.
  std::vector<int> floatHandles(const std::vector<std::string>& keys) const {
    return call<std::vector<int>>("floatHandles", keys);
  }
  /// Writes `values[i]` at `handles[i]`, all as one change. No lock is taken that a reader of
  /// single values takes. Errors: `std::invalid_argument` for unequal lengths or an unknown handle;
  /// nothing is written then.
  void writeFloats(const std::vector<int>& handles, const std::vector<float>& values) const {
    call("writeFloats", handles, values);
  }

  /// Subscribes to the keys that match, now and later; `wake` is called when something changed
  /// since the last `changes`, once until `changes` is called again (so a subscriber that never
  /// reads costs nothing). It runs on the writer's thread: it must be short, must not block and
  /// must not call the memory. In-process only.
  int subscribe(const std::string& pattern, const std::function<void()>& wake) const {
    return call<int>("subscribe", pattern, wake);
  }
  /// First every matching key, then what changed since the call before; ascending.
  std::vector<MemoryItem> changes(int subscription) const {
    return call<std::vector<MemoryItem>>("changes", subscription);
  }
  /// The same batches in parts of at most `mostBytes` of memory each, for readers that must not
  /// hold more: one key at least, and a value that is larger alone comes as the invalid value. Each
  /// part is read at one instant; what changes behind it while the batch is being read comes with
  /// the next batch, so that nothing is lost and nothing comes twice. A batch of one part is a
  /// `changes`. `wake` is called once from the first part of one batch to the first of the next.
  /// Errors: `std::invalid_argument` for no bytes at all.
  MemoryChanges changesPart(int subscription, int mostBytes) const {
    return call<MemoryChanges>("changesPart", subscription, mostBytes);
  }
  /// When it returns, `wake` does not run and will not.
  void unsubscribe(int subscription) const { call("unsubscribe", subscription); }
};

}  // namespace HB
