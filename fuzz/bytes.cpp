#include "fuzz/bytes.h"

#include <algorithm>

namespace fuzz {

std::uint8_t Bytes::byte() {
  if (fRest.empty()) return 0;
  const std::uint8_t first = fRest.front();
  fRest = fRest.subspan(1);
  return first;
}

std::uint32_t Bytes::word() {
  std::uint32_t made = 0;
  for (unsigned shift = 0; shift < 32; shift += 8) made |= std::uint32_t{byte()} << shift;
  return made;
}

std::size_t Bytes::below(std::size_t end) {
  const std::size_t drawn = end > 256 ? byte() + std::size_t{256} * byte() : byte();
  return drawn % end;
}

std::string Bytes::text(std::size_t most) {
  const std::size_t length = std::min(most, fRest.size());
  const auto taken = fRest.first(length);
  fRest = fRest.subspan(length);
  return {taken.begin(), taken.end()};
}

std::string_view Bytes::rest() const noexcept {
  return {reinterpret_cast<const char*>(fRest.data()), fRest.size()};
}

std::vector<std::string> linesOf(std::string_view text) {
  std::vector<std::string> lines;
  for (std::size_t from = 0;;) {
    const std::size_t end = text.find('\n', from);
    lines.emplace_back(text.substr(from, end - from));
    if (end == std::string_view::npos) return lines;
    from = end + 1;
  }
}

}  // namespace fuzz
