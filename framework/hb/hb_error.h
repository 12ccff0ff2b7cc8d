// The module framework's error type.
#pragma once

#include "framework/xo/error.h"

namespace HB {

/// What the framework throws when a module, proxy or service cannot be had. Its code is this
/// library's, so it may leave any module.
class HBError final : public xo::Error {
 public:
  using xo::Error::Error;
  ~HBError() override;
  std::string_view kind() const noexcept override;
  Maker maker() const noexcept override;
};

}  // namespace HB
