// Between the framework's values, plain types and texts. Nothing here touches the module's state.

#include <stdexcept>

#include "framework/xo/os.h"
#include "hardware/leds/src/hbleds.h"

namespace HB {

namespace {

/// `suffix` brings its own leading blank.
[[noreturn]] void refuse(const std::string& method, const char* suffix) {
  throw std::invalid_argument("HBLeds: " + method + suffix);
}

/// The size of a list that has elements. Its words differ from the scalar ones on purpose.
int requireElements(const HBValue& value, const std::string& method) {
  if (!value.isValid()) refuse(method, " HBValue was invalid");
  const int size = value.getSize();
  if (size == 0) refuse(method, " HBValue was empty");
  return size;
}

}  // namespace

float HBLeds::xExtractFloat(const HBValue& value, const std::string& method) const {
  if (!value.isValid()) refuse(method, " Invalid HBValue");
  if (value.getType() == HBValue::TypeInt) return static_cast<float>(value.toInt());
  if (value.getType() == HBValue::TypeFloat) return value.toFloat();
  refuse(method, " Expected a float");
}

std::string HBLeds::xExtractString(const HBValue& value, const std::string& method) const {
  if (!value.isValid()) refuse(method, " Invalid HBValue");
  if (value.getType() == HBValue::TypeString) return value.toString();
  refuse(method, " Expected a string");
}

std::vector<float> HBLeds::xExtractVectorOfFloatsFromHBValue(const HBValue& value,
                                                             const std::string& method) const {
  const int size = requireElements(value, method);
  std::vector<float> floats;
  floats.reserve(static_cast<std::size_t>(size));
  for (int i = 0; i < size; ++i) floats.push_back(xExtractFloat(value[i], method));
  return floats;
}

std::vector<std::string> HBLeds::xExtractVectorOfStringsFromHBValue(
    const HBValue& value, const std::string& method) const {
  const int size = requireElements(value, method);
  std::vector<std::string> strings;
  strings.reserve(static_cast<std::size_t>(size));
  for (int i = 0; i < size; ++i) strings.push_back(xExtractString(value[i], method));
  return strings;
}

HBValue HBLeds::xToHBValue(const std::vector<float>& values) const {
  HBValue list;
  list.arraySetSize(static_cast<int>(values.size()));
  for (std::size_t i = 0; i < values.size(); ++i) list[static_cast<int>(i)] = values[i];
  return list;
}

HBValue HBLeds::xToHBValue(const std::vector<std::string>& values) const {
  HBValue list;
  list.arraySetSize(static_cast<int>(values.size()));
  for (std::size_t i = 0; i < values.size(); ++i) list[static_cast<int>(i)] = HBValue(values[i]);
  return list;
}

std::string HBLeds::xToString(unsigned short number) const { return std::to_string(number); }

std::string HBLeds::xFloatToString(float number) const {
  char text[128];  // the longest needs 48
  xo::os::snprintf(text, sizeof text, "%8f", static_cast<double>(number));
  return text;
}

std::string HBLeds::xDecToString(int number) const {
  char text[16];  // the longest needs 12
  xo::os::snprintf(text, sizeof text, "%d", number);
  return text;
}

bool HBLeds::xIsFraction(float number) const { return 0.0F <= number && number <= 1.0F; }

}  // namespace HB
