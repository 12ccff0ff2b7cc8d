// What a browser makes of a gzip file.
#pragma once

#include <zlib.h>

#include <array>
#include <string>

namespace web {

/// "not gzip" for what is none.
inline std::string unpacked(std::string packed) {
  constexpr int kGzipOnly = 15 + 16;
  z_stream stream{};
  std::string content;
  if (::inflateInit2(&stream, kGzipOnly) != Z_OK) return "not gzip";
  stream.next_in = reinterpret_cast<Bytef*>(packed.data());
  stream.avail_in = static_cast<uInt>(packed.size());
  int result = Z_OK;
  while (result == Z_OK) {
    std::array<char, 4096> part{};
    stream.next_out = reinterpret_cast<Bytef*>(part.data());
    stream.avail_out = static_cast<uInt>(part.size());
    result = ::inflate(&stream, Z_NO_FLUSH);
    content.append(part.data(), part.size() - stream.avail_out);
  }
  ::inflateEnd(&stream);
  return result == Z_STREAM_END ? content : "not gzip";
}

}  // namespace web
