#include "access/quotas.h"

#include <map>
#include <mutex>
#include <utility>

#include "access/refused.h"

namespace door {

struct Quotas::Use::Count {
  explicit Count(Quota given) : quota(std::move(given)) {}

  struct Name {
    int running = 0;
    bool isMade = false;
  };

  const Quota quota;
  std::mutex mutex;  // guards all below
  std::uint64_t generation = 0;
  std::map<std::string, Name> names;
};

Quotas::Quotas(std::vector<Quota> quotas) {
  for (Quota& quota : quotas) fCounts.push_back(std::make_unique<Use::Count>(std::move(quota)));
}

Quotas::~Quotas() = default;

bool Quotas::isOf(const Use::Count& count, const std::string& service, const std::string& method) {
  return count.quota.method == method && count.quota.service == service;
}

Quotas::Use Quotas::beginCounted(Use::Count& count, std::span<const HB::HBValue> args,
                                 std::uint64_t generation) {
  // Without a name the method itself refuses the call.
  if (args.empty() || args[0].getType() != HB::HBValue::TypeString) return {};
  Use use;
  use.fName = args[0].toString();
  std::scoped_lock lock(count.mutex);
  if (count.generation < generation) {
    count.names.clear();
    count.generation = generation;
  }
  if (!count.names.contains(use.fName) && count.names.size() >= count.quota.most) {
    refuseMany(count.quota.what, false, count.quota.most);
  }
  ++count.names[use.fName].running;
  use.fGeneration = count.generation;
  use.fCount = &count;
  return use;
}

Quotas::Use::Use(Use&& other) noexcept
    : fCount(std::exchange(other.fCount, nullptr)),
      fName(std::move(other.fName)),
      fGeneration(other.fGeneration),
      fHasSucceeded(other.fHasSucceeded) {}

Quotas::Use::~Use() {
  if (fCount == nullptr) return;
  std::scoped_lock lock(fCount->mutex);
  if (fCount->generation != fGeneration) return;
  const auto found = fCount->names.find(fName);
  found->second.isMade = found->second.isMade || fHasSucceeded;
  if (--found->second.running == 0 && !found->second.isMade) fCount->names.erase(found);
}

void Quotas::listLimits(std::vector<NamedLimit>& limits) const {
  for (const auto& count : fCounts) limits.push_back({count->quota.what, count->quota.most});
}

}  // namespace door
