#include "remote/client/robot_client.h"

#include <grpcpp/grpcpp.h>

#include <algorithm>
#include <mutex>
#include <set>

#include "remote/client/channel.h"
#include "remote/client/probe.h"
#include "remote/proto/convert.h"
#include "remote/proto/utf8.h"
#include "tavro/v1/robot.grpc.pb.h"

namespace remote {
namespace {

namespace v1 = tavro::v1;
using Fault = RemoteError::Fault;

constexpr const char* kStartAdvice =
    "Is a robot running there? `ledctl --robot ADDRESS` asks another one.";

constexpr const char* kTlsAdvice =
    "Does a robot speak TLS there, with a certificate for that name from an authority that is "
    "trusted here?";

std::string secondsText(std::chrono::milliseconds time) {
  const auto tenths = (time.count() + 50) / 100;
  std::string text = std::to_string(tenths / 10);
  if (tenths % 10 != 0) text.append(".").append(std::to_string(tenths % 10));
  return text + " s";
}

/// Names travel as UTF-8.
void requireUtf8(const std::string& text, const char* what) {
  if (!isUtf8(text)) {
    throw RemoteError(Fault::kRefused,
                      std::string(what) + " '" + replaceInvalidUtf8(text) + "' is not UTF-8 text");
  }
}

}  // namespace

struct CancelToken::State {
  std::mutex mutex;
  bool isCancelled = false;
  std::set<grpc::ClientContext*> contexts;

  void add(grpc::ClientContext* context) {
    std::scoped_lock lock(mutex);
    contexts.insert(context);
    if (isCancelled) context->TryCancel();
  }
  void remove(grpc::ClientContext* context) {
    std::scoped_lock lock(mutex);
    contexts.erase(context);
  }
};

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

struct RobotClient::Connection {
  Connection(Address where, const Options& given)
      : address(std::move(where)),
        options(given),
        stub(v1::Robot::NewStub(makeChannel(address, given))) {}

  const Address address;
  const Options options;
  const std::unique_ptr<v1::Robot::Stub> stub;

  /// A context that a token can cancel while it lives.
  class Context {
   public:
    explicit Context(const std::optional<CancelToken>& cancel = std::nullopt) {
      if (!cancel) return;
      fCancel = cancel->fState;
      fCancel->add(&fContext);
    }
    ~Context() {
      if (fCancel) fCancel->remove(&fContext);
    }
    Context(const Context&) = delete;
    Context& operator=(const Context&) = delete;
    grpc::ClientContext* get() { return &fContext; }

   private:
    grpc::ClientContext fContext;
    std::shared_ptr<CancelToken::State> fCancel;
  };

  RemoteError lost(const std::string& why) const {
    return {Fault::kUnreachable,
            "The robot at " + address.text() + " is gone: " + why,
            {},
            kStartAdvice};
  }

  RemoteError silent(std::chrono::milliseconds time) const {
    return {Fault::kUnreachable,
            "The robot at " + address.text() + " did not answer within " + secondsText(time),
            {},
            kStartAdvice};
  }

  /// What a status other than OK means once connected.
  RemoteError errorOf(const grpc::Status& status,
                      const std::optional<CancelToken>& cancel = std::nullopt) const {
    switch (status.error_code()) {
      case grpc::StatusCode::CANCELLED:
        if (!cancel || !cancel->isCancelled()) return lost("it ended the call");
        return {Fault::kCancelled, "The call was cancelled"};
      case grpc::StatusCode::DEADLINE_EXCEEDED:
        return {Fault::kCancelled, "The call did not end within the time allowed"};
      case grpc::StatusCode::UNAVAILABLE:
        return lost(status.error_message());
      default:
        return {Fault::kRefused, refusalText(status)};
    }
  }

  /// Asks something that is answered at once.
  template <class Request, class Reply>
  Reply ask(grpc::Status (v1::Robot::Stub::*question)(grpc::ClientContext*, const Request&, Reply*),
            const Request& request) const {
    Context context;
    context.get()->set_deadline(std::chrono::system_clock::now() + options.timeout);
    Reply reply;
    const grpc::Status status = (stub.get()->*question)(context.get(), request, &reply);
    if (status.error_code() == grpc::StatusCode::DEADLINE_EXCEEDED) throw silent(options.timeout);
    if (!status.ok()) throw errorOf(status);
    return reply;
  }

