// The types that may cross between services, their names, and the conversions between C++ and
// HBValue.
#pragma once

#include <concepts>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "framework/value/hb_value.h"
#include "framework/xo/future.h"

namespace xo {

/// A type of the interface language: "void", "bool", "int" (32 bits), "float" (single precision),
/// "string", "value" (an HBValue of any type), "list<T>", "future<T>", and "local" for C++ types
/// that only callers inside the process can use.
struct Type {
  enum class Kind { kVoid, kBool, kInt, kFloat, kString, kValue, kList, kFuture, kLocal };
  Kind kind = Kind::kVoid;
  std::vector<Type> element;  // one for kList and kFuture, else none

  std::string text() const;
  bool operator==(const Type&) const = default;
};

/// How well a value fits a type; smaller is better.
enum class Match : int { kExact = 0, kWidened = 1, kNone = 1000000 };

/// How well `value` fits a type that is known only at run time: as `Conversion` of the C++ type of
/// that name judges it. Nothing fits void (but the invalid value), futures and local types.
Match matchType(const Type& type, const HB::HBValue& value);
/// `value` as one of that type, its elements too: ints become floats and whole floats ints. It must
/// fit.
HB::HBValue convertTo(const Type& type, const HB::HBValue& value);

namespace detail {

Match matchInt(const HB::HBValue& value) noexcept;
Match matchFloat(const HB::HBValue& value) noexcept;

/// What interface type a C++ type is, and how it converts. `Local` when there is no conversion.
template <class T>
struct Conversion {
  static Type type() { return {Type::Kind::kLocal, {}}; }
  static constexpr bool isLocal = true;
};
struct Convertible {
  static constexpr bool isLocal = false;
};
template <>
struct Conversion<bool> : Convertible {
  static Type type() { return {Type::Kind::kBool, {}}; }
  static Match match(const HB::HBValue& value) {
    return value.getType() == HB::HBValue::TypeBool ? Match::kExact : Match::kNone;
  }
  static bool from(const HB::HBValue& value) { return value.toBool(); }
  static HB::HBValue to(bool value) { return value; }
};
template <>
struct Conversion<int> : Convertible {
  static Type type() { return {Type::Kind::kInt, {}}; }
  static Match match(const HB::HBValue& value) { return matchInt(value); }
  static int from(const HB::HBValue& value) { return value.toInt(); }
  static HB::HBValue to(int value) { return value; }
};
template <>
struct Conversion<float> : Convertible {
  static Type type() { return {Type::Kind::kFloat, {}}; }
  static Match match(const HB::HBValue& value) { return matchFloat(value); }
  static float from(const HB::HBValue& value) { return value.toFloat(); }
  static HB::HBValue to(float value) { return value; }
};
template <>
struct Conversion<std::string> : Convertible {
  static Type type() { return {Type::Kind::kString, {}}; }
  static Match match(const HB::HBValue& value) {
    return value.getType() == HB::HBValue::TypeString ? Match::kExact : Match::kNone;
  }
  static std::string from(const HB::HBValue& value) { return value.toString(); }
  static HB::HBValue to(const std::string& value) { return value; }
};
template <>
struct Conversion<HB::HBValue> : Convertible {
  static Type type() { return {Type::Kind::kValue, {}}; }
  static Match match(const HB::HBValue&) { return Match::kExact; }
  static HB::HBValue from(const HB::HBValue& value) { return value; }
  static HB::HBValue to(const HB::HBValue& value) { return value; }
};
template <class T>
requires(!Conversion<T>::isLocal) struct Conversion<std::vector<T>> : Convertible {
  static Type type() { return {Type::Kind::kList, {Conversion<T>::type()}}; }
  static Match match(const HB::HBValue& value) {
    if (value.getType() != HB::HBValue::TypeList) return Match::kNone;
    Match worst = Match::kExact;
    for (const auto& element : value.toList()) {
      const Match one = Conversion<T>::match(element);
      if (one > worst) worst = one;
    }
    return worst;
  }
  static std::vector<T> from(const HB::HBValue& value) {
    std::vector<T> made;
    made.reserve(value.toList().size());
    for (const auto& element : value.toList()) made.push_back(Conversion<T>::from(element));
    return made;
  }
  static HB::HBValue to(const std::vector<T>& values) {
    HB::HBValue::List list;
    list.reserve(values.size());
    for (const auto& value : values) list.push_back(Conversion<T>::to(value));
    return list;
  }
};
template <>
struct Conversion<void> {
  static Type type() { return {Type::Kind::kVoid, {}}; }
  static constexpr bool isLocal = false;
};
template <class T>
struct Conversion<Future<T>> {
  static Type type() { return {Type::Kind::kFuture, {Conversion<T>::type()}}; }
  static constexpr bool isLocal = Conversion<T>::isLocal;
};

/// The type in which an argument of C++ type T travels: texts as std::string, doubles as float.
template <class T>
struct Canonical {
  using type = T;
};
template <class T>
requires std::convertible_to<T, std::string_view>
struct Canonical<T> {
  using type = std::string;
};
template <>
struct Canonical<double> {
  using type = float;
};
template <class T>
using CanonicalT = typename Canonical<std::decay_t<T>>::type;

/// `value` itself when it has that type, else converted.
template <class T>
decltype(auto) canonical(const T& value) {
  if constexpr (std::is_same_v<CanonicalT<T>, T>) {
    return static_cast<const T&>(value);
  } else if constexpr (std::is_arithmetic_v<std::decay_t<T>>) {
    return static_cast<CanonicalT<T>>(value);
  } else {
    return CanonicalT<T>(std::string_view(value));
  }
}

/// A number that two C++ argument (or result) lists share exactly when their types are equal.
template <class... T>
constexpr std::uint64_t typesId() {
  std::uint64_t hash = 14695981039346656037u;
  for (const char c : std::string_view(__PRETTY_FUNCTION__)) {
    hash = (hash ^ static_cast<unsigned char>(c)) * 1099511628211u;
  }
  return hash;
}

}  // namespace detail
}  // namespace xo
