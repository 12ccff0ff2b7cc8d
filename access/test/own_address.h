// Where others could reach this machine.
#pragma once

#include <arpa/inet.h>
#include <ifaddrs.h>

#include <array>
#include <string>

namespace door {

/// An address of this machine that others could reach; "" when it has none.
inline std::string ownAddress() {
  ifaddrs* all = nullptr;
  if (::getifaddrs(&all) != 0) return {};
  std::string found;
  for (const ifaddrs* one = all; one != nullptr && found.empty(); one = one->ifa_next) {
    if (one->ifa_addr == nullptr || one->ifa_addr->sa_family != AF_INET) continue;
    std::array<char, INET_ADDRSTRLEN> text{};
    const auto* const name = reinterpret_cast<const sockaddr_in*>(one->ifa_addr);
    if (ntohl(name->sin_addr.s_addr) >> 24U == IN_LOOPBACKNET) continue;
    if (::inet_ntop(AF_INET, &name->sin_addr, text.data(), text.size()) != nullptr) {
      found = text.data();
    }
  }
  ::freeifaddrs(all);
  return found;
}

}  // namespace door
