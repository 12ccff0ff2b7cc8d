// Who asks something of the robot, and what they may.
#pragma once

#include <string>

namespace door {

/// What a client may do.
enum class Role {
  kViewer,    ///< list, describe, read and watch
  kOperator,  ///< everything: call and stop methods, lend services
};

/// "viewer" or "operator".
constexpr const char* nameOf(Role role) { return role == Role::kOperator ? "operator" : "viewer"; }

/// Who asks. All of it together tells clients apart. The name is what the client says of itself,
/// and clients on one Unix socket have the same peer: so no limit relies on this alone.
struct Client {
  std::string name;       ///< as the client calls itself
  std::string peer;       ///< "ipv4:127.0.0.1:40112", "unix:"
  std::string transport;  ///< "grpc", "web"
  Role role = Role::kOperator;
  bool operator==(const Client&) const = default;
};

/// Errors: Refused that names the client's role and the one that is needed for `what` ("Calling
/// methods").
void requireOperator(const Client& client, const char* what);

}  // namespace door
