// Where a robot is found: the two forms of address, and where one listens unless told otherwise.
// Pure functions and constants, shared by robots and their clients.
#pragma once

#include <string>
#include <string_view>

namespace remote {

/// The TCP port of a robot that was told nothing else.
inline constexpr int kDefaultPort = 5480;
/// The TCP address of a robot that was told nothing else.
inline constexpr const char* kDefaultTcpAddress = "127.0.0.1:5480";

/// "HOST:PORT" ("127.0.0.1:5480", "[::1]:5480", "localhost:5480") or "unix:PATH".
struct Address {
  enum class Kind { kTcp, kUnix };
  Kind kind = Kind::kTcp;
  std::string host;  // without brackets; kTcp only
  int port = 0;      // 0..65535; kTcp only
  std::string path;  // kUnix only

  /// As people write it.
  std::string text() const;
  /// Whether only processes of this machine get there. A host name other than "localhost" does not
  /// count, whatever it may resolve to.
  bool isLocal() const;
  bool operator==(const Address&) const = default;
};

/// Errors: `std::invalid_argument` that names the text and the forms allowed.
Address parseAddress(std::string_view text);

/// The Unix socket of this user's robot: "$XDG_RUNTIME_DIR/tavro/robot.sock", or
/// "/tmp/tavro-UID/robot.sock" where there is no such directory.
std::string defaultUnixPath();

/// Whether somebody accepts connections at this Unix socket.
bool isUnixSocketLive(const std::string& path);

/// Where a client looks for the robot: the Unix socket of this user's robot when one listens there,
/// else `kDefaultTcpAddress`.
Address defaultAddress();

}  // namespace remote
