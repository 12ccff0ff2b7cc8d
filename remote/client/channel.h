// The gRPC channel of a client: plaintext or TLS, with or without a token. For the client's own
// files.
#pragma once

#include <grpcpp/grpcpp.h>

#include <memory>
#include <string>

#include "remote/client/robot_client.h"

namespace remote {

/// Connects with the first call. Errors: `std::runtime_error` that names the file of authorities
/// when it cannot be read; `std::invalid_argument` for a token that cannot travel.
std::shared_ptr<grpc::Channel> makeChannel(const Address& address,
                                           const RobotClient::Options& options);

/// The robot's refusal of a message that is too large, in words; else the text unchanged.
std::string refusalText(const grpc::Status& status);

}  // namespace remote
