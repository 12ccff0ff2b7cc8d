#include "web/server/json.h"

#include <array>
#include <charconv>
#include <cmath>
#include <limits>

#include "access/refused.h"
#include "web/server/base64.h"

namespace web {
namespace {

using HB::HBValue;

constexpr std::size_t kQuoted = 40;

/// Fails before the parser and what it makes could nest without bound.
void requireShallow(std::string_view text) {
  std::size_t depth = 0;
  bool isInText = false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (isInText) {
      if (c == '\\') ++i;
      if (c == '"') isInText = false;
    } else if (c == '"') {
      isInText = true;
    } else if (c == '[' || c == '{') {
      if (++depth > kMostNested) {
        throw BadMessage("A message may nest lists and objects " + std::to_string(kMostNested) +
                         " deep");
      }
    } else if ((c == ']' || c == '}') && depth > 0) {
      --depth;
    }
  }
}

/// The double that reads as the float's shortest digits: 0.3, not 0.30000001192092896.
double shortest(float value) {
  std::array<char, 32> digits{};
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr;
  double made = value;
  std::from_chars(digits.data(), end, made);
  return made;
}

const char* nameOfNotFinite(float value) {
  if (std::isnan(value)) return "NaN";
  return value > 0 ? "Infinity" : "-Infinity";
}

Json toJsonWithin(const HBValue& value, std::size_t depth) {
  switch (value.getType()) {
    case HBValue::TypeInvalid:
      return nullptr;
    case HBValue::TypeBool:
      return value.toBool();
    case HBValue::TypeInt:
      return value.toInt();
    case HBValue::TypeFloat:
      if (!std::isfinite(value.toFloat())) return {{"float", nameOfNotFinite(value.toFloat())}};
      return shortest(value.toFloat());
    case HBValue::TypeString:
      return value.toString();
    case HBValue::TypeBinary:
      return {{"binary", toBase64(value.toBinary().bytes)}};
    case HBValue::TypeList:
      break;
  }
  if (depth == 0) throw std::length_error("A value is nested too deeply for the page");
  Json list = Json::array();
  for (const HBValue& element : value.toList()) list.push_back(toJsonWithin(element, depth - 1));
  return list;
}

[[noreturn]] void refuse(const std::string& where, const std::string& text) {
  throw door::Refused(door::Refused::Why::kMalformed, where + " " + text);
}

std::string quoted(const Json& json) {
  const std::string text = textOf(json);
  return text.size() <= kQuoted ? text : text.substr(0, kQuoted) + "...";
}

HBValue intOf(std::int64_t number, const std::string& where, const std::string& text) {
  if (number < std::numeric_limits<int>::min() || number > std::numeric_limits<int>::max()) {
    refuse(where, "is " + text + "; a whole number must lie within -2147483648 to 2147483647");
  }
  return static_cast<int>(number);
}

HBValue floatOf(double number, const std::string& where, const std::string& text) {
  if (std::abs(number) > static_cast<double>(std::numeric_limits<float>::max())) {
    refuse(where, "is " + text + "; a number must lie within -3.4028235e38 to 3.4028235e38");
  }
  return static_cast<float>(number);
}

HBValue namedFloat(const std::string& name, const std::string& where) {
  if (name == "NaN") return std::numeric_limits<float>::quiet_NaN();
  if (name == "Infinity") return std::numeric_limits<float>::infinity();
  if (name == "-Infinity") return -std::numeric_limits<float>::infinity();
  refuse(where,
         "has the float '" + name.substr(0, kQuoted) + "'; there are NaN, Infinity and -Infinity");
}

HBValue namedInt(const std::string& digits, const std::string& where) {
  std::int64_t number = 0;
  const char* const last = digits.data() + digits.size();
  const auto [end, error] = std::from_chars(digits.data(), last, number);
  if (end != last || digits.empty() || error == std::errc::invalid_argument) {
    refuse(where, "has the int '" + digits.substr(0, kQuoted) + "', which is no whole number");
  }
  if (error != std::errc()) number = std::numeric_limits<std::int64_t>::max();
  return intOf(number, where, digits.substr(0, kQuoted));
}

/// {"float": ...}, {"int": ...} or {"binary": ...}.
HBValue fromObject(const Json& json, const std::string& where) {
  if (json.size() == 1 && json.begin()->is_string()) {
    const std::string& kind = json.begin().key();
    const auto& text = json.begin()->get_ref<const std::string&>();
    if (kind == "float") return namedFloat(text, where);
    if (kind == "int") return namedInt(text, where);
    if (kind == "binary") {
      auto bytes = fromBase64(text);
      if (!bytes) refuse(where, "has a binary that is not base64");
      return HB::Binary{*std::move(bytes)};
    }
  }
  refuse(where, "is " + quoted(json) +
                    "; an object must be {\"float\":TEXT}, {\"int\":TEXT} or {\"binary\":TEXT}");
}

HBValue fromUnsigned(const Json& json, const std::string& where) {
  const auto number = json.get<std::uint64_t>();
  constexpr auto kMost = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
  return intOf(static_cast<std::int64_t>(std::min(number, kMost)), where, quoted(json));
}

}  // namespace

Json parseObject(std::string_view text) {
  requireShallow(text);
  Json json = Json::parse(text, nullptr, false);
  if (json.is_discarded()) throw BadMessage("A message must be JSON");
  if (!json.is_object()) throw BadMessage("A message must be a JSON object");
  return json;
}

std::string textOf(const Json& json) {
  return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

Json toJson(const HBValue& value) { return toJsonWithin(value, kMostNested); }

void appendJson(std::string& text, const HBValue& value) {
  if (value.getType() == HBValue::TypeFloat && std::isfinite(value.toFloat())) {
    std::array<char, 32> digits{};  // what nearly all values are, many times a second
    const auto end =
        std::to_chars(digits.data(), digits.data() + digits.size(), value.toFloat()).ptr;
    text.append(digits.data(), end);
    return;
  }
  try {
    text += textOf(toJson(value));
  } catch (const std::length_error&) {
    text += "null";
  }
}

HBValue fromJson(const Json& json, const std::string& where) {
  switch (json.type()) {
    case Json::value_t::boolean:
      return json.get<bool>();
    case Json::value_t::number_integer:
      return intOf(json.get<std::int64_t>(), where, quoted(json));
    case Json::value_t::number_unsigned:
      return fromUnsigned(json, where);
    case Json::value_t::number_float:
      return floatOf(json.get<double>(), where, quoted(json));
    case Json::value_t::string:
      return json.get_ref<const std::string&>();
    case Json::value_t::object:
      return fromObject(json, where);
    case Json::value_t::array:
      break;
    default:
      return {};
  }
  HBValue::List list;
  list.reserve(json.size());
  for (const Json& element : json) {
    list.push_back(fromJson(element, where));
  }
  return list;
}

}  // namespace web
