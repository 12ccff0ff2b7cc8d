#include "web/server/gzip.h"

#include <zlib.h>

#include <algorithm>
#include <new>
#include <optional>

namespace web {
namespace {

/// The largest window, and what makes zlib write the header of a gzip file.
constexpr int kWindow = 15 + 16;
constexpr int kMemoryLevel = 8;

std::string_view trimmed(std::string_view text) {
  const auto first = text.find_first_not_of(" \t");
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

bool isSame(std::string_view text, std::string_view lowerCase) {
  return std::ranges::equal(text, lowerCase, {}, [](char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
  });
}

/// The part up to the sign, which is taken off the text with it.
std::string_view takePart(std::string_view& text, char sign) {
  const std::string_view part = text.substr(0, text.find(sign));
  text.remove_prefix(std::min(part.size() + 1, text.size()));
  return trimmed(part);
}

/// "0", "0.", "1.000", "0.5": at most three digits after the point, and nothing above 1.
std::optional<bool> isAboveZero(std::string_view weight) {
  constexpr std::size_t kLongest = 5;
  if (weight.empty() || weight.size() > kLongest) return std::nullopt;
  if (weight[0] != '0' && weight[0] != '1') return std::nullopt;
  if (weight.size() > 1 && weight[1] != '.') return std::nullopt;
  const std::string_view digits = weight.substr(std::min<std::size_t>(2, weight.size()));
  if (digits.find_first_not_of("0123456789") != std::string_view::npos) return std::nullopt;
  const bool hasFraction = digits.find_first_not_of('0') != std::string_view::npos;
  if (weight[0] == '1') return hasFraction ? std::nullopt : std::optional(true);
  return hasFraction;
}

/// Of what follows the name of a coding; nothing when that cannot be read.
std::optional<bool> isWanted(std::string_view parameters) {
  if (parameters.empty()) return true;
  const std::string_view name = takePart(parameters, '=');
  if (!isSame(name, "q")) return std::nullopt;
  return isAboveZero(trimmed(parameters));
}

}  // namespace

std::string gzip(std::string_view content) {
  z_stream stream{};
  if (::deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, kWindow, kMemoryLevel,
                     Z_DEFAULT_STRATEGY) != Z_OK) {
    throw std::bad_alloc();
  }
  std::string packed(::deflateBound(&stream, content.size()), '\0');
  // zlib's interface is older than const.
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(content.data()));
  stream.avail_in = static_cast<uInt>(content.size());
  stream.next_out = reinterpret_cast<Bytef*>(packed.data());
  stream.avail_out = static_cast<uInt>(packed.size());
  const int result = ::deflate(&stream, Z_FINISH);
  packed.resize(stream.total_out);
  ::deflateEnd(&stream);
  if (result != Z_STREAM_END) throw std::bad_alloc();
  return packed;
}

bool acceptsGzip(std::string_view header) {
  std::optional<bool> named;
  std::optional<bool> any;
  while (!header.empty()) {
    std::string_view element = takePart(header, ',');
    const std::string_view name = takePart(element, ';');
    if (isSame(name, "gzip") || isSame(name, "x-gzip")) named = isWanted(trimmed(element));
    if (name == "*") any = isWanted(trimmed(element));
  }
  return named.value_or(any.value_or(false));
}

}  // namespace web
