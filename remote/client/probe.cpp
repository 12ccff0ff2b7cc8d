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
/// How a robot begins what it says last.
constexpr const char* kTurnedAway[] = {"The connections have reached the limit of ",
                                       "No connection can be taken in: "};

/// The first words of whoever accepted the connection, as far as they come at once.
std::string firstWords(int connection) {
  std::string words(512, '\0');
  pollfd waiting{connection, POLLIN, 0};
  const ssize_t got = ::poll(&waiting, 1, kProbeMilliseconds) > 0
                          ? ::recv(connection, words.data(), words.size(), 0)
                          : 0;
  words.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
  return words;
}

/// Why nobody was reached, or "". `words` may be null.
std::string connectOnce(int family, const sockaddr* name, socklen_t size, std::string* words) {
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
  if (error == 0 && words != nullptr) *words = firstWords(probe);
  ::close(probe);
  return error == 0 || error == EAGAIN ? "" : std::system_category().message(error);
}

std::string probe(const Address& address, std::string* words) {
  if (address.kind == Address::Kind::kUnix) {
    sockaddr_un name{};
    name.sun_family = AF_UNIX;
    std::memcpy(name.sun_path, address.path.c_str(),
                std::min(address.path.size(), sizeof(name.sun_path) - 1));
    return connectOnce(AF_UNIX, reinterpret_cast<const sockaddr*>(&name), sizeof(name), words);
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
    why = connectOnce(one->ai_family, one->ai_addr, one->ai_addrlen, words);
    if (why.empty()) break;
  }
  return why;
}

}  // namespace

std::string whyNobodyListens(const Address& address) { return probe(address, nullptr); }

std::string whyTurnedAway(const Address& address) {
  std::string words;
  probe(address, &words);
  for (const char* const start : kTurnedAway) {
    const auto begin = words.find(start);
    if (begin != std::string::npos) return words.substr(begin);
  }
  return {};
}

}  // namespace remote
