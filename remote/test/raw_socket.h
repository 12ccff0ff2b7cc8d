// Bare sockets, for tests of what is no robot and no client.
#pragma once

#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <stdexcept>
#include <string>
#include <utility>

namespace remote {

class RawSocket {
 public:
  static RawSocket connectTcp(int port) {
    RawSocket made(AF_INET);
    const sockaddr_in name = loopback(port);
    if (::connect(made.fFile, reinterpret_cast<const sockaddr*>(&name), sizeof(name)) != 0) {
      throw std::runtime_error("connect failed");
    }
    return made;
  }
  static RawSocket connectUnix(const std::string& path) {
    RawSocket made(AF_UNIX);
    const sockaddr_un name = named(path);
    if (::connect(made.fFile, reinterpret_cast<const sockaddr*>(&name), sizeof(name)) != 0) {
      throw std::runtime_error("connect failed");
    }
    return made;
  }
  /// On a free port.
  static RawSocket listenTcp() {
    RawSocket made(AF_INET);
    const sockaddr_in name = loopback(0);
    made.listenOn(reinterpret_cast<const sockaddr*>(&name), sizeof(name));
    return made;
  }
  static RawSocket listenUnix(const std::string& path) {
    RawSocket made(AF_UNIX);
    const sockaddr_un name = named(path);
    made.listenOn(reinterpret_cast<const sockaddr*>(&name), sizeof(name));
    return made;
  }
  /// Waits for a connection.
  RawSocket accept() const { return RawSocket(::accept(fFile, nullptr, nullptr), 0); }

  RawSocket(RawSocket&& other) noexcept : fFile(std::exchange(other.fFile, -1)) {}
  RawSocket& operator=(RawSocket&&) = delete;
  ~RawSocket() {
    if (fFile >= 0) ::close(fFile);
  }

  int port() const {
    sockaddr_in name{};
    socklen_t size = sizeof(name);
    ::getsockname(fFile, reinterpret_cast<sockaddr*>(&name), &size);
    return ntohs(name.sin_port);
  }
  int file() const { return fFile; }
  /// It ends without a goodbye, and so does the connection.
  void breakOff() {
    const linger now{1, 0};
    ::setsockopt(fFile, SOL_SOCKET, SO_LINGER, &now, sizeof(now));
    ::close(std::exchange(fFile, -1));
  }
  /// As much as is taken; a peer that closes is no fault.
  void send(const std::string& text) const {
    (void)::send(fFile, text.data(), text.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
  }
  /// So many bytes, or those that came before the peer closed.
  std::string receive(std::size_t bytes) const {
    std::string text(bytes, 0);
    const auto got = ::recv(fFile, text.data(), bytes, MSG_WAITALL);
    text.resize(got < 0 ? 0 : static_cast<std::size_t>(got));
    return text;
  }
  void closeSending() const { ::shutdown(fFile, SHUT_WR); }
  /// Ends a waiting `accept`.
  void closeListening() const { ::shutdown(fFile, SHUT_RDWR); }

 private:
  explicit RawSocket(int family) : fFile(::socket(family, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    if (fFile < 0) throw std::runtime_error("socket failed");
  }
  RawSocket(int file, int) : fFile(file) {}
  static sockaddr_in loopback(int port) {
    sockaddr_in name{};
    name.sin_family = AF_INET;
    name.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    name.sin_port = htons(static_cast<std::uint16_t>(port));
    return name;
  }
  static sockaddr_un named(const std::string& path) {
    sockaddr_un name{};
    name.sun_family = AF_UNIX;
    std::memcpy(name.sun_path, path.c_str(), path.size() + 1);
    return name;
  }
  void listenOn(const sockaddr* name, socklen_t size) const {
    if (::bind(fFile, name, size) != 0 || ::listen(fFile, 16) != 0) {
      throw std::runtime_error("listen failed");
    }
  }

  int fFile;
};

}  // namespace remote
