#include "remote/client/connection.h"

#include <algorithm>
#include <future>
#include <utility>
#include <vector>

#include "remote/client/channel.h"
#include "remote/client/probe.h"
#include "remote/proto/convert.h"
#include "remote/proto/utf8.h"

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

/// gRPC's threads for callbacks go with the last channel that used them. When that one is let go of
/// inside a callback, on such a thread, the library waits for that thread on itself and goes on
/// with what it has freed. So one channel, which leads nowhere, stays for good.
void keepCallbackThreads() {
  static const auto* const kept = [] {
    const auto* const channel = new std::shared_ptr(grpc::CreateChannel("", nullptr));
    const auto stub = v1::Robot::NewStub(*channel);
    grpc::ClientContext context;
    const v1::GetInfoRequest request;
    v1::GetInfoReply reply;
    std::promise<void> done;
    stub->async()->GetInfo(&context, &request, &reply,
                           [&](const grpc::Status&) { done.set_value(); });
    done.get_future().wait();
    return channel;
  }();
  (void)kept;
}

}  // namespace

void requireUtf8(const std::string& text, const char* what) {
  if (!isUtf8(text)) {
    throw RemoteError(Fault::kRefused,
                      std::string(what) + " '" + replaceInvalidUtf8(text) + "' is not UTF-8 text");
  }
}

v1::CallRequest makeRequest(const std::string& service, const std::string& method,
                            std::span<const HB::HBValue> args) {
  requireUtf8(service, "The service");
  requireUtf8(method, "The method");
  v1::CallRequest request;
  request.set_service(service);
  request.set_method(method);
  for (const auto& arg : args) toWire(arg, request.add_args());
  return request;
}

RobotClient::Connection::Connection(Address where, const Options& given)
    : address(std::move(where)),
      options(given),
      stub(v1::Robot::NewStub(makeChannel(address, given))) {}

RobotClient::Connection::~Connection() {
  std::unique_lock lock(fMutex);
  const std::vector<std::shared_ptr<Ongoing>> all(fOngoing.begin(), fOngoing.end());
  lock.unlock();
  for (const auto& ongoing : all) ongoing->abort();
  lock.lock();
  fNoneLeft.wait(lock, [this] { return fOngoing.empty(); });
}

void RobotClient::Connection::add(const std::shared_ptr<Ongoing>& ongoing) {
  keepCallbackThreads();
  std::scoped_lock lock(fMutex);
  fOngoing.insert(ongoing);
}

void RobotClient::Connection::ended(Ongoing* ongoing) {
  std::shared_ptr<Ongoing> last;  // let go of after the lock
  std::scoped_lock lock(fMutex);
  const auto found = std::ranges::find(fOngoing, ongoing, &std::shared_ptr<Ongoing>::get);
  if (found == fOngoing.end()) return;
  last = *found;
  fOngoing.erase(found);
  fNoneLeft.notify_all();
}

RemoteError RobotClient::Connection::lost(const std::string& why) const {
  return {
      Fault::kUnreachable, "The robot at " + address.text() + " is gone: " + why, {}, kStartAdvice};
}

RemoteError RobotClient::Connection::silent(std::chrono::milliseconds time) const {
  return {Fault::kUnreachable,
          "The robot at " + address.text() + " did not answer within " + secondsText(time),
          {},
          kStartAdvice};
}

RemoteError RobotClient::Connection::errorOf(const grpc::Status& status,
                                             const std::optional<CancelToken>& cancel) const {
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

v1::GetInfoReply RobotClient::Connection::meet() const {
  ClientContext context;
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
  if (status.error_code() == grpc::StatusCode::UNAVAILABLE && !options.tls) {
    // Its words are not always in the status: the library may meet the end of the connection first.
    const std::string why = whyTurnedAway(address);
    if (!why.empty()) {
      throw RemoteError(Fault::kRefused,
                        "The robot at " + address.text() + " turned this program away: " + why);
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

}  // namespace remote
