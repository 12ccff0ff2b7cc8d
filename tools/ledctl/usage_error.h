// A command line that cannot be carried out as written.
#pragma once

#include <stdexcept>

namespace ledctl {

/// `what()` is for people: what is wrong, then what would be right, without a final line break.
class UsageError final : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace ledctl
