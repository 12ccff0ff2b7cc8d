// The one variant type of the whole system: what travels between services when C++ types differ,
// over the wire, and in HBMemory. A plain value; not synchronised.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <type_traits>
#include <variant>
#include <vector>

namespace HB {

/// Raw bytes, told apart from text.
struct Binary {
  std::vector<std::uint8_t> bytes;
  bool operator==(const Binary&) const = default;
};

/// A value of one of seven types.
///
/// Conversions widen without loss (int to float, a whole float to int) and refuse everything else
/// with `std::invalid_argument` whose text names the value and what was expected.
class HBValue {
 public:
  /// Type tags. The numbers are part of the interface (modules test them) and never change.
  enum Type : int {
    TypeInvalid = 0,
    TypeBinary = 1,
    TypeBool = 2,
    TypeInt = 3,
    TypeFloat = 4,
    TypeString = 5,
    TypeList = 6,
  };
  using List = std::vector<HBValue>;

  /// An invalid value: what a method without a result answers.
  HBValue() noexcept = default;
  HBValue(bool value) noexcept : fData(value) {}   // NOLINT(google-explicit-constructor)
  HBValue(int value) noexcept : fData(value) {}    // NOLINT(google-explicit-constructor)
  HBValue(float value) noexcept : fData(value) {}  // NOLINT(google-explicit-constructor)
  HBValue(double value) noexcept
      : fData(static_cast<float>(value)) {}                  // NOLINT(google-explicit-constructor)
  HBValue(const char* value) : fData(std::string(value)) {}  // NOLINT(google-explicit-constructor)
  HBValue(std::string_view value)
      : fData(std::string(value)) {}  // NOLINT(google-explicit-constructor)
  HBValue(std::string value) noexcept
      : fData(std::move(value)) {}                           // NOLINT(google-explicit-constructor)
  HBValue(List value) noexcept : fData(std::move(value)) {}  // NOLINT(google-explicit-constructor)
  HBValue(Binary value) noexcept
      : fData(std::move(value)) {}  // NOLINT(google-explicit-constructor)
  /// A list, element by element.
  template <class T>
  requires(!std::is_same_v<T, HBValue>)
      HBValue(const std::vector<T>& values)  // NOLINT(google-explicit-constructor)
      : fData(List(values.begin(), values.end())) {}
  HBValue(const void*) = delete;  // a stray pointer would become a bool

  /// A list made of the given elements: `HBValue::list({1, 0.5f, "a"})`.
  static HBValue list(std::initializer_list<HBValue> elements) { return HBValue(List(elements)); }

  bool isValid() const noexcept { return getType() != TypeInvalid; }
  Type getType() const noexcept { return static_cast<Type>(fData.index()); }

  /// Number of elements of a list. Errors: `std::invalid_argument` when this is not a list, a
  /// scalar and an invalid value included: nothing but a list has a size or elements.
  int getSize() const;
  /// Element `index` of a list. Errors: `std::invalid_argument` when this is not a list,
  /// `std::out_of_range` when the list has no such element.
  const HBValue& operator[](int index) const;
  HBValue& operator[](int index);
  /// Makes this a list of `size` elements; elements of an existing list are kept, new ones are
  /// invalid. Errors: `std::invalid_argument` for a negative size.
  void arraySetSize(int size);

  /// Lossless conversions; errors: `std::invalid_argument`. `toInt` takes an int or a float that is
  /// whole and within 32 bits; `toFloat` an int or a float (NaN and infinities included).
  bool toBool() const;
  int toInt() const;
  float toFloat() const;
  const std::string& toString() const;
  const List& toList() const;
  const Binary& toBinary() const;

  /// The value as people write it (JSON, with nan and inf spelled so), cut with "..." after
  /// `maxLength` characters: for messages and logs.
  std::string toText(std::size_t maxLength = 200) const;

  /// Same type and same content; a NaN equals nothing.
  bool operator==(const HBValue&) const = default;

 private:
  std::variant<std::monostate, Binary, bool, int, float, std::string, List> fData;
};

/// "an integer", "a list", ...: for messages.
std::string_view typeName(HBValue::Type type) noexcept;

}  // namespace HB
