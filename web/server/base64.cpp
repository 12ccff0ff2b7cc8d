#include "web/server/base64.h"

#include <openssl/evp.h>

namespace web {
namespace {

const unsigned char* bytesOf(std::string_view text) {
  return reinterpret_cast<const unsigned char*>(text.data());
}

}  // namespace

std::string toBase64(const std::vector<std::uint8_t>& bytes) {
  std::string text(4 * ((bytes.size() + 2) / 3) + 1, '\0');  // the library ends it with a zero
  const int size = ::EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()), bytes.data(),
                                     static_cast<int>(bytes.size()));
  text.resize(static_cast<std::size_t>(size));
  return text;
}

std::optional<std::vector<std::uint8_t>> fromBase64(std::string_view text) {
  if (text.size() % 4 != 0) return std::nullopt;
  std::vector<std::uint8_t> bytes(text.size() / 4 * 3);
  const int size = ::EVP_DecodeBlock(bytes.data(), bytesOf(text), static_cast<int>(text.size()));
  if (size < 0) return std::nullopt;
  const std::size_t padding = text.ends_with("==") ? 2 : text.ends_with("=") ? 1 : 0;
  bytes.resize(static_cast<std::size_t>(size) - padding);
  if (toBase64(bytes) != text) return std::nullopt;  // the library forgives more than we do
  return bytes;
}

}  // namespace web
