// Which channel a device's memory key is. A plain table, made once.
#pragma once

#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace HB {

/// Numbers keys 0, 1, ... in ascending order, each once. Immutable, so thread-safe.
class KeyTable {
 public:
  static constexpr int kUnknown = -1;

  explicit KeyTable(std::vector<std::string> keys);
  KeyTable(const KeyTable&) = delete;
  KeyTable& operator=(const KeyTable&) = delete;

  /// By channel.
  const std::vector<std::string>& keys() const noexcept { return fKeys; }
  /// The key's channel or kUnknown. Callers that go through many keys hand in the channel found
  /// before: names of a group come in ascending order, so the next is often its neighbour, which
  /// saves the look-up.
  int find(std::string_view key, int before = kUnknown) const noexcept;

 private:
  std::vector<std::string> fKeys;
  std::unordered_map<std::string_view, int> fChannels;
};

}  // namespace HB
