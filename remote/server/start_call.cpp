#include "remote/server/start_call.h"

#include <utility>
#include <vector>

#include "remote/proto/convert.h"
#include "remote/server/pending_call.h"

namespace remote {

namespace v1 = tavro::v1;

void StartCall::opened() {
  auto place = fAccess.takeFuturePlace(clientOf(context()));
  std::scoped_lock lock(fMutex);
  if (!fIsGone) fPlace.swap(place);
}

void StartCall::received(v1::StartRequest request) {
  if (request.has_call() != !fIsBegun || request.what_case() == v1::StartRequest::WHAT_NOT_SET) {
    end({grpc::StatusCode::INVALID_ARGUMENT,
         "The first message of Start must be `call`, each later one `cancel`"});
    return;
  }
  fIsBegun = true;
  readNext();  // a cancellation is heard while the method runs
  if (request.has_call()) {
    run(request.call());
  } else {
    cancel();
  }
}

void StartCall::run(const v1::CallRequest& request) {
  const door::Client client = clientOf(context());
  std::vector<HB::HBValue> args;
  args.reserve(static_cast<std::size_t>(request.args_size()));
  for (const auto& arg : request.args()) args.push_back(fromWire(arg));
  door::Outcome outcome =
      fAccess.call(client, request.service(), request.method(), args, &fStop, &Crew::expectLong);
  if (outcome.future) {
    follow(*std::exchange(outcome.future, std::nullopt));
  } else {
    {
      door::Access::Place place;  // whoever has the answer may start another one
      std::scoped_lock lock(fMutex);
      place.swap(fPlace);
    }
    tell(outcome);
  }
}

void StartCall::follow(xo::Future<HB::HBValue> future) {
  bool isCancelWanted = false;
  const std::weak_ptr<xo::detail::TypedState<HB::HBValue>> state = future.sharedState();
  {
    std::scoped_lock lock(fMutex);
    if (fIsGone) return;
    isCancelWanted = fIsCancelWanted;
    fFuture = std::move(future);
  }
  v1::StartReply reply;
  reply.mutable_future();
  send(std::move(reply));
  const auto running = state.lock();  // or the client has gone meanwhile
  if (!running) return;
  running->onFinished([weak = weak_from_this()] {
    if (const auto self = weak.lock()) static_cast<StartCall&>(*self).finished();
  });
  if (isCancelWanted) running->requestCancel();
}

void StartCall::cancel() {
  fStop.raise();
  std::optional<xo::Future<HB::HBValue>> future;
  {
    std::scoped_lock lock(fMutex);
    fIsCancelWanted = true;
    future = fFuture;
  }
  if (future) future->cancel();
}

void StartCall::gone() {
  fStop.raise();
  std::optional<xo::Future<HB::HBValue>> future;  // let go of outside the lock
  door::Access::Place place;
  std::scoped_lock lock(fMutex);
  fIsGone = true;
  future.swap(fFuture);
  place.swap(fPlace);
}

void StartCall::finished() {
  std::optional<xo::Future<HB::HBValue>> future;
  door::Access::Place place;
  {
    std::scoped_lock lock(fMutex);
    future.swap(fFuture);
    place.swap(fPlace);
  }
  if (future) tell(door::outcomeOf(*future));
}

void StartCall::tell(const door::Outcome& outcome) {
  v1::StartReply reply;
  fillReply(outcome, &reply);
  send(std::move(reply));
  end(grpc::Status::OK);
}

void StartCall::endWithServer() {
  Duplex::endWithServer();
  cancel();
}

}  // namespace remote
