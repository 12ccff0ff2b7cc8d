#include "remote/proto/utf8.h"

#include <cstddef>
#include <cstdint>

namespace remote {
namespace {

std::uint8_t byteAt(std::string_view text, std::size_t index) {
  return static_cast<std::uint8_t>(text[index]);
}

/// Length of the well-formed sequence at `start`, 0 when there is none.
std::size_t sequenceLength(std::string_view text, std::size_t start) {
  const std::uint8_t first = byteAt(text, start);
  if (first < 0x80) return 1;
  std::size_t length = 0;
  std::uint8_t low = 0x80;  // bounds of the second byte: they exclude overlong forms and surrogates
  std::uint8_t high = 0xBF;
  if (first >= 0xC2 && first <= 0xDF) {
    length = 2;
  } else if (first >= 0xE0 && first <= 0xEF) {
    length = 3;
    if (first == 0xE0) low = 0xA0;
    if (first == 0xED) high = 0x9F;
  } else if (first >= 0xF0 && first <= 0xF4) {
    length = 4;
    if (first == 0xF0) low = 0x90;
    if (first == 0xF4) high = 0x8F;
  } else {
    return 0;
  }
  if (text.size() - start < length) return 0;
  if (byteAt(text, start + 1) < low || byteAt(text, start + 1) > high) return 0;
  for (std::size_t i = 2; i < length; ++i) {
    if ((byteAt(text, start + i) & 0xC0) != 0x80) return 0;
  }
  return length;
}

}  // namespace

bool isUtf8(std::string_view text) noexcept {
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t length = sequenceLength(text, at);
    if (length == 0) return false;
    at += length;
  }
  return true;
}

std::string replaceInvalidUtf8(std::string_view text) {
  std::string made;
  made.reserve(text.size());
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t length = sequenceLength(text, at);
    if (length == 0) {
      made += "\xEF\xBF\xBD";
      ++at;
    } else {
      made += text.substr(at, length);
      at += length;
    }
  }
  return made;
}

}  // namespace remote
