#include "remote/client/started_call.h"

#include <utility>

#include "remote/proto/convert.h"
#include "remote/proto/handover.h"

namespace remote {
namespace {

namespace v1 = tavro::v1;
using Fault = RemoteError::Fault;

}  // namespace

xo::CallResult StartedCall::run(RobotClient::Connection& connection, const v1::CallRequest& request,
                                const CallOptions& options, const IsGivenUp& isGivenUp) {
  const auto call = std::make_shared<StartedCall>(connection, request);
  connection.add(call);
  call->begin();
  return call->await(options, isGivenUp);
}

xo::CallResult RobotClient::start(const std::string& service, const std::string& method,
                                  std::span<const HB::HBValue> args, const CallOptions& options) {
  return StartedCall::run(*fConnection, makeRequest(service, method, args), options, nullptr);
}

StartedCall::StartedCall(RobotClient::Connection& connection, const v1::CallRequest& request)
    : fConnection(connection) {
  *fRequest.mutable_call() = request;
}

void StartedCall::begin() {
  fConnection.stub->async()->Start(&fContext, this);
  AddHold();  // until the robot has said everything: a cancellation may be written until then
  handedOver(this);
  StartWrite(&fRequest);
  StartRead(&fReply);
  StartCall();
}

xo::CallResult StartedCall::await(const CallOptions& options, const IsGivenUp& isGivenUp) {
  using Clock = std::chrono::steady_clock;
  const auto deadline =
      options.timeout ? Clock::now() + *options.timeout : Clock::time_point::max();
  std::unique_lock lock(fMutex);
  while (!isAnswered()) {
    fWake.wait_until(lock, std::min(deadline, Clock::now() + kLookEvery));
    if (isAnswered()) break;
    lock.unlock();
    const bool isLate = Clock::now() >= deadline;
    if (isLate || (isGivenUp && isGivenUp()) || (options.cancel && options.cancel->isCancelled())) {
      fContext.TryCancel();
      throw RemoteError(Fault::kCancelled, isLate ? "The call did not end within the time allowed"
                                                  : "The call was cancelled");
    }
    lock.lock();
  }
  if (!fAnswer) throw fConnection.errorOf(*fStatus);
  const v1::StartReply answer = *fAnswer;
  lock.unlock();
  return resultOf(answer);
}

xo::CallResult StartedCall::resultOf(const v1::StartReply& answer) {
  if (answer.has_error()) {
    throw RemoteError(Fault::kFailed, exactText(answer.error()), answer.error().kind());
  }
  if (!answer.has_future()) return {fromWire(answer.value()), std::nullopt};
  std::scoped_lock lock(fMutex);
  return {{}, std::exchange(fHanded, std::nullopt)};
}

xo::Future<HB::HBValue> StartedCall::makeFuture() {
  const auto state = xo::detail::makeState<HB::HBValue>();
  state->setAbandonHook([weak = weak_from_this()] {
    if (const auto self = weak.lock()) self->fContext.TryCancel();
  });
  state->onCancelRequested([weak = weak_from_this()] {
    if (const auto self = weak.lock()) self->cancel();
  });
  return xo::Future<HB::HBValue>(state);
}

void StartedCall::OnReadDone(bool ok) {
  takenOver(this);
  if (!ok) {
    bool isLast = false;
    {
      std::scoped_lock lock(fMutex);
      fIsOver = true;
      isLast = !fIsWriting;
    }
    if (isLast) {
      handedOver(this);
      RemoveHold();
    }
    return;
  }
  std::shared_ptr<State> future;
  {
    std::scoped_lock lock(fMutex);
    if (fAnswer) {
      future = fFuture.lock();
    } else {
      fAnswer = fReply;
      if (fReply.has_future()) {
        fHanded = makeFuture();
        fFuture = fHanded->sharedState();
      }
      fWake.notify_all();
    }
  }
  if (future) settle(*future);
  handedOver(this);
  StartRead(&fReply);
}

void StartedCall::settle(State& future) {
  if (!fReply.has_error()) {
    future.setValue(fromWire(fReply.value()));
  } else if (fReply.error().kind() == "cancelled") {
    future.finishCancelled();
  } else {
    future.finishError(errorFromWire(fReply.error()));
  }
}

void StartedCall::cancel() {
  {
    std::scoped_lock lock(fMutex);
    if (fIsOver || std::exchange(fIsCancelWanted, true) || fIsWriting) return;
    fIsWriting = true;
  }
  writeCancel();
}

void StartedCall::writeCancel() {
  fRequest.mutable_cancel();
  handedOver(this);
  StartWrite(&fRequest);
}

void StartedCall::OnWriteDone(bool) {
  takenOver(this);
  bool isLast = false;
  {
    std::scoped_lock lock(fMutex);
    isLast = fIsOver;
    fIsWriting = !fIsOver && fIsCancelWanted && fRequest.has_call();
    if (!fIsWriting && !isLast) return;
  }
  if (isLast) {
    handedOver(this);
    RemoveHold();
  } else {
    writeCancel();
  }
}

void StartedCall::abort() {
  fIsAborted = true;
  fContext.TryCancel();
}

void StartedCall::OnDone(const grpc::Status& status) {
  takenOver(this);
  std::shared_ptr<State> future;
  std::optional<xo::Future<HB::HBValue>> unused;  // let go of after the lock
  {
    std::scoped_lock lock(fMutex);
    fStatus = status;
    future = fFuture.lock();
    if (!future) fHanded.swap(unused);
    fWake.notify_all();
  }
  if (future) {
    future->finishError(std::make_exception_ptr(
        fIsAborted ? RemoteError(Fault::kUnreachable, "The connection to the robot was closed")
                   : fConnection.errorOf(status)));
  }
  future.reset();
  fConnection.ended(this);
}

}  // namespace remote
