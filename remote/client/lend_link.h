// One offering of a service to a robot, for as long as its stream lasts. For the client's own
// files.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "framework/xo/call.h"
#include "framework/xo/worker_pool.h"
#include "remote/client/connection.h"
#include "remote/client/lent_service.h"

namespace remote {

///     offered --accepted--> standing --robot gone | aborted--> lost
///             --refused-----------------------------------------^
///
/// gRPC is never called under the lock: its callbacks may run at once.
class LendLink final : public grpc::ClientBidiReactor<tavro::v1::LendRequest, tavro::v1::LendReply>,
                       public Ongoing,
                       public std::enable_shared_from_this<LendLink> {
 public:
  /// Offers the service, and waits until it stands. Its calls run on `workers`, which outlive the
  /// stream. Errors: RemoteError.
  static std::shared_ptr<LendLink> lend(RobotClient::Connection& connection,
                                        std::shared_ptr<const LentService> service,
                                        xo::WorkerPool& workers);
  LendLink(RobotClient::Connection& connection, std::shared_ptr<const LentService> service,
           xo::WorkerPool& workers);

  void abort() override { fContext.TryCancel(); }
  bool isStanding() const;
  /// Negative: for ever.
  bool waitUntilLost(int milliseconds) const;
  std::string loss() const;

 private:
  struct Call {
    std::shared_ptr<xo::StopFlag> stop = std::make_shared<xo::StopFlag>();
    bool isDropped = false;
    std::optional<xo::Future<HB::HBValue>> future;
  };

  void OnReadDone(bool ok) override;
  void OnWriteDone(bool ok) override;
  void OnDone(const grpc::Status& status) override;
  void begin();
  void awaitAnswer();
  void received(const tavro::v1::LendReply& message);
  void run(const tavro::v1::LendReply::Call& message);
  bool keepFuture(std::uint64_t id, const xo::Future<HB::HBValue>& future);
  void followFuture(std::uint64_t id, const xo::Future<HB::HBValue>& future);
  void finished(std::uint64_t id);
  void drop(std::uint64_t id);
  void forget(std::uint64_t id);
  bool mayReleaseLocked();
  void send(tavro::v1::LendRequest message);

  RobotClient::Connection& fConnection;
  const std::shared_ptr<const LentService> fService;
  xo::WorkerPool& fWorkers;
  grpc::ClientContext fContext;
  tavro::v1::LendReply fReply;
  tavro::v1::LendRequest fRequest;  // that is being written

  mutable std::mutex fMutex;  // guards all below; nothing is called under it, no future let go of
  mutable std::condition_variable fWake;
  bool fIsAccepted = false;
  bool fIsWriting = false;
  bool fIsOver = false;  // nothing may be written any more
  bool fAreReadsOver = false;
  bool fIsReleased = false;
  std::deque<tavro::v1::LendRequest> fQueue;
  std::optional<RemoteError> fLoss;
  std::map<std::uint64_t, Call> fCalls;
};

}  // namespace remote
