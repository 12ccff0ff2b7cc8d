#include "remote/client/channel.h"

#include <grpc/grpc.h>
#include <grpcpp/support/client_interceptor.h>

#include <algorithm>
#include <cstdio>
#include <stdexcept>
#include <utility>
#include <vector>

namespace remote {
namespace {

namespace experimental = grpc::experimental;

/// Where Debian keeps the authorities that the system trusts.
constexpr const char* kSystemAuthorities = "/etc/ssl/certs/ca-certificates.crt";

/// Puts the token into everything that the client asks. (gRPC's own credentials of a call are for
/// encrypted channels alone.)
class TokenSender final : public experimental::Interceptor {
 public:
  explicit TokenSender(std::string authorization) : fAuthorization(std::move(authorization)) {}
  void Intercept(experimental::InterceptorBatchMethods* methods) override {
    using Point = experimental::InterceptionHookPoints;
    if (methods->QueryInterceptionHookPoint(Point::PRE_SEND_INITIAL_METADATA)) {
      methods->GetSendInitialMetadata()->emplace("authorization", fAuthorization);
    }
    methods->Proceed();
  }

 private:
  const std::string fAuthorization;
};

class TokenSenders final : public experimental::ClientInterceptorFactoryInterface {
 public:
  explicit TokenSenders(const std::string& token) : fAuthorization("Bearer " + token) {}
  experimental::Interceptor* CreateClientInterceptor(experimental::ClientRpcInfo*) override {
    return new TokenSender(fAuthorization);  // gRPC owns it
  }

 private:
  const std::string fAuthorization;
};

std::shared_ptr<grpc::ChannelCredentials> credentialsOf(const std::optional<Tls>& tls) {
  if (!tls) return grpc::InsecureChannelCredentials();
  grpc::SslCredentialsOptions options;
  options.pem_root_certs = readWholeFile(tls->caFile.empty() ? kSystemAuthorities : tls->caFile);
  if (options.pem_root_certs.find("-----BEGIN CERTIFICATE-----") == std::string::npos) {
    throw std::runtime_error(tls->caFile + ": there is no certificate in it (PEM is needed)");
  }
  return grpc::SslCredentials(options);
}

}  // namespace

std::shared_ptr<grpc::Channel> makeChannel(const Address& address,
                                           const RobotClient::Options& options) {
  // Stays initialised: ending the library with its last user may take ten seconds.
  static const bool isInitialised = (grpc_init(), true);
  (void)isInitialised;
  grpc::ChannelArguments args;
  args.SetUserAgentPrefix(options.clientName);
  args.SetMaxReceiveMessageSize(-1);
  args.SetInt(GRPC_ARG_USE_LOCAL_SUBCHANNEL_POOL, 1);  // one connection a client, shared with none
  args.SetInt(GRPC_ARG_ENABLE_HTTP_PROXY, 0);
  args.SetInt(GRPC_ARG_ENABLE_RETRIES, 0);
  args.SetInt(GRPC_ARG_INITIAL_RECONNECT_BACKOFF_MS, 100);
  args.SetInt(GRPC_ARG_MAX_RECONNECT_BACKOFF_MS, 1000);
  // A robot whose machine or network is gone is noticed while something is asked of it.
  args.SetInt(GRPC_ARG_KEEPALIVE_TIME_MS, 10000);
  args.SetInt(GRPC_ARG_KEEPALIVE_TIMEOUT_MS, 5000);
  args.SetInt(GRPC_ARG_HTTP2_MAX_PINGS_WITHOUT_DATA, 0);
  if (options.tls && !options.tls->serverName.empty()) {
    args.SetSslTargetNameOverride(options.tls->serverName);
  }
  const auto credentials = credentialsOf(options.tls);
  if (options.token.empty()) {
    return grpc::CreateCustomChannel(address.text(), credentials, args);
  }
  if (!std::ranges::all_of(options.token, [](char c) { return c > ' ' && c <= '~'; })) {
    throw std::invalid_argument("The token has characters other than printable ASCII");
  }
  if (!options.tls && !address.isLocal() && !options.isInsecureAllowed) {
    throw std::invalid_argument("The token would travel to " + address.text() +
                                " for all to read: use TLS (--tls), or allow it (--insecure)");
  }
  std::vector<std::unique_ptr<experimental::ClientInterceptorFactoryInterface>> senders;
  senders.push_back(std::make_unique<TokenSenders>(options.token));
  return experimental::CreateCustomChannelWithInterceptors(address.text(), credentials, args,
                                                           std::move(senders));
}

std::string refusalText(const grpc::Status& status) {
  unsigned long long bytes = 0;
  unsigned long long limit = 0;
  if (status.error_code() == grpc::StatusCode::RESOURCE_EXHAUSTED &&
      std::sscanf(status.error_message().c_str(), "%*[^(](%llu vs. %llu)", &bytes, &limit) == 2) {
    return "The request has " + std::to_string(bytes) + " bytes as it travels; the limit is " +
           std::to_string(limit);
  }
  return status.error_message();
}

}  // namespace remote
