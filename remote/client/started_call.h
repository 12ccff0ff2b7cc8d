// One call of `Start`, from its beginning to the end of its future. For the client's own files.
#pragma once

#include <atomic>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>

#include "remote/client/connection.h"

namespace remote {

/// Asked now and then while a call runs: true ends it.
using IsGivenUp = std::function<bool()>;

/// How often a call that runs asks `IsGivenUp`.
inline constexpr std::chrono::milliseconds kLookEvery{10};

///     running --the method returned--> answered --with a future--> future runs --> over
///
/// gRPC is never called under the lock: its callbacks may run at once.
class StartedCall final
    : public grpc::ClientBidiReactor<tavro::v1::StartRequest, tavro::v1::StartReply>,
      public Ongoing,
      public std::enable_shared_from_this<StartedCall> {
 public:
  /// Begins the call, and waits until the method returned. Errors: as `RobotClient::start`.
  static xo::CallResult run(RobotClient::Connection& connection,
                            const tavro::v1::CallRequest& request, const CallOptions& options,
                            const IsGivenUp& isGivenUp);

  StartedCall(RobotClient::Connection& connection, const tavro::v1::CallRequest& request);
  void abort() override;

 private:
  using State = xo::detail::TypedState<HB::HBValue>;

  void OnReadDone(bool ok) override;
  void OnWriteDone(bool ok) override;
  void OnDone(const grpc::Status& status) override;
  void begin();
  xo::CallResult await(const CallOptions& options, const IsGivenUp& isGivenUp);
  bool isAnswered() const { return fAnswer || fStatus; }
  xo::CallResult resultOf(const tavro::v1::StartReply& answer);
  xo::Future<HB::HBValue> makeFuture();
  void settle(State& future);
  void cancel();
  void writeCancel();

  RobotClient::Connection& fConnection;
  grpc::ClientContext fContext;
  tavro::v1::StartRequest fRequest;
  tavro::v1::StartReply fReply;

  std::atomic<bool> fIsAborted{false};

  std::mutex fMutex;  // guards all below
  std::condition_variable fWake;
  bool fIsWriting = true;
  bool fIsCancelWanted = false;
  bool fIsOver = false;  // nothing may be written any more
  std::optional<tavro::v1::StartReply> fAnswer;
  std::optional<grpc::Status> fStatus;
  std::optional<xo::Future<HB::HBValue>> fHanded;  // until the caller has it
  std::weak_ptr<State> fFuture;
};

}  // namespace remote
