// The latest call of each kind: what somebody last asked of the robot, and of which part of it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "access/record.h"

namespace door {

/// Remembers one call for each service, method and first argument (as far as its text is kept); of
/// more than `kMost` such kinds the one that was not called for longest is forgotten. Not
/// synchronised; cheap: strings that stand there are used again.
class Latest {
 public:
  static constexpr std::size_t kMost = 1024;

  /// Stands for calls of one kind: a hash, for which 64 bits suffice.
  using Kind = std::uint64_t;
  static Kind kindOf(std::string_view service, std::string_view method, std::string_view firstArg);

  /// Where to write the newest call, of that kind. Good until the next call.
  CallRecord& note(Kind kind);
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
    Kind kind = 0;
    std::size_t older = kNone;
    std::size_t newer = kNone;
  };
  std::size_t slotFor(Kind kind);
  void unlink(std::size_t slot);
  void makeNewest(std::size_t slot);

  std::vector<Slot> fSlots;
  std::unordered_map<Kind, std::size_t> fByKind;
  std::size_t fOldest = kNone;
  std::size_t fNewest = kNone;
};

}  // namespace door
