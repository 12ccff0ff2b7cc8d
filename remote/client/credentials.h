// What a client shows to a robot, and asks of it, where the address is not of this machine.
#pragma once

#include <optional>
#include <string>

#include "remote/client/address.h"

namespace remote {

/// How a connection is encrypted.
struct Tls {
  /// PEM file of the authorities that may vouch for the robot's certificate; "" for those that this
  /// system trusts.
  std::string caFile;
  /// The name that the certificate must be for, when that is not the address's host; "" for that.
  std::string serverName;
};

/// The token in a file: its first line that is neither empty nor begins with "#". Errors:
/// `std::runtime_error` that names the file, when it cannot be read, when others may read it (mode
/// 0600 is needed), or when that line is no token; the token is never repeated.
std::string readTokenFile(const std::string& path);

/// The token of the environment variable TAVRO_TOKEN, or "". It is for whatever address a program
/// happens to be told, so it goes only where nobody reads it on the way: over TLS or on this
/// machine.
std::string tokenOfEnvironment(const Address& address, const std::optional<Tls>& tls);

/// The text of a file, which is small. Errors: `std::runtime_error` that names it.
std::string readWholeFile(const std::string& path);

}  // namespace remote
