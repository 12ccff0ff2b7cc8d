#include "services/motion/src/key_table.h"

#include <algorithm>
#include <utility>

namespace HB {

KeyTable::KeyTable(std::vector<std::string> keys) : fKeys(std::move(keys)) {
  std::sort(fKeys.begin(), fKeys.end());
  fKeys.erase(std::unique(fKeys.begin(), fKeys.end()), fKeys.end());
  fChannels.reserve(fKeys.size());
  for (std::size_t i = 0; i < fKeys.size(); ++i) fChannels.emplace(fKeys[i], static_cast<int>(i));
}

int KeyTable::find(std::string_view key, int before) const noexcept {
  const int neighbour = before + 1;
  const auto place = static_cast<std::size_t>(neighbour);
  if (place < fKeys.size() && fKeys[place] == key) return neighbour;
  const auto found = fChannels.find(key);
  return found == fChannels.end() ? kUnknown : found->second;
}

}  // namespace HB
