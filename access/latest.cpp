#include "access/latest.h"

#include <utility>

namespace door {

std::string Latest::kindOf(const std::string& service, const std::string& method,
                           std::span<const HB::HBValue> args) {
  std::string kind;
  kind.reserve(service.size() + method.size() + 32);
  kind.append(service).append(1, '.').append(method).append(1, ' ');
  if (!args.empty()) kind += args.front().toText(CallRecord::kArgsBytes);
  return kind;
}

CallRecord& Latest::note(const std::string& kind) {
  const std::size_t slot = slotFor(kind);
  if (slot != fNewest) {
    unlink(slot);
    makeNewest(slot);
  }
  return fSlots[slot].record;
}

std::size_t Latest::slotFor(const std::string& kind) {
  const auto found = fByKind.find(kind);
  if (found != fByKind.end()) return found->second;
  if (fSlots.size() < kMost) {
    const auto added = fByKind.emplace(kind, fSlots.size()).first;
    fSlots.emplace_back().kind = &added->first;
    makeNewest(fSlots.size() - 1);
    return fSlots.size() - 1;
  }
  auto node = fByKind.extract(*fSlots[fOldest].kind);
  node.key() = kind;
  const auto moved = fByKind.insert(std::move(node)).position;
  fSlots[fOldest].kind = &moved->first;
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
