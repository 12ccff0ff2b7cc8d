// How many different things clients may make by calling a method: what they make stays, so what is
// counted is names, not calls.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "access/limits.h"
#include "framework/value/hb_value.h"

namespace door {

/// Calls of `service`.`method` succeed for at most `most` different first arguments, as long as
/// that service stands.
struct Quota {
  std::string service;
  std::string method;
  std::size_t most = 0;
  std::string what;  ///< how the refusal calls what is made: "client-made groups"
};

/// Thread-safe.
class Quotas {
 public:
  explicit Quotas(std::vector<Quota> quotas);
  ~Quotas();

  /// One call that a quota counts, or does not. Its name counts while the call runs, and from then
  /// on if it succeeded.
  class [[nodiscard]] Use {
   public:
    Use() = default;
    Use(Use&& other) noexcept;
    Use& operator=(Use&&) = delete;
    ~Use();
    void succeed() { fHasSucceeded = true; }

   private:
    friend class Quotas;
    struct Count;
    Count* fCount = nullptr;
    std::string fName;
    std::uint64_t fGeneration = 0;
    bool fHasSucceeded = false;
  };

  /// `generation` tells one life of the service from the next: a new one begins to count anew. A
  /// name that counts already is always let through. Errors: Refused that names the limit.
  Use begin(const std::string& service, const std::string& method,
            std::span<const HB::HBValue> args, std::uint64_t generation) {
    for (const auto& count : fCounts) {
      if (isOf(*count, service, method)) return beginCounted(*count, args, generation);
    }
    return {};
  }

  /// Appends each quota's limit.
  void listLimits(std::vector<NamedLimit>& limits) const;

 private:
  static bool isOf(const Use::Count& count, const std::string& service, const std::string& method);
  static Use beginCounted(Use::Count& count, std::span<const HB::HBValue> args,
                          std::uint64_t generation);

  std::vector<std::unique_ptr<Use::Count>> fCounts;
};

}  // namespace door
