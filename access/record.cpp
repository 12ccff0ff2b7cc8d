#include "access/record.h"

namespace door {

ArgsText::ArgsText(std::span<const HB::HBValue> args) {
  text.reserve(64);  // enough for most
  for (const HB::HBValue& arg : args) {
    if (text.size() > 1) text += ", ";
    if (text.size() >= CallRecord::kArgsBytes) {
      text.replace(text.size() - 2, 2, "...");
      return;
    }
    const std::size_t room = CallRecord::kArgsBytes - text.size();
    const std::string one = arg.toText(room);
    text += one;
    if (firstEnd == 1) firstEnd = text.size();
    if (one.size() > room) return;  // it ends with "..."
  }
  text += ']';
}

}  // namespace door
