#include "tools/ledctl/print.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <nlohmann/json.hpp>

namespace ledctl {

namespace {

using HB::HBValue;

bool isListOfTexts(const HBValue& value) {
  return value.getType() == HBValue::TypeList &&
         std::ranges::all_of(value.toList(), [](const HBValue& element) {
           return element.getType() == HBValue::TypeString;
         });
}

std::string jsonFloat(float value) {
  const std::string text = floatText(value);
  if (!std::isfinite(value)) return '"' + text + '"';
  return text.find_first_of(".e") == std::string::npos ? text + ".0" : text;
}

std::string hexText(const HB::Binary& binary) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string made;
  for (const std::uint8_t byte : binary.bytes) {
    made += kDigits[byte >> 4U];
    made += kDigits[byte & 15U];
  }
  return made;
}

}  // namespace

std::string floatText(float value) {
  if (std::isnan(value)) return "nan";
  std::array<char, 32> buffer{};
  const auto end = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value).ptr;
  return {buffer.data(), end};
}

std::string jsonText(std::string_view text) {
  return nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

std::string jsonText(const HBValue& value) {
  switch (value.getType()) {
    case HBValue::TypeBool:
      return value.toBool() ? "true" : "false";
    case HBValue::TypeInt:
      return std::to_string(value.toInt());
    case HBValue::TypeFloat:
      return jsonFloat(value.toFloat());
    case HBValue::TypeString:
      return jsonText(std::string_view(value.toString()));
    case HBValue::TypeBinary:
      return '"' + hexText(value.toBinary()) + '"';
    case HBValue::TypeList: {
      std::string made = "[";
      for (const auto& element : value.toList()) {
        if (made.size() > 1) made += ',';
        made += jsonText(element);
      }
      return made + ']';
    }
    default:
      return "null";
  }
}

std::string plainText(const HBValue& value) {
  switch (value.getType()) {
    case HBValue::TypeInvalid:
      return "";
    case HBValue::TypeFloat:
      return floatText(value.toFloat());
    case HBValue::TypeString:
      return value.toString();
    case HBValue::TypeBinary:
      return hexText(value.toBinary());
    default:
      break;
  }
  if (!isListOfTexts(value)) return jsonText(value);
  std::string made;
  for (const auto& element : value.toList()) {
    if (&element != &value.toList().front()) made += '\n';
    made += element.toString();
  }
  return made;
}

std::string harmless(std::string_view text) {
  std::string made;
  for (const char one : text) {
    const auto code = static_cast<unsigned char>(one);
    const bool isControl = (code < 0x20 && one != '\n' && one != '\t') || code == 0x7f;
    made += isControl ? '?' : one;
  }
  return made;
}

}  // namespace ledctl
