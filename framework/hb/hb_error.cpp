#include "framework/hb/hb_error.h"

namespace HB {

HBError::~HBError() = default;
std::string_view HBError::kind() const noexcept { return "HBError"; }
xo::Error::Maker HBError::maker() const noexcept {
  return [](const std::string& text) { return std::make_exception_ptr(HBError(text)); };
}

}  // namespace HB
