// Asks every client of a port for its token before anything else happens. For the server's own
// files.
#pragma once

#include <grpcpp/grpcpp.h>

#include <mutex>

#include "access/security.h"

namespace remote {

/// Stands before everything that a port serves, reflection and health included: who is not let in
/// is answered UNAUTHENTICATED, and no service learns of it. Thread-safe. Runs on gRPC's threads or
/// the crew's, for an instant.
class Doorkeeper final : public grpc::AuthMetadataProcessor {
 public:
  Doorkeeper(door::Tokens tokens, bool needsToken)
      : fTokens(std::move(tokens)), fNeedsToken(needsToken) {}

  bool IsBlocking() const override { return false; }
  grpc::Status Process(const InputMetadata& metadata, grpc::AuthContext* connection,
                       OutputMetadata* consumed, OutputMetadata* answer) override;

  /// Who a call that was let in comes from: an operator at ports without a doorkeeper.
  static door::Holder holderOf(const grpc::ServerContextBase& context);

 private:
  const door::Tokens fTokens;
  const bool fNeedsToken;
  std::mutex fMutex;  // guards what is written into a connection's context
};

/// Credentials of a port, with a doorkeeper if there is one. gRPC's own plaintext credentials take
/// none.
std::shared_ptr<grpc::ServerCredentials> plaintextCredentials(
    const std::shared_ptr<Doorkeeper>& doorkeeper);

/// TLS 1.2 or later. Errors: `std::runtime_error` that names a file that cannot be read or is no
/// PEM, or both files when they do not fit.
std::shared_ptr<grpc::ServerCredentials> tlsCredentials(
    const std::string& certificateFile, const std::string& keyFile,
    const std::shared_ptr<Doorkeeper>& doorkeeper);

}  // namespace remote
