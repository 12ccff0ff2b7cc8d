// While one lives, the broker refuses the module its session (and nobody else theirs): the linker
// leads the module's call of `HBBroker::getSession` through here.
#pragma once

#include <string>

namespace HB::test {

class [[nodiscard]] SessionRefusal {
 public:
  /// The refusal is an HBError with that text. One at a time.
  explicit SessionRefusal(const std::string& text);
  ~SessionRefusal();
  SessionRefusal(const SessionRefusal&) = delete;
  SessionRefusal& operator=(const SessionRefusal&) = delete;
};

}  // namespace HB::test
