#include "framework/xo/type.h"

#include <algorithm>
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

namespace {

Match matchIf(bool fits) { return fits ? Match::kExact : Match::kNone; }

Match matchList(const Type& element, const HB::HBValue& value) {
  if (value.getType() != HB::HBValue::TypeList) return Match::kNone;
  Match worst = Match::kExact;
  for (const auto& one : value.toList()) {
    worst = std::max(worst, matchType(element, one));
    if (worst == Match::kNone) break;
  }
  return worst;
}

}  // namespace

Match matchType(const Type& type, const HB::HBValue& value) {
  switch (type.kind) {
    case Type::Kind::kVoid:
      return matchIf(!value.isValid());
    case Type::Kind::kBool:
      return matchIf(value.getType() == HB::HBValue::TypeBool);
    case Type::Kind::kInt:
      return detail::matchInt(value);
    case Type::Kind::kFloat:
      return detail::matchFloat(value);
    case Type::Kind::kString:
      return matchIf(value.getType() == HB::HBValue::TypeString);
    case Type::Kind::kValue:
      return Match::kExact;
    case Type::Kind::kList:
      return matchList(type.element.at(0), value);
    case Type::Kind::kFuture:
    case Type::Kind::kLocal:
      break;
  }
  return Match::kNone;
}

HB::HBValue convertTo(const Type& type, const HB::HBValue& value) {
  switch (type.kind) {
    case Type::Kind::kInt:
      return value.toInt();
    case Type::Kind::kFloat:
      return value.toFloat();
    case Type::Kind::kList: {
      if (matchType(type, value) == Match::kExact) return value;
      HB::HBValue::List converted;
      converted.reserve(value.toList().size());
      for (const auto& one : value.toList()) converted.push_back(convertTo(type.element[0], one));
      return converted;
    }
    default:
      return value;
  }
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
