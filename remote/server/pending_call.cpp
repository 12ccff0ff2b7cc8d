#include "remote/server/pending_call.h"

#include <utility>

namespace remote {

void PendingCall::start(CallExchange::Pointer exchange, xo::Future<HB::HBValue> future,
                        door::Access::Place place, Endables& endables) {
  const auto call = std::make_shared<PendingCall>(std::move(exchange), std::move(future),
                                                  std::move(place), endables);
  // The exchange keeps the call until it ends; the future, which may run for long after, does not.
  endables.add(call);
  call->fExchange->onCancelled([call] { call->giveUp(grpc::Status::CANCELLED); });
  call->fFuture.sharedState()->onFinished([weak = std::weak_ptr<PendingCall>(call)] {
    if (const auto pending = weak.lock()) pending->finished();
  });
}

PendingCall::PendingCall(CallExchange::Pointer exchange, xo::Future<HB::HBValue> future,
                         door::Access::Place place, Endables& endables)
    : fEndables(endables),
      fExchange(std::move(exchange)),
      fFuture(std::move(future)),
      fPlace(std::move(place)) {}

bool PendingCall::isFirst() {
  if (fIsReplied.exchange(true)) return false;
  fEndables.remove(this);
  return true;
}

void PendingCall::finished() {
  if (!isFirst()) return;
  fillReply(door::outcomeOf(fFuture), &fExchange->reply);
  fExchange->sendReply(grpc::Status::OK);
}

void PendingCall::giveUp(const grpc::Status& status) {
  if (!isFirst()) return;
  fFuture.cancel();
  fExchange->sendReply(status);
}

void PendingCall::endWithServer() { giveUp(shuttingDown()); }

}  // namespace remote
