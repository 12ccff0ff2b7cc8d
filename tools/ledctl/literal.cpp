#include "tools/ledctl/literal.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <cstdint>
#include <limits>
#include <nlohmann/json.hpp>

namespace ledctl {

namespace {

using HB::HBValue;
using Kind = xo::Type::Kind;

constexpr int kDeepest = 32;

std::string lowered(std::string_view text) {
  std::string made(text);
  for (char& one : made) one = static_cast<char>(std::tolower(static_cast<unsigned char>(one)));
  return made;
}

/// The whole text as a T, or nothing.
template <class T, class... Format>
std::optional<T> readWhole(std::string_view text, Format... format) {
  T made{};
  const auto [end, error] =
      std::from_chars(text.data(), text.data() + text.size(), made, format...);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return made;
}

std::optional<HBValue> valueOf(std::int64_t number) {
  if (number < std::numeric_limits<int>::min() || number > std::numeric_limits<int>::max()) {
    return HBValue(static_cast<float>(number));
  }
  return HBValue(static_cast<int>(number));
}

std::optional<bool> readBool(std::string_view word) {
  const std::string text = lowered(word);
  for (const char* yes : {"true", "yes", "on"}) {
    if (text == yes) return true;
  }
  for (const char* no : {"false", "no", "off"}) {
    if (text == no) return false;
  }
  return std::nullopt;
}

/// Reads one literal from the start of a text.
class LiteralReader {
 public:
  explicit LiteralReader(std::string_view text) : fRest(text) {}

  std::optional<HBValue> readAll() {
    auto value = read(0);
    skipSpace();
    return fRest.empty() ? std::move(value) : std::nullopt;
  }

 private:
  std::optional<HBValue> read(int depth) {
    skipSpace();
    if (fRest.starts_with('[')) return depth < kDeepest ? readList(depth + 1) : std::nullopt;
    if (fRest.starts_with('"')) return readString();
    const std::string_view word = take(std::min(fRest.find_first_of(",] \t\r\n"), fRest.size()));
    if (word == "true") return HBValue(true);
    if (word == "false") return HBValue(false);
    if (word == "null") return HBValue();
    return readNumber(word);
  }

  std::optional<HBValue> readList(int depth) {
    HBValue::List list;
    take(1);
    skipSpace();
    if (takeIf(']')) return HBValue(std::move(list));
    do {
      auto element = read(depth);
      if (!element) return std::nullopt;
      list.push_back(*std::move(element));
      skipSpace();
    } while (takeIf(','));
    if (!takeIf(']')) return std::nullopt;
    return HBValue(std::move(list));
  }

  std::optional<HBValue> readString() {
    std::size_t end = 1;
    while (end < fRest.size() && fRest[end] != '"') end += fRest[end] == '\\' ? 2 : 1;
    if (end >= fRest.size()) return std::nullopt;
    const auto json = nlohmann::json::parse(take(end + 1), nullptr, false);
    if (!json.is_string()) return std::nullopt;
    return HBValue(json.get<std::string>());
  }

  void skipSpace() { take(std::min(fRest.find_first_not_of(" \t\r\n"), fRest.size())); }
  bool takeIf(char expected) {
    if (!fRest.starts_with(expected)) return false;
    take(1);
    return true;
  }
  std::string_view take(std::size_t size) {
    const auto taken = fRest.substr(0, size);
    fRest.remove_prefix(size);
    return taken;
  }

  std::string_view fRest;
};

/// Whether the value can go where the type is asked for.
bool fits(const xo::Type& type, const HBValue& value) {
  switch (type.kind) {
    case Kind::kValue:
      return true;
    case Kind::kBool:
      return value.getType() == HBValue::TypeBool;
    case Kind::kInt:
      return xo::detail::matchInt(value) != xo::Match::kNone;
    case Kind::kFloat:
      return xo::detail::matchFloat(value) != xo::Match::kNone;
    case Kind::kString:
      return value.getType() == HBValue::TypeString;
    case Kind::kList:
      return value.getType() == HBValue::TypeList &&
             std::ranges::all_of(value.toList(), [&](const HBValue& element) {
               return fits(type.element.front(), element);
             });
    default:
      return false;
  }
}

std::optional<Reading> asInt(std::string_view word) {
  const auto number = readNumber(word);
  if (!number || xo::detail::matchInt(*number) == xo::Match::kNone) return std::nullopt;
  return Reading{number->toInt(), number->getType() == HBValue::TypeInt ? 0 : 1};
}

std::optional<Reading> asFloat(std::string_view word) {
  const auto number = readNumber(word);
  if (!number) return std::nullopt;
  return Reading{number->toFloat(), number->getType() == HBValue::TypeFloat ? 0 : 1};
}

// A word that looks like something else is the last one to be taken for a text.
Reading asString(std::string_view word) {
  const bool looksLikeMore = readLiteral(word).has_value();
  return {std::string(word), looksLikeMore ? 4 : 0};
}

std::string exampleOf(const xo::Type& element) {
  switch (element.kind) {
    case Kind::kString:
      return R"('["FaceLeds","ChestLeds"]')";
    case Kind::kBool:
      return "'[true,false]'";
    default:
      return "'[1,2]'";
  }
}

}  // namespace

std::optional<HBValue> readNumber(std::string_view word) {
  const bool isNegative = word.starts_with('-');
  std::string_view digits = word;
  if (isNegative || word.starts_with('+')) digits.remove_prefix(1);
  if (digits.empty() || digits.front() == '-' || digits.front() == '+') return std::nullopt;
  if (digits.starts_with("0x") || digits.starts_with("0X")) {
    const auto number = readWhole<std::uint32_t>(digits.substr(2), 16);
    if (!number) return std::nullopt;
    return valueOf(isNegative ? -static_cast<std::int64_t>(*number) : std::int64_t{*number});
  }
  if (const auto number = readWhole<std::int64_t>(digits)) {
    return valueOf(isNegative ? -*number : *number);
  }
  const std::string name = lowered(digits);
  if (name.starts_with("nan") && name != "nan") return std::nullopt;
  const auto number = readWhole<float>(digits);
  if (!number) return std::nullopt;
  return HBValue(isNegative ? -*number : *number);
}

std::optional<HBValue> readLiteral(std::string_view text) { return LiteralReader(text).readAll(); }

std::optional<Reading> readAs(const xo::Type& type, std::string_view word) {
  switch (type.kind) {
    case Kind::kBool:
      if (const auto value = readBool(word)) return Reading{*value, 0};
      return std::nullopt;
    case Kind::kInt:
      return asInt(word);
    case Kind::kFloat:
      return asFloat(word);
    case Kind::kString:
      return asString(word);
    case Kind::kValue:
      if (auto value = readLiteral(word)) return Reading{*std::move(value), 1};
      return Reading{std::string(word), 1};
    case Kind::kList:
      if (auto value = readLiteral(word); value && fits(type, *value)) {
        return Reading{*std::move(value), 0};
      }
      return std::nullopt;
    default:
      return std::nullopt;
  }
}

std::string expectation(const xo::Type& type) {
  switch (type.kind) {
    case Kind::kBool:
      return "true or false";
    case Kind::kInt:
      return "an integer of 32 bits";
    case Kind::kFloat:
      return "a number";
    case Kind::kString:
      return "a text";
    case Kind::kList:
      return "a list such as " + exampleOf(type.element.front());
    default:
      return "a value";
  }
}

}  // namespace ledctl
