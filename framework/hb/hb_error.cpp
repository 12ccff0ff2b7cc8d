#include "framework/hb/hb_error.h"

namespace HB {

HBError::~HBError() = default;
std::string_view HBError::kind() const noexcept { return "HBError"; }

}  // namespace HB
