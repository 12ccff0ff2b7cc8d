// A request that the robot's door did not let through.
#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>

namespace door {

/// A request that was not carried out. The text is for the client.
class Refused final : public std::runtime_error {
 public:
  enum class Why {
    kNoSuchService,  ///< or it is gone
    kTooMuch,        ///< a limit of size: names it and its number
    kTooMany,        ///< a limit of things at once: names it and its number
    kMalformed,
    kNotSupported,  ///< what stands there cannot do it
    kNotAllowed,    ///< the client's role does not allow it: names it and the one needed
  };
  Refused(Why why, const std::string& text) : std::runtime_error(text), fWhy(why) {}
  Why why() const noexcept { return fWhy; }

 private:
  Why fWhy;
};

/// Throws the refusal of one more of `what` ("watches"): of this client, or of all.
[[noreturn]] void refuseMany(const std::string& what, bool ofThisClient, std::size_t limit);

}  // namespace door
