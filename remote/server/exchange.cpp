#include "remote/server/exchange.h"

#include <algorithm>

#include "remote/server/doorkeeper.h"

namespace remote {
namespace {

constexpr std::size_t kNameBytes = 64;

/// What the client calls itself: its user agent without the library that gRPC adds.
std::string nameOf(const grpc::ServerContextBase& context) {
  const auto& metadata = context.client_metadata();
  const auto found = metadata.find("user-agent");
  if (found == metadata.end()) return "unknown";
  std::string_view agent(found->second.data(), found->second.size());
  const auto library = agent.find(" grpc-");
  if (library != std::string_view::npos) agent = agent.substr(0, library);
  std::string name(agent.substr(0, kNameBytes));
  std::ranges::replace_if(
      name, [](char c) { return c < ' ' || c > '~'; }, '?');
  return name;
}

}  // namespace

door::Client clientOf(const grpc::ServerContextBase& context) {
  door::Holder holder = Doorkeeper::holderOf(context);
  if (holder.name.empty()) holder.name = nameOf(context);
  return {std::move(holder.name), context.peer(), kTransport, holder.role};
}

grpc::Status statusOf(const door::Refused& refused) {
  switch (refused.why()) {
    case door::Refused::Why::kNoSuchService:
      return {grpc::StatusCode::NOT_FOUND, refused.what()};
    case door::Refused::Why::kTooMany:
      return {grpc::StatusCode::RESOURCE_EXHAUSTED, refused.what()};
    case door::Refused::Why::kNotAllowed:
      return {grpc::StatusCode::PERMISSION_DENIED, refused.what()};
    case door::Refused::Why::kNotSupported:
      return {grpc::StatusCode::FAILED_PRECONDITION, refused.what()};
    case door::Refused::Why::kTooMuch:
    case door::Refused::Why::kMalformed:
      break;
  }
  return {grpc::StatusCode::INVALID_ARGUMENT, refused.what()};
}

grpc::Status shuttingDown() {
  return {grpc::StatusCode::UNAVAILABLE, "The robot is shutting down"};
}

}  // namespace remote
