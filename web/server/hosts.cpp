#include "web/server/hosts.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <boost/asio/ip/address.hpp>

namespace web {
namespace {

std::string lowerCase(std::string_view text) {
  std::string made(text);
  std::ranges::transform(made, made.begin(), [](char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
  });
  return made;
}

bool isAddress(const std::string& host) {
  boost::system::error_code error;
  if (host.starts_with('[') && host.ends_with(']')) {
    (void)boost::asio::ip::make_address_v6(host.substr(1, host.size() - 2), error);
  } else {
    (void)boost::asio::ip::make_address_v4(host, error);
  }
  return !error;
}

std::string nameOfThisMachine() {
  std::array<char, 256> name{};
  if (::gethostname(name.data(), name.size() - 1) != 0) return {};
  return lowerCase(name.data());
}

}  // namespace

Hosts::Hosts(const std::string& given, int port, bool hasTls)
    : fPort(std::to_string(port)),
      fScheme(hasTls ? "https" : "http"),
      fIsDefaultPort(port == (hasTls ? 443 : 80)),
      fNames{"localhost", lowerCase(given)} {
  const std::string own = nameOfThisMachine();
  if (!own.empty()) fNames.insert(fNames.end(), {own, own + ".local"});
}

bool Hosts::isOurs(std::string_view host) const {
  std::string name = lowerCase(host);
  const std::size_t colon = name.rfind(':');
  const bool hasPort = colon != std::string::npos && name.find(']', colon) == std::string::npos;
  if (hasPort ? name.substr(colon + 1) != fPort : !fIsDefaultPort) return false;
  if (hasPort) name.resize(colon);
  return isAddress(name) || std::ranges::find(fNames, name) != fNames.end();
}

bool Hosts::isOwnOrigin(std::string_view origin, std::string_view host) const {
  return lowerCase(origin) == fScheme + "://" + lowerCase(host);
}

}  // namespace web
