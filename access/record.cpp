#include "access/record.h"

namespace door {

std::string argsText(std::span<const HB::HBValue> args) {
  std::string text = "[";
  for (const HB::HBValue& arg : args) {
    if (text.size() > 1) text += ", ";
    if (text.size() >= CallRecord::kArgsBytes) return text.substr(0, text.size() - 2) + "...";
    const std::size_t room = CallRecord::kArgsBytes - text.size();
    const std::string one = arg.toText(room);
    text += one;
    if (one.size() > room) return text;  // it ends with "..."
  }
  return text + "]";
}

}  // namespace door
