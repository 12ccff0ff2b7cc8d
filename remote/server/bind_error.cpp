#include "remote/server/bind_error.h"

#include <netdb.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <stdexcept>
#include <system_error>

namespace remote {
namespace {

[[noreturn]] void throwUnusable(const Address& address, const std::string& why) {
  throw std::runtime_error("Cannot listen on " + address.text() + ": " + why);
}

}  // namespace

void requireBindable(const Address& address) {
  addrinfo hints{};
  hints.ai_family = AF_UNSPEC;
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_flags = AI_PASSIVE | AI_NUMERICHOST | AI_NUMERICSERV;
  addrinfo* found = nullptr;
  const int error =
      ::getaddrinfo(address.host.c_str(), std::to_string(address.port).c_str(), &hints, &found);
  if (error != 0) throwUnusable(address, ::gai_strerror(error));
  const std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)> owner(found, &::freeaddrinfo);

  const int probe = ::socket(found->ai_family, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (probe < 0) throwUnusable(address, std::system_category().message(errno));
  const int on = 1;  // as gRPC does: connections of an earlier robot may still be fading away
  ::setsockopt(probe, SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on));
  const bool isBound =
      ::bind(probe, found->ai_addr, found->ai_addrlen) == 0 && ::listen(probe, 1) == 0;
  const int reason = errno;
  ::close(probe);
  if (!isBound) throwUnusable(address, std::system_category().message(reason));
}

}  // namespace remote
