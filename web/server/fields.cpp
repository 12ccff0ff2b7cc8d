#include "web/server/fields.h"

#include "access/refused.h"

namespace web {
namespace {

[[noreturn]] void refuse(const char* name, const std::string& text) {
  throw door::Refused(door::Refused::Why::kMalformed,
                      "'" + std::string(name) + "' must be " + text);
}

}  // namespace

bool isNumber(const Json& json) {
  if (!json.is_number_unsigned()) return false;
  const auto number = json.get<std::uint64_t>();
  return number > 0 && number <= static_cast<std::uint64_t>(kLargestExact);
}

const std::string& textField(const Json& request, const char* name) {
  const auto found = request.find(name);
  if (found == request.end() || !found->is_string()) refuse(name, "a text");
  return found->get_ref<const std::string&>();
}

std::string optionalTextField(const Json& request, const char* name) {
  return request.contains(name) ? textField(request, name) : "";
}

std::uint64_t numberField(const Json& request, const char* name) {
  const auto found = request.find(name);
  if (found == request.end() || !isNumber(*found)) refuse(name, "a positive whole number");
  return found->get<std::uint64_t>();
}

std::vector<std::uint64_t> numbersField(const Json& request, const char* name, std::size_t most) {
  const auto found = request.find(name);
  const std::string wanted =
      "a list of at most " + std::to_string(most) + " whole numbers from 0 on";
  if (found == request.end() || !found->is_array() || found->size() > most) refuse(name, wanted);
  std::vector<std::uint64_t> numbers;
  numbers.reserve(found->size());
  for (const Json& element : *found) {
    if (!isNumber(element) && element != 0U) refuse(name, wanted);
    numbers.push_back(element.get<std::uint64_t>());
  }
  return numbers;
}

std::vector<HB::HBValue> valuesField(const Json& request, const char* name) {
  std::vector<HB::HBValue> values;
  const auto found = request.find(name);
  if (found == request.end()) return values;
  if (!found->is_array()) refuse(name, "a list");
  values.reserve(found->size());
  for (const Json& element : *found) {
    values.push_back(
        fromJson(element, std::string(name) + "[" + std::to_string(values.size()) + "]"));
  }
  return values;
}

}  // namespace web
