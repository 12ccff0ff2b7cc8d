#include "access/latest.h"

#include <functional>
#include <utility>

namespace door {

Latest::Kind Latest::kindOf(std::string_view service, std::string_view method,
                            std::string_view firstArg) {
  constexpr std::hash<std::string_view> kHash;
  constexpr Kind kOdd = 0x9e3779b97f4a7c15U;  // so that the three do not change places
  return (kHash(service) * kOdd + kHash(method)) * kOdd + kHash(firstArg);
}

CallRecord& Latest::note(Kind kind) {
  const std::size_t slot = slotFor(kind);
  if (slot != fNewest) {
    unlink(slot);
    makeNewest(slot);
  }
  return fSlots[slot].record;
}

std::size_t Latest::slotFor(Kind kind) {
  const auto found = fByKind.find(kind);
  if (found != fByKind.end()) return found->second;
  if (fSlots.size() < kMost) {
    const std::size_t slot = fSlots.size();
    fByKind.emplace(kind, slot);
    fSlots.emplace_back().kind = kind;
    makeNewest(slot);
    return slot;
  }
  auto node = fByKind.extract(fSlots[fOldest].kind);
  node.key() = kind;
  fByKind.insert(std::move(node));
  fSlots[fOldest].kind = kind;
  return fOldest;
}

void Latest::unlink(std::size_t slot) {
  const std::size_t older = fSlots[slot].older;
  const std::size_t newer = fSlots[slot].newer;
  (older == kNone ? fOldest : fSlots[older].newer) = newer;
  (newer == kNone ? fNewest : fSlots[newer].older) = older;
}

void Latest::makeNewest(std::size_t slot) {
  fSlots[slot].older = fNewest;
  fSlots[slot].newer = kNone;
  (fNewest == kNone ? fOldest : fSlots[fNewest].newer) = slot;
  fNewest = slot;
}

}  // namespace door
