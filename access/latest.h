// The latest call of each kind: what somebody last asked of the robot, and of which part of it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "access/record.h"

namespace door {

/// Remembers one call for each service, method and first argument; of more than `kMost` such kinds
/// the one that was not called for longest is forgotten. Not synchronised; cheap: strings that
/// stand there are used again.
class Latest {
 public:
  static constexpr std::size_t kMost = 1024;

  /// What makes calls one of a kind.
  static std::string kindOf(const std::string& service, const std::string& method,
                            std::span<const HB::HBValue> args);

  /// Where to write the newest call, of that kind. Good until the next call.
  CallRecord& note(const std::string& kind);
  /// Runs `look(record)` for each, oldest first.
  template <class Look>
  void forEach(Look look) const {
    for (std::size_t i = fOldest; i != kNone; i = fSlots[i].newer) look(fSlots[i].record);
  }
  std::size_t size() const { return fSlots.size(); }

 private:
  static constexpr std::size_t kNone = static_cast<std::size_t>(-1);
  struct Slot {
    CallRecord record;
    const std::string* kind = nullptr;  // the key of fByKind
    std::size_t older = kNone;
    std::size_t newer = kNone;
  };
  std::size_t slotFor(const std::string& kind);
  void unlink(std::size_t slot);
  void makeNewest(std::size_t slot);

  std::vector<Slot> fSlots;
  std::unordered_map<std::string, std::size_t> fByKind;
  std::size_t fOldest = kNone;
  std::size_t fNewest = kNone;
};

}  // namespace door
