// What the parts of the client share: the channel to the robot, contexts of calls, and what a
// status means. For the client's own files.
#pragma once

#include <grpcpp/grpcpp.h>

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <span>
#include <string>

#include "remote/client/answers.h"
#include "remote/client/robot_client.h"
#include "tavro/v1/robot.grpc.pb.h"

namespace remote {

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

/// A context that a token can cancel while it lives.
class ClientContext {
 public:
  explicit ClientContext(const std::optional<CancelToken>& cancel = std::nullopt) {
    if (!cancel) return;
    fCancel = cancel->fState;
    fCancel->add(&fContext);
  }
  ~ClientContext() {
    if (fCancel) fCancel->remove(&fContext);
  }
  ClientContext(const ClientContext&) = delete;
  ClientContext& operator=(const ClientContext&) = delete;
  grpc::ClientContext* get() { return &fContext; }

 private:
  grpc::ClientContext fContext;
  std::shared_ptr<CancelToken::State> fCancel;
};

/// Errors: RemoteError for what is not UTF-8; names travel as such.
void requireUtf8(const std::string& text, const char* what);

/// The message of a call. Errors: RemoteError, `std::length_error`.
tavro::v1::CallRequest makeRequest(const std::string& service, const std::string& method,
                                   std::span<const HB::HBValue> args);

/// Something that goes on after the function that began it returned.
class Ongoing {
 public:
  virtual ~Ongoing() = default;
  /// Ends it soon; from any thread.
  virtual void abort() = 0;
};

/// Thread-safe.
struct RobotClient::Connection {
  Connection(Address where, const Options& given);
  /// Ends what goes on, and waits for it. Not from inside a callback of it.
  ~Connection();

  const Address address;
  const Options options;
  const std::unique_ptr<tavro::v1::Robot::Stub> stub;
  Answers answers;

  RemoteError lost(const std::string& why) const;
  RemoteError silent(std::chrono::milliseconds time) const;
  /// What a status other than OK means once connected.
  RemoteError errorOf(const grpc::Status& status,
                      const std::optional<CancelToken>& cancel = std::nullopt) const;
  /// The first question: is this a robot, and one that we can talk to?
  tavro::v1::GetInfoReply meet() const;

  /// Asks something that is answered at once.
  template <class Request, class Reply>
  Reply ask(grpc::Status (tavro::v1::Robot::Stub::*question)(grpc::ClientContext*, const Request&,
                                                             Reply*),
            const Request& request) const {
    ClientContext context;
    context.get()->set_deadline(std::chrono::system_clock::now() + options.timeout);
    Reply reply;
    const grpc::Status status = (stub.get()->*question)(context.get(), request, &reply);
    if (status.error_code() == grpc::StatusCode::DEADLINE_EXCEEDED) throw silent(options.timeout);
    if (!status.ok()) throw errorOf(status);
    return reply;
  }

  /// Keeps `ongoing` until it `ended`.
  void add(const std::shared_ptr<Ongoing>& ongoing);
  void ended(Ongoing* ongoing);

 private:
  std::mutex fMutex;
  std::condition_variable fNoneLeft;
  std::set<std::shared_ptr<Ongoing>> fOngoing;
};

}  // namespace remote
