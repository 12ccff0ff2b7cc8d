// A call whose method returned a future, and whose client waits for that future's end. Holds no
// thread.
#pragma once

#include <atomic>
#include <memory>
#include <stdexcept>

#include "remote/proto/convert.h"
#include "remote/server/endables.h"
#include "remote/server/exchange.h"
#include "tavro/v1/robot.pb.h"

namespace remote {

using CallExchange = Exchange<tavro::v1::CallRequest, tavro::v1::CallReply>;

/// Puts an outcome into a reply (of Call, of Start); a future in it counts as no value.
template <class Reply>
void fillReply(const door::Outcome& outcome, Reply* reply) {
  if (outcome.hasFailed()) {
    errorToWire(outcome.errorKind, outcome.errorText, reply->mutable_error());
    return;
  }
  try {
    toWire(outcome.value, reply->mutable_value());
  } catch (const std::length_error& error) {
    errorToWire("length_error", error.what(), reply->mutable_error());
  }
}

///     waiting --future ends | client gone | server ends--> replied        (whatever comes first)
class PendingCall final : public Endable, public std::enable_shared_from_this<PendingCall> {
 public:
  /// Replies when `future` ends. `endables` outlives the call; `place` is given back then.
  static void start(CallExchange::Pointer exchange, xo::Future<HB::HBValue> future,
                    door::Access::Place place, Endables& endables);
  PendingCall(CallExchange::Pointer exchange, xo::Future<HB::HBValue> future,
              door::Access::Place place, Endables& endables);

  void endWithServer() override;

 private:
  void finished();
  void giveUp(const grpc::Status& status);
  bool isFirst();

  Endables& fEndables;
  const CallExchange::Pointer fExchange;
  const xo::Future<HB::HBValue> fFuture;
  const door::Access::Place fPlace;
  std::atomic<bool> fIsReplied{false};
};

}  // namespace remote
