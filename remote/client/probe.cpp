#include "remote/client/probe.h"

#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <system_error>

namespace remote {
namespace {

constexpr int kProbeMilliseconds = 1000;

std::string connectOnce(int family, const sockaddr* name, socklen_t size) {
  const int probe = ::socket(family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (probe < 0) return std::system_category().message(errno);
  int error = ::connect(probe, name, size) == 0 ? 0 : errno;
  if (error == EINPROGRESS) {
    pollfd waiting{probe, POLLOUT, 0};
    error = ETIMEDOUT;
    if (::poll(&waiting, 1, kProbeMilliseconds) > 0) {
      socklen_t length = sizeof(error);
      ::getsockopt(probe, SOL_SOCKET, SO_ERROR, &error, &length);
    }
  }
  ::close(probe);
  return error == 0 || error == EAGAIN ? "" : std::system_category().message(error);
}

}  // namespace

std::string whyNobodyListens(const Address& address) {
  if (address.kind == Address::Kind::kUnix) {
    sockaddr_un name{};
    name.sun_family = AF_UNIX;
    std::memcpy(name.sun_path, address.path.c_str(),
                std::min(address.path.size(), sizeof(name.sun_path) - 1));
    return connectOnce(AF_UNIX, reinterpret_cast<const sockaddr*>(&name), sizeof(name));
  }
  addrinfo hints{};
  hints.ai_family = AF_UNSPEC;
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  const int error =
      ::getaddrinfo(address.host.c_str(), std::to_string(address.port).c_str(), &hints, &found);
  if (error != 0) return ::gai_strerror(error);
  const std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)> owner(found, &::freeaddrinfo);
  std::string why;
  for (const addrinfo* one = found; one != nullptr; one = one->ai_next) {
    why = connectOnce(one->ai_family, one->ai_addr, one->ai_addrlen);
    if (why.empty()) break;
  }
  return why;
}

}  // namespace remote
