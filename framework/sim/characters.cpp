#include "framework/sim/characters.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <string>

#include "framework/sim/model.h"

namespace Sim::detail {
namespace {

/// The characters of XML.
bool isAllowed(std::uint32_t code) {
  if (code < 0x20) return code == '\t' || code == '\n' || code == '\r';
  return code < 0xD800 || (code > 0xDFFF && code < 0xFFFE) || (code > 0xFFFF && code < 0x110000);
}

/// Bytes of the allowed character that the text begins with; 0 if there is none.
std::size_t lengthOfCharacter(std::string_view text) {
  const auto lead = static_cast<unsigned char>(text[0]);
  if (lead < 0x80) return isAllowed(lead) ? 1 : 0;
  const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  if (lead < 0xC2 || lead > 0xF4 || text.size() < length) return 0;
  std::uint32_t code = lead & (0xFFu >> (length + 1));
  for (std::size_t i = 1; i < length; ++i) {
    const auto next = static_cast<unsigned char>(text[i]);
    if ((next & 0xC0) != 0x80) return 0;
    code = code << 6 | (next & 0x3Fu);
  }
  constexpr std::uint32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
  return code >= kSmallest[length] && isAllowed(code) ? length : 0;
}

}  // namespace

void checkCharacters(std::string_view text) {
  int line = 1;
  while (!text.empty()) {
    const std::size_t length = lengthOfCharacter(text);
    if (length == 0) {
      const auto byte = static_cast<unsigned char>(text[0]);
      const std::string what = byte == 0     ? "a NUL byte"
                               : byte < 0x20 ? "a control character"
                                             : "bytes that are not UTF-8";
      throw ModelError(line, what + "; a model is XML in UTF-8");
    }
    if (text[0] == '\n') ++line;
    text.remove_prefix(length);
  }
}

bool isReference(std::string_view text) {
  for (const std::string_view known : {"&amp;", "&lt;", "&gt;", "&quot;", "&apos;"}) {
    if (text.starts_with(known)) return true;
  }
  if (!text.starts_with("&#")) return false;
  const bool isHex = text.starts_with("&#x");
  text.remove_prefix(isHex ? 3 : 2);
  text = text.substr(0, 12);
  std::uint32_t code = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, code, isHex ? 16 : 10);
  return error == std::errc() && stop != end && *stop == ';' && isAllowed(code);
}

bool hasControl(std::string_view text) {
  return std::any_of(text.begin(), text.end(),
                     [](char c) { return static_cast<unsigned char>(c) < 0x20; });
}

}  // namespace Sim::detail
