#include "remote/server/doorkeeper.h"

#include <grpcpp/generic/async_generic_service.h>

#include <array>
#include <chrono>
#include <cstring>
#include <utility>

#include "access/tls_files.h"

namespace remote {
namespace {

/// A connection's context is shared by all its calls, each of which may send another token: so what
/// it remembers is who to ask about a token, not the answer.
constexpr const char* kAskProperty = "tavro.doorkeeper";

std::optional<std::string_view> authorizationOf(
    const std::multimap<grpc::string_ref, grpc::string_ref>& metadata) {
  const auto found = metadata.find("authorization");
  if (found == metadata.end()) return std::nullopt;
  return std::string_view(found->second.data(), found->second.size());
}

constexpr std::string_view kScheme = "Bearer ";

bool startsWithScheme(std::string_view text) {
  if (text.size() < kScheme.size()) return false;
  for (std::size_t i = 0; i < kScheme.size(); ++i) {  // the scheme's case does not count
    const char c = text[i] >= 'A' && text[i] <= 'Z' ? static_cast<char>(text[i] + 32) : text[i];
    const char wanted = i == 0 ? 'b' : kScheme[i];
    if (c != wanted) return false;
  }
  return true;
}

door::Entry entryOf(const door::Tokens& tokens, bool needsToken,
                    std::optional<std::string_view> authorization) {
  if (!authorization) return door::letIn(&tokens, needsToken, std::nullopt);
  if (startsWithScheme(*authorization)) {
    return door::letIn(&tokens, needsToken, authorization->substr(kScheme.size()));
  }
  door::Entry entry;
  entry.refusal = "The metadata 'authorization' must be 'Bearer TOKEN'";
  return entry;
}

/// Whether gRPC can use them, which it looks at when it listens itself: here for an instant.
bool areUsable(const std::shared_ptr<grpc::ServerCredentials>& credentials) {
  grpc::ServerBuilder builder;
  grpc::AsyncGenericService nothing;
  builder.RegisterAsyncGenericService(&nothing);
  builder.AddListeningPort("127.0.0.1:0", credentials);
  const auto queue = builder.AddCompletionQueue();
  const auto server = builder.BuildAndStart();
  if (server) server->Shutdown(std::chrono::system_clock::now());
  queue->Shutdown();
  void* tag = nullptr;
  bool ok = false;
  while (queue->Next(&tag, &ok)) {
  }
  return server != nullptr;
}

}  // namespace

grpc::Status Doorkeeper::Process(const InputMetadata& metadata, grpc::AuthContext* connection,
                                 OutputMetadata*, OutputMetadata*) {
  const door::Entry entry = entryOf(fTokens, fNeedsToken, authorizationOf(metadata));
  if (!entry.refusal.empty()) return {grpc::StatusCode::UNAUTHENTICATED, entry.refusal};
  // Written once, before any of the connection's calls is let in; only read from then on.
  std::scoped_lock lock(fMutex);
  if (connection->FindPropertyValues(kAskProperty).empty()) {
    const Doorkeeper* const self = this;
    std::array<char, sizeof(self)> bytes{};
    std::memcpy(bytes.data(), &self, sizeof(self));
    connection->AddProperty(kAskProperty, grpc::string_ref(bytes.data(), bytes.size()));
  }
  return grpc::Status::OK;
}

door::Holder Doorkeeper::holderOf(const grpc::ServerContextBase& context) {
  door::Holder everybody{door::Role::kOperator, {}};
  const auto connection = context.auth_context();
  if (!connection) return everybody;
  const auto found = connection->FindPropertyValues(kAskProperty);
  if (found.empty()) return everybody;
  const Doorkeeper* keeper = nullptr;
  std::memcpy(&keeper, found.front().data(), sizeof(keeper));
  return entryOf(keeper->fTokens, keeper->fNeedsToken, authorizationOf(context.client_metadata()))
      .holder;
}

std::shared_ptr<grpc::ServerCredentials> plaintextCredentials(
    const std::shared_ptr<Doorkeeper>& doorkeeper) {
  auto plain = grpc::InsecureServerCredentials();
  if (!doorkeeper) return plain;
  // These fall back on the plaintext ones for every connection, and take a doorkeeper.
  auto guarded = grpc::XdsServerCredentials(plain);
  guarded->SetAuthMetadataProcessor(doorkeeper);
  return guarded;
}

std::shared_ptr<grpc::ServerCredentials> tlsCredentials(
    const std::string& certificateFile, const std::string& keyFile,
    const std::shared_ptr<Doorkeeper>& doorkeeper) {
  grpc::SslServerCredentialsOptions options;
  door::TlsFiles files = door::readTlsFiles(certificateFile, keyFile);
  options.pem_key_cert_pairs.push_back({std::move(files.key), std::move(files.certificate)});
  auto credentials = grpc::SslServerCredentials(options);
  if (!areUsable(grpc::SslServerCredentials(options))) {
    throw door::tlsMismatch(certificateFile, keyFile);
  }
  if (doorkeeper) credentials->SetAuthMetadataProcessor(doorkeeper);
  return credentials;
}

}  // namespace remote
