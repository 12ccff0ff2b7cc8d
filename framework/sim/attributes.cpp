#include "framework/sim/attributes.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "framework/sim/characters.h"
#include "framework/sim/model_content.h"

namespace Sim::detail {
namespace {

constexpr std::string_view kSpace = " \t\r\n";

std::string listed(const auto& names) {
  std::string text;
  for (const auto& name : names) text += (text.empty() ? "" : ", ") + std::string(name);
  return text;
}

std::string tagOf(const tinyxml2::XMLElement& element) {
  return "<" + std::string(element.Name()) + ">";
}

std::string_view trimmed(std::string_view text) {
  const auto first = text.find_first_not_of(kSpace);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kSpace) - first + 1);
}

/// A decimal number; NaN for everything else.
double toNumber(std::string_view text) {
  text = trimmed(text);
  if (text.find_first_not_of("0123456789.eE+-") != std::string_view::npos) return std::nan("");
  if (text.starts_with('+') && !text.starts_with("+-")) text.remove_prefix(1);
  double value = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value);
  return error == std::errc() && stop == end ? value : std::nan("");
}

std::string shown(double limit) { return std::to_string(static_cast<int>(limit)); }

}  // namespace

void fail(const tinyxml2::XMLNode& node, const std::string& problem) {
  throw ModelError(node.GetLineNum(), problem);
}

void Attributes::xFail(const tinyxml2::XMLAttribute& attribute, const std::string& wrong) {
  throw ModelError(attribute.GetLineNum(),
                   std::string(attribute.Name()) + "=" + quoted(attribute.Value()) + " " + wrong);
}

Attributes::Attributes(const tinyxml2::XMLElement& element,
                       std::initializer_list<const char*> allowed)
    : fElement(element) {
  for (const auto* attribute = element.FirstAttribute(); attribute != nullptr;
       attribute = attribute->Next()) {
    const std::string_view name = attribute->Name();
    if (std::find(allowed.begin(), allowed.end(), name) != allowed.end()) continue;
    throw ModelError(attribute->GetLineNum(), "unknown attribute " + quoted(name) + " of " +
                                                  tagOf(element) + "; allowed: " + listed(allowed));
  }
}

std::string Attributes::required(const char* name) const {
  const auto* attribute = xFind(name);
  if (attribute == nullptr) {
    fail(fElement, tagOf(fElement) + " lacks its attribute " + quoted(name));
  }
  return attribute->Value();
}

std::string Attributes::name(const char* name) const {
  const auto* attribute = xFind(name);
  if (attribute == nullptr) return {};
  std::string value = attribute->Value();
  if (value.size() > Model::kMaxNameBytes) {
    xFail(*attribute, "is longer than " + std::to_string(Model::kMaxNameBytes) + " bytes");
  }
  if (hasControl(value)) xFail(*attribute, "holds a tab or a line end; a name stands on one line");
  return value;
}

std::vector<std::string> Attributes::words(const char* name) const {
  std::vector<std::string> found;
  const auto* attribute = xFind(name);
  if (attribute == nullptr) return found;
  std::string_view rest = attribute->Value();
  for (rest = trimmed(rest); !rest.empty(); rest = trimmed(rest)) {
    const auto word = rest.substr(0, rest.find_first_of(kSpace));
    if (word.size() > Model::kMaxNameBytes) {
      xFail(*attribute,
            "has a name longer than " + std::to_string(Model::kMaxNameBytes) + " bytes");
    }
    found.emplace_back(word);
    rest.remove_prefix(word.size());
    if (found.size() > Model::kMaxGroupsOfLed) {
      xFail(*attribute,
            "names more groups than the " + std::to_string(Model::kMaxGroupsOfLed) + " of an LED");
    }
  }
  return found;
}

double Attributes::number(const char* name, double fallback, double least, double most) const {
  const auto* attribute = xFind(name);
  if (attribute == nullptr) return fallback;
  const double value = toNumber(attribute->Value());
  if (!(value >= least && value <= most)) {
    xFail(*attribute, "is no number from " + shown(least) + " to " + shown(most));
  }
  return value;
}

std::size_t Attributes::choice(const char* name,
                               const std::vector<std::string_view>& choices) const {
  const std::string value = required(name);
  const auto found = std::find(choices.begin(), choices.end(), value);
  if (found == choices.end()) {
    xFail(*xFind(name), "is unknown; allowed: " + listed(choices));
  }
  return static_cast<std::size_t>(found - choices.begin());
}

}  // namespace Sim::detail
