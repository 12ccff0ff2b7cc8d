#include "framework/xo/type.h"

#include <cmath>

namespace xo {

std::string Type::text() const {
  switch (kind) {
    case Kind::kVoid:
      return "void";
    case Kind::kBool:
      return "bool";
    case Kind::kInt:
      return "int";
    case Kind::kFloat:
      return "float";
    case Kind::kString:
      return "string";
    case Kind::kValue:
      return "value";
    case Kind::kList:
      return "list<" + element.at(0).text() + ">";
    case Kind::kFuture:
      return "future<" + element.at(0).text() + ">";
    case Kind::kLocal:
      return "local";
  }
  return "local";
}

namespace detail {

Match matchInt(const HB::HBValue& value) noexcept {
  if (value.getType() == HB::HBValue::TypeInt) return Match::kExact;
  if (value.getType() != HB::HBValue::TypeFloat) return Match::kNone;
  const float number = value.toFloat();
  const bool fits = number >= -2147483648.0f && number < 2147483648.0f;  // false for NaN
  return fits && std::trunc(number) == number ? Match::kWidened : Match::kNone;
}

Match matchFloat(const HB::HBValue& value) noexcept {
  if (value.getType() == HB::HBValue::TypeFloat) return Match::kExact;
  return value.getType() == HB::HBValue::TypeInt ? Match::kWidened : Match::kNone;
}

}  // namespace detail
}  // namespace xo
