// Counts of what clients hold for long (futures, watches, lent services), per client and in all.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "access/client.h"
#include "access/limits.h"

namespace door {

/// Thread-safe.
class Places {
 public:
  /// `what` is how refusals call it: "watches".
  Places(std::string what, std::size_t perClient, std::size_t inAll);

  /// Given back when the last copy goes, which may outlive the Places.
  using Place = std::shared_ptr<void>;
  /// Errors: Refused that names the limit reached.
  Place take(const Client& client) const;
  /// How many are taken now, by all clients.
  std::size_t taken() const;

  /// Appends both limits.
  void listLimits(std::vector<NamedLimit>& limits) const;

 private:
  struct Counts;
  const std::string fWhat;
  const std::size_t fPerClient;
  const std::size_t fInAll;
  const std::shared_ptr<Counts> fCounts;
};

}  // namespace door
