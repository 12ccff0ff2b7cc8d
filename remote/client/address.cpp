#include "remote/client/address.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

namespace remote {
namespace {

constexpr std::string_view kUnixPrefix = "unix:";

[[noreturn]] void throwMalformed(std::string_view text, const char* why) {
  throw std::invalid_argument("'" + std::string(text) + "' is not an address: " + why +
                              "; allowed are HOST:PORT, such as " + kDefaultTcpAddress +
                              ", and unix:PATH");
}

int parsePort(std::string_view whole, std::string_view digits) {
  int port = -1;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), port);
  if (error != std::errc() || end != digits.data() + digits.size() || port < 0 || port > 65535) {
    throwMalformed(whole, "the port must be a number from 0 to 65535");
  }
  return port;
}

bool isDirectoryOfThisUser(const std::string& path) {
  struct stat found {};
  return ::lstat(path.c_str(), &found) == 0 && S_ISDIR(found.st_mode) && found.st_uid == ::getuid();
}

/// A socket that belongs to this user: what somebody else put at the default place is not asked.
bool isSocketOfThisUser(const std::string& path) {
  struct stat found {};
  return ::lstat(path.c_str(), &found) == 0 && S_ISSOCK(found.st_mode) &&
         found.st_uid == ::getuid();
}

}  // namespace

std::string Address::text() const {
  if (kind == Kind::kUnix) return std::string(kUnixPrefix) + path;
  const bool isIp6 = host.find(':') != std::string::npos;
  return (isIp6 ? "[" + host + "]" : host) + ":" + std::to_string(port);
}

bool Address::isLocal() const {
  if (kind == Kind::kUnix || host == "localhost" || host == "::1") return true;
  if (!host.starts_with("127.")) return false;
  int parts = 0;
  for (std::size_t at = 0; at <= host.size();
       ++parts) {  // four numbers, not a name such as 127.x.y
    const std::size_t dot = std::min(host.find('.', at), host.size());
    int number = -1;
    const auto [end, error] = std::from_chars(host.data() + at, host.data() + dot, number);
    if (error != std::errc() || end != host.data() + dot || number < 0 || number > 255)
      return false;
    at = dot + 1;
  }
  return parts == 4;
}

Address parseAddress(std::string_view text) {
  Address address;
  if (text.starts_with(kUnixPrefix)) {
    address.kind = Address::Kind::kUnix;
    address.path = text.substr(kUnixPrefix.size());
    if (address.path.empty()) throwMalformed(text, "the path is missing");
    if (address.path.find('\0') != std::string::npos) throwMalformed(text, "a path has no zero");
    if (address.path.size() >= sizeof(sockaddr_un::sun_path)) {
      throwMalformed(text, "a Unix socket's path has at most 107 characters");
    }
    return address;
  }
  const std::size_t colon = text.rfind(':');
  if (colon == std::string_view::npos) throwMalformed(text, "the port is missing");
  std::string_view host = text.substr(0, colon);
  if (host.starts_with('[') && host.ends_with(']')) {
    host = host.substr(1, host.size() - 2);
  } else if (host.find(':') != std::string_view::npos) {
    throwMalformed(text, "an IPv6 address stands in brackets");
  }
  if (host.empty()) throwMalformed(text, "the host is missing");
  if (host.find_first_of("/ \t\r\n%,@") != std::string_view::npos) {
    throwMalformed(text, "that is no host");
  }
  address.host = host;
  address.port = parsePort(text, text.substr(colon + 1));
  return address;
}

std::string defaultUnixPath() {
  const char* const runtime = std::getenv("XDG_RUNTIME_DIR");
  if (runtime != nullptr && *runtime == '/' && isDirectoryOfThisUser(runtime)) {
    std::string path = std::string(runtime) + "/tavro/robot.sock";
    if (path.size() < sizeof(sockaddr_un::sun_path)) return path;
  }
  return "/tmp/tavro-" + std::to_string(::getuid()) + "/robot.sock";
}

bool isUnixSocketLive(const std::string& path) {
  sockaddr_un name{};
  if (path.size() >= sizeof(name.sun_path)) return false;
  name.sun_family = AF_UNIX;
  std::memcpy(name.sun_path, path.c_str(), path.size() + 1);
  const int probe = ::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (probe < 0) return false;
  const int result = ::connect(probe, reinterpret_cast<const sockaddr*>(&name), sizeof(name));
  const bool isLive = result == 0 || errno == EAGAIN || errno == EINPROGRESS;
  ::close(probe);
  return isLive;
}

Address defaultAddress() {
  const std::string path = defaultUnixPath();
  if (isSocketOfThisUser(path) && isUnixSocketLive(path)) {
    return parseAddress(std::string(kUnixPrefix) + path);
  }
  return parseAddress(kDefaultTcpAddress);
}

}  // namespace remote
