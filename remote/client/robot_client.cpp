#include "remote/client/robot_client.h"

#include <algorithm>

#include "remote/client/connection.h"
#include "remote/proto/convert.h"
#include "remote/proto/handover.h"

namespace remote {
namespace {

namespace v1 = tavro::v1;
using Fault = RemoteError::Fault;

CallInfo fromWireCall(const v1::CallInfo& wire) {
  CallInfo call;
  call.id = wire.id();
  call.client = wire.client();
  call.peer = wire.peer();
  call.service = wire.service();
  call.method = wire.method();
  call.began = std::chrono::system_clock::time_point(std::chrono::milliseconds(wire.began_ms()));
  call.duration = std::chrono::microseconds(wire.duration_us());
  call.error = wire.error();
  return call;
}

}  // namespace

CancelToken::CancelToken() : fState(std::make_shared<State>()) {}

void CancelToken::cancel() const {
  std::scoped_lock lock(fState->mutex);
  fState->isCancelled = true;
  for (auto* const context : fState->contexts) context->TryCancel();
}

bool CancelToken::isCancelled() const {
  std::scoped_lock lock(fState->mutex);
  return fState->isCancelled;
}

std::unique_ptr<RobotClient> RobotClient::connect(const std::string& address,
                                                  const Options& options) {
  auto connection = std::make_unique<Connection>(parseAddress(address), options);
  connection->meet();
  return std::unique_ptr<RobotClient>(new RobotClient(std::move(connection)));
}

RobotClient::RobotClient(std::unique_ptr<Connection> connection)
    : fConnection(std::move(connection)) {}

RobotClient::~RobotClient() = default;

const Address& RobotClient::address() const { return fConnection->address; }

RobotInfo RobotClient::info() {
  const auto reply = fConnection->ask(&v1::Robot::Stub::GetInfo, v1::GetInfoRequest());
  RobotInfo info;
  info.name = reply.robot_name();
  info.softwareVersion = reply.software_version();
  info.protocolMajor = static_cast<int>(reply.protocol_major());
  info.protocolMinor = static_cast<int>(reply.protocol_minor());
  info.uptime = std::chrono::milliseconds(reply.uptime_ms());
  info.isReady = reply.ready();
  info.services = {reply.services().begin(), reply.services().end()};
  info.modules = {reply.modules().begin(), reply.modules().end()};
  info.role = reply.role();
  for (const auto& limit : reply.limits()) info.limits.emplace_back(limit.name(), limit.most());
  return info;
}

std::vector<std::string> RobotClient::services() {
  const auto reply = fConnection->ask(&v1::Robot::Stub::ListServices, v1::ListServicesRequest());
  return {reply.services().begin(), reply.services().end()};
}

xo::ObjectInfo RobotClient::describe(const std::string& service) {
  requireUtf8(service, "The service");
  v1::DescribeServiceRequest request;
  request.set_service(service);
  const auto reply = fConnection->ask(&v1::Robot::Stub::DescribeService, request);
  xo::ObjectInfo info;
  info.description = reply.description();
  for (const auto& method : reply.methods()) info.methods.push_back(fromWire(method));
  return info;
}

CallReply RobotClient::call(const std::string& service, const std::string& method,
                            std::span<const HB::HBValue> args, const CallOptions& options) {
  v1::CallRequest request = makeRequest(service, method, args);
  if (options.completion == Completion::kFinished) {
    request.set_completion(v1::COMPLETION_FINISHED);
  }
  ClientContext context(options.cancel);
  if (options.timeout) {
    context.get()->set_deadline(std::chrono::system_clock::now() + *options.timeout);
  }
  v1::CallReply reply;
  grpc::Status status;
  Answers::Awaited answer;
  const auto reader =
      fConnection->stub->AsyncCall(context.get(), request, fConnection->answers.queue());
  reader->Finish(&reply, &status, handedOver(&answer));
  fConnection->answers.await(answer);
  if (!status.ok()) throw fConnection->errorOf(status, options.cancel);
  if (reply.has_error()) {
    throw RemoteError(Fault::kFailed, exactText(reply.error()), reply.error().kind());
  }
  return {fromWire(reply.value()), reply.has_future()};
}

CallList RobotClient::calls() {
  const auto reply = fConnection->ask(&v1::Robot::Stub::ListCalls, v1::ListCallsRequest());
  CallList list;
  for (const auto& call : reply.running()) list.running.push_back(fromWireCall(call));
  for (const auto& call : reply.ended()) list.ended.push_back(fromWireCall(call));
  return list;
}

bool RobotClient::stopCall(std::uint64_t id) {
  v1::StopCallRequest request;
  request.set_id(id);
  return fConnection->ask(&v1::Robot::Stub::StopCall, request).found();
}

void RobotClient::watchServices(
    const std::function<bool(const std::vector<ServiceInfo>&)>& callback,
    const std::optional<CancelToken>& cancel) {
  ClientContext context(cancel);
  const auto reader = fConnection->stub->WatchServices(context.get(), v1::WatchServicesRequest());
  v1::WatchServicesReply message;
  bool isWanted = true;
  while (isWanted && reader->Read(&message)) {
    std::vector<ServiceInfo> services;
    for (const auto& one : message.services()) services.push_back({one.name(), one.generation()});
    isWanted = callback(services);
  }
  if (!isWanted) context.get()->TryCancel();
  const grpc::Status status = reader->Finish();
  if (!isWanted) return;
  throw status.ok() ? fConnection->lost("the stream ended") : fConnection->errorOf(status, cancel);
}

HB::HBValue RobotClient::readMemory(const std::string& key) {
  requireUtf8(key, "The key");
  v1::ReadMemoryRequest request;
  request.set_key(key);
  const auto reply = fConnection->ask(&v1::Robot::Stub::ReadMemory, request);
  if (reply.has_error()) {
    throw RemoteError(Fault::kFailed, exactText(reply.error()), reply.error().kind());
  }
  return fromWire(reply.value());
}

void RobotClient::watch(const std::string& pattern,
                        const std::function<bool(const WatchBatch&)>& callback,
                        const std::optional<CancelToken>& cancel) {
  requireUtf8(pattern, "The pattern");
  v1::WatchRequest request;
  request.set_pattern(pattern);
  ClientContext context(cancel);
  const auto reader = fConnection->stub->Watch(context.get(), request);
  WatchBatch batch;
  v1::WatchReply message;
  bool isWanted = true;
  while (isWanted && reader->Read(&message)) {
    batch.isSnapshot = message.snapshot();
    for (auto& item : *message.mutable_items()) {
      batch.items.emplace_back(std::move(*item.mutable_key()), fromWire(item.value()));
    }
    batch.dropped = message.dropped();
    if (message.more()) continue;
    isWanted = callback(batch);
    batch.items.clear();
  }
  if (!isWanted) context.get()->TryCancel();
  const grpc::Status status = reader->Finish();
  if (!isWanted) return;
  throw status.ok() ? fConnection->lost("the stream ended") : fConnection->errorOf(status, cancel);
}

}  // namespace remote