  v1::GetInfoReply meet() const;
};

/// The first question: is this a robot, and one that we can talk to?
v1::GetInfoReply RobotClient::Connection::meet() const {
  Context context;
  context.get()->set_deadline(std::chrono::system_clock::now() + options.timeout);
  v1::GetInfoReply reply;
  const grpc::Status status = stub->GetInfo(context.get(), v1::GetInfoRequest(), &reply);
  if (status.ok()) {
    if (reply.protocol_major() == kProtocolMajor) return reply;
    throw RemoteError(Fault::kOtherVersion,
                      "The robot at " + address.text() + " speaks version " +
                          std::to_string(reply.protocol_major()) + "." +
                          std::to_string(reply.protocol_minor()) +
                          " of the protocol, this program version " +
                          std::to_string(kProtocolMajor) + "." + std::to_string(kProtocolMinor),
                      {}, "Use a program of the robot's version.");
  }
  if (status.error_code() == grpc::StatusCode::UNAUTHENTICATED ||
      status.error_code() == grpc::StatusCode::PERMISSION_DENIED) {
    throw RemoteError(Fault::kRefused,
                      "The robot at " + address.text() +
                          " does not let this program in: " + status.error_message(),
                      {}, "Whoever runs the robot hands out its tokens.");
  }
  if (status.error_message().find("GOAWAY") != std::string::npos) {
    const std::string limit = limitOfConnections(address);
    if (!limit.empty()) {
      throw RemoteError(Fault::kRefused,
                        "The robot at " + address.text() + " turned this program away: " + limit);
    }
  }
  const std::string nobody = whyNobodyListens(address);
  if (!nobody.empty()) {
    throw RemoteError(Fault::kUnreachable,
                      "No robot was reached at " + address.text() + ": " + nobody, {},
                      kStartAdvice);
  }
  const std::string what = "What listens at " + address.text() + " is not a robot";
  if (status.error_code() == grpc::StatusCode::DEADLINE_EXCEEDED) {
    throw RemoteError(Fault::kNotARobot,
                      what + ", or it is stuck: it accepts connections but did not answer within " +
                          secondsText(options.timeout),
                      {}, kStartAdvice);
  }
  throw RemoteError(Fault::kNotARobot, what + " (" + status.error_message() + ")", {},
                    options.tls ? kTlsAdvice : kStartAdvice);
}

std::unique_ptr<RobotClient> RobotClient::connect(const std::string& address, Options options) {
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
  requireUtf8(service, "The service");
  requireUtf8(method, "The method");
  v1::CallRequest request;
  request.set_service(service);
  request.set_method(method);
  for (const auto& arg : args) toWire(arg, request.add_args());
  if (options.completion == Completion::kFinished) {
    request.set_completion(v1::COMPLETION_FINISHED);
  }
  Connection::Context context(options.cancel);
  if (options.timeout) {
    context.get()->set_deadline(std::chrono::system_clock::now() + *options.timeout);
  }
  v1::CallReply reply;
  const grpc::Status status = fConnection->stub->Call(context.get(), request, &reply);
  if (!status.ok()) throw fConnection->errorOf(status, options.cancel);
  if (reply.has_error()) {
    throw RemoteError(Fault::kFailed, exactText(reply.error()), reply.error().kind());
  }
  return {fromWire(reply.value()), reply.has_future()};
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
  Connection::Context context(cancel);
  const auto reader = fConnection->stub->Watch(context.get(), request);
  WatchBatch batch;
  v1::WatchReply message;
  bool isWanted = true;
  while (isWanted && reader->Read(&message)) {
    batch.isSnapshot = message.snapshot();
    for (auto& item : *message.mutable_items()) {
      batch.items.emplace_back(std::move(*item.mutable_key()), fromWire(item.value()));
    }
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
