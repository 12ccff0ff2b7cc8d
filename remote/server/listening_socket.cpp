#include "remote/server/listening_socket.h"

#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <system_error>

namespace remote {
namespace {

constexpr int kFlags = SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK;

[[noreturn]] void throwUnusable(const std::string& address, const std::string& why) {
  throw std::runtime_error("Cannot listen on " + address + ": " + why);
}

[[noreturn]] void throwErrno(const std::string& address) {
  throwUnusable(address, std::system_category().message(errno));
}

}  // namespace

void Descriptor::reset() {
  if (fFile >= 0) ::close(std::exchange(fFile, -1));
}

Descriptor listenTcp(const Address& address) {
  addrinfo hints{};
  hints.ai_family = AF_UNSPEC;
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_flags = AI_PASSIVE | AI_NUMERICHOST | AI_NUMERICSERV;
  addrinfo* found = nullptr;
  const int error =
      ::getaddrinfo(address.host.c_str(), std::to_string(address.port).c_str(), &hints, &found);
  if (error != 0) throwUnusable(address.text(), ::gai_strerror(error));
  const std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)> owner(found, &::freeaddrinfo);

  Descriptor listener(::socket(found->ai_family, kFlags, 0));
  const int on = 1;  // connections of an earlier robot may still be fading away
  if (listener.get() < 0 ||
      ::setsockopt(listener.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on)) != 0 ||
      ::bind(listener.get(), found->ai_addr, found->ai_addrlen) != 0 ||
      ::listen(listener.get(), SOMAXCONN) != 0) {
    throwErrno(address.text());
  }
  return listener;
}

int portOf(const Descriptor& listener) {
  sockaddr_storage name{};
  socklen_t size = sizeof(name);
  if (::getsockname(listener.get(), reinterpret_cast<sockaddr*>(&name), &size) != 0) return 0;
  return ntohs(name.ss_family == AF_INET6 ? reinterpret_cast<const sockaddr_in6*>(&name)->sin6_port
                                          : reinterpret_cast<const sockaddr_in*>(&name)->sin_port);
}

Descriptor listenUnix(const std::string& path) {
  sockaddr_un name{};
  name.sun_family = AF_UNIX;
  std::memcpy(name.sun_path, path.c_str(), std::min(path.size(), sizeof(name.sun_path) - 1));
  Descriptor listener(::socket(AF_UNIX, kFlags, 0));
  // Nobody can connect before it listens, so nobody else ever can.
  if (listener.get() < 0 ||
      ::bind(listener.get(), reinterpret_cast<const sockaddr*>(&name), sizeof(name)) != 0 ||
      ::chmod(path.c_str(), 0600) != 0 || ::listen(listener.get(), SOMAXCONN) != 0) {
    throwErrno("unix:" + path);
  }
  return listener;
}

}  // namespace remote
