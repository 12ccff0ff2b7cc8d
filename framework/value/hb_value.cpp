#include "framework/value/hb_value.h"

#include <array>
#include <charconv>
#include <cmath>
#include <stdexcept>
#include <utility>

namespace HB {
namespace {

constexpr std::size_t kQuotedLength = 60;  // characters of a value that an error's text shows

[[noreturn]] void throwExpected(const HBValue& value, std::string_view expected) {
  throw std::invalid_argument(value.toText(kQuotedLength) + " is " +
                              std::string(typeName(value.getType())) + "; expected " +
                              std::string(expected));
}

[[noreturn]] void throwNoSuchElement(int index, std::size_t size) {
  throw std::out_of_range("A list of " + std::to_string(size) + " elements has no element " +
                          std::to_string(index));
}

// The bounds are powers of two, exact in single precision; a NaN fails both comparisons.
int wholeToInt(const HBValue& value, float number) {
  if (!(number >= -2147483648.0f && number < 2147483648.0f)) {
    throw std::invalid_argument(value.toText(kQuotedLength) +
                                " does not fit into 32 bits; expected an integer");
  }
  if (std::trunc(number) != number) {
    throw std::invalid_argument(value.toText(kQuotedLength) + " is not whole; expected an integer");
  }
  return static_cast<int>(number);
}

// Writes a value until the text is long enough; what follows is never looked at, so that the text
// of a huge list costs no more than that of a short one.
class TextWriter {
 public:
  explicit TextWriter(std::size_t maxLength) : fMaxLength(maxLength) {}

  void write(const HBValue& value) {
    switch (value.getType()) {
      case HBValue::TypeInvalid:
        fText += "null";
        return;
      case HBValue::TypeBinary:
        fText += "<" + std::to_string(value.toBinary().bytes.size()) + " bytes>";
        return;
      case HBValue::TypeBool:
        fText += value.toBool() ? "true" : "false";
        return;
      case HBValue::TypeInt:
        fText += std::to_string(value.toInt());
        return;
      case HBValue::TypeFloat:
        xWriteFloat(value.toFloat());
        return;
      case HBValue::TypeString:
        xWriteString(value.toString());
        return;
      case HBValue::TypeList:
        xWriteList(value.toList());
        return;
    }
  }

  std::string take() {
    if (fText.size() <= fMaxLength) return std::move(fText);
    std::size_t end = fMaxLength;
    while (end > 0 && isContinuation(fText[end])) --end;  // never half a character
    return fText.substr(0, end) + "...";
  }

 private:
  static bool isContinuation(char c) { return (static_cast<unsigned char>(c) & 0xC0u) == 0x80u; }
  bool xIsFull() const { return fText.size() > fMaxLength; }

  void xWriteFloat(float number) {
    if (std::isnan(number)) {
      fText += "nan";
      return;
    }
    if (std::isinf(number)) {
      fText += number < 0 ? "-inf" : "inf";
      return;
    }
    std::array<char, 32> buffer{};
    const auto end = std::to_chars(buffer.data(), buffer.data() + buffer.size(), number).ptr;
    const std::string_view digits(buffer.data(), static_cast<std::size_t>(end - buffer.data()));
    fText += digits;
    if (digits.find_first_of(".e") == std::string_view::npos)
      fText += ".0";  // tells it from an int
  }

  void xWriteString(const std::string& text) {
    fText += '"';
    for (const char c : text) {
      if (xIsFull()) return;
      xWriteCharacter(c);
    }
    fText += '"';
  }

  void xWriteCharacter(char c) {
    if (c == '"' || c == '\\') {
      fText += '\\';
      fText += c;
    } else if (c == '\n') {
      fText += "\\n";
    } else if (c == '\t') {
      fText += "\\t";
    } else if (static_cast<unsigned char>(c) < 0x20u || c == '\x7f') {
      constexpr std::string_view kHex = "0123456789abcdef";
      const auto code = static_cast<unsigned char>(c);
      fText += "\\u00";
      fText += kHex[code >> 4u];
      fText += kHex[code & 0xFu];
    } else {
      fText += c;
    }
  }

  void xWriteList(const HBValue::List& list) {
    fText += '[';
    bool isFirst = true;
    for (const HBValue& element : list) {
      if (xIsFull()) return;
      if (!isFirst) fText += ", ";
      isFirst = false;
      write(element);
    }
    fText += ']';
  }

  const std::size_t fMaxLength;
  std::string fText;
};

}  // namespace

std::string_view typeName(HBValue::Type type) noexcept {
  switch (type) {
    case HBValue::TypeInvalid:
      return "an invalid value";
    case HBValue::TypeBinary:
      return "binary data";
    case HBValue::TypeBool:
      return "a boolean";
    case HBValue::TypeInt:
      return "an integer";
    case HBValue::TypeFloat:
      return "a float";
    case HBValue::TypeString:
      return "a string";
    case HBValue::TypeList:
      return "a list";
  }
  return "a value of an unknown type";
}

int HBValue::getSize() const { return static_cast<int>(toList().size()); }

const HBValue& HBValue::operator[](int index) const {
  const List& list = toList();
  if (index < 0 || static_cast<std::size_t>(index) >= list.size()) {
    throwNoSuchElement(index, list.size());
  }
  return list[static_cast<std::size_t>(index)];
}

HBValue& HBValue::operator[](int index) {
  return const_cast<HBValue&>(std::as_const(*this)[index]);
}

void HBValue::arraySetSize(int size) {
  if (size < 0) {
    throw std::invalid_argument("A list cannot have " + std::to_string(size) + " elements");
  }
  if (getType() != TypeList) fData = List();
  std::get<List>(fData).resize(static_cast<std::size_t>(size));
}

bool HBValue::toBool() const {
  if (const bool* value = std::get_if<bool>(&fData)) return *value;
  throwExpected(*this, typeName(TypeBool));
}

int HBValue::toInt() const {
  if (const int* value = std::get_if<int>(&fData)) return *value;
  if (const float* value = std::get_if<float>(&fData)) return wholeToInt(*this, *value);
  throwExpected(*this, typeName(TypeInt));
}

float HBValue::toFloat() const {
  if (const float* value = std::get_if<float>(&fData)) return *value;
  if (const int* value = std::get_if<int>(&fData)) return static_cast<float>(*value);
  throwExpected(*this, typeName(TypeFloat));
}

const std::string& HBValue::toString() const {
  if (const auto* value = std::get_if<std::string>(&fData)) return *value;
  throwExpected(*this, typeName(TypeString));
}

const HBValue::List& HBValue::toList() const {
  if (const List* value = std::get_if<List>(&fData)) return *value;
  throwExpected(*this, typeName(TypeList));
}

const Binary& HBValue::toBinary() const {
  if (const Binary* value = std::get_if<Binary>(&fData)) return *value;
  throwExpected(*this, typeName(TypeBinary));
}

std::string HBValue::toText(std::size_t maxLength) const {
  TextWriter writer(maxLength);
  writer.write(*this);
  return writer.take();
}

}  // namespace HB
