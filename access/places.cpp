#include "access/places.h"

#include <map>
#include <mutex>
#include <utility>

#include "access/refused.h"

namespace door {

struct Places::Counts {
  std::mutex mutex;
  std::map<std::pair<std::string, std::string>, std::size_t> ofClient;  // name and peer
  std::size_t inAll = 0;
};

Places::Places(std::string what, std::size_t perClient, std::size_t inAll)
    : fWhat(std::move(what)),
      fPerClient(perClient),
      fInAll(inAll),
      fCounts(std::make_shared<Counts>()) {}

Places::Place Places::take(const Client& client) const {
  const std::pair key(client.name, client.peer);
  {
    std::scoped_lock lock(fCounts->mutex);
    if (fCounts->inAll >= fInAll) refuseMany(fWhat, false, fInAll);
    const auto found = fCounts->ofClient.find(key);
    if (found != fCounts->ofClient.end() && found->second >= fPerClient) {
      refuseMany(fWhat, true, fPerClient);
    }
    ++fCounts->ofClient[key];
    ++fCounts->inAll;
  }
  return Place(fCounts.get(), [counts = fCounts, key](void*) {
    std::scoped_lock lock(counts->mutex);
    --counts->inAll;
    const auto found = counts->ofClient.find(key);
    if (--found->second == 0) counts->ofClient.erase(found);
  });
}

std::size_t Places::taken() const {
  std::scoped_lock lock(fCounts->mutex);
  return fCounts->inAll;
}

void Places::listLimits(std::vector<NamedLimit>& limits) const {
  limits.push_back({fWhat + ", of one client", fPerClient});
  limits.push_back({fWhat + ", of all clients", fInAll});
}

}  // namespace door
