#include "remote/client/lend_link.h"

#include <chrono>
#include <stdexcept>
#include <utility>
#include <vector>

#include "remote/proto/convert.h"
#include "remote/proto/handover.h"

namespace remote {
namespace {

namespace v1 = tavro::v1;

/// Puts the outcome of a call, or of a future, into a message.
template <class Message>
void fillError(Message* message, const std::exception_ptr& error) {
  errorToWire(std::string(xo::kindOf(error)), xo::textOf(error), message->mutable_error());
}

template <class Message>
void fillValue(Message* message, const HB::HBValue& value) {
  try {
    toWire(value, message->mutable_value());
  } catch (const std::length_error&) {
    fillError(message, std::current_exception());
  }
}

}  // namespace

std::shared_ptr<LendLink> LendLink::lend(RobotClient::Connection& connection,
                                         std::shared_ptr<const LentService> service,
                                         xo::WorkerPool& workers) {
  const auto link = std::make_shared<LendLink>(connection, std::move(service), workers);
  connection.add(link);
  link->begin();
  link->awaitAnswer();
  return link;
}

LendLink::LendLink(RobotClient::Connection& connection, std::shared_ptr<const LentService> service,
                   xo::WorkerPool& workers)
    : fConnection(connection), fService(std::move(service)), fWorkers(workers) {}

void LendLink::begin() {
  fConnection.stub->async()->Lend(&fContext, this);
  AddHold();  // until the robot has said everything: answers may be written until then
  *fRequest.mutable_offer() = fService->offer();
  fIsWriting = true;
  handedOver(this);
  StartWrite(&fRequest);
  StartRead(&fReply);
  StartCall();
}

void LendLink::awaitAnswer() {
  std::unique_lock lock(fMutex);
  const bool isAnswered =
      fWake.wait_for(lock, fConnection.options.timeout, [this] { return fIsAccepted || fLoss; });
  if (!isAnswered) {
    lock.unlock();
    fContext.TryCancel();
    throw fConnection.silent(fConnection.options.timeout);
  }
  if (!fIsAccepted) throw *fLoss;
}

bool LendLink::isStanding() const {
  std::scoped_lock lock(fMutex);
  return fIsAccepted && !fLoss;
}

bool LendLink::waitUntilLost(int milliseconds) const {
  std::unique_lock lock(fMutex);
  const auto isLost = [this] { return fLoss.has_value(); };
  if (milliseconds < 0 || milliseconds == xo::kInfiniteTimeout) {
    fWake.wait(lock, isLost);
    return true;
  }
  return fWake.wait_for(lock, std::chrono::milliseconds(milliseconds), isLost);
}

std::string LendLink::loss() const {
  std::scoped_lock lock(fMutex);
  return fLoss ? fLoss->what() : "";
}

void LendLink::OnReadDone(bool ok) {
  takenOver(this);
  if (ok) {
    received(fReply);
    handedOver(this);
    StartRead(&fReply);
    return;
  }
  bool mayRelease = false;
  {
    std::scoped_lock lock(fMutex);
    fIsOver = fAreReadsOver = true;
    mayRelease = mayReleaseLocked();
  }
  if (mayRelease) handedOver(this)->RemoveHold();
}

bool LendLink::mayReleaseLocked() {
  return fAreReadsOver && !fIsWriting && !std::exchange(fIsReleased, true);
}

void LendLink::received(const v1::LendReply& message) {
  switch (message.what_case()) {
    case v1::LendReply::kAccepted: {
      std::scoped_lock lock(fMutex);
      fIsAccepted = true;
      fWake.notify_all();
      return;
    }
    case v1::LendReply::kCall: {
      {
        std::scoped_lock lock(fMutex);
        fCalls.try_emplace(message.call().call());
      }
      fWorkers.post([self = shared_from_this(), call = message.call()] { self->run(call); });
      return;
    }
    case v1::LendReply::kStop: {
      std::scoped_lock lock(fMutex);
      const auto found = fCalls.find(message.stop());
      if (found != fCalls.end()) found->second.stop->raise();
      return;
    }
    case v1::LendReply::kCancel: {
      std::optional<xo::Future<HB::HBValue>> future;
      {
        std::scoped_lock lock(fMutex);
        const auto found = fCalls.find(message.cancel());
        if (found != fCalls.end()) future = found->second.future;
      }
      if (future) future->cancel();
      return;
    }
    case v1::LendReply::kDrop:
      drop(message.drop());
      return;
    case v1::LendReply::kPing: {
      v1::LendRequest pong;
      pong.mutable_pong()->set_number(message.ping());
      send(std::move(pong));
      return;
    }
    case v1::LendReply::WHAT_NOT_SET:
      return;  // of a newer robot
  }
}

void LendLink::run(const v1::LendReply::Call& message) {
  const std::uint64_t id = message.call();
  std::shared_ptr<xo::StopFlag> stop;
  {
    std::scoped_lock lock(fMutex);
    const auto found = fCalls.find(id);
    if (found == fCalls.end()) return;  // the robot is lost
    stop = found->second.stop;
  }
  v1::LendRequest request;
  auto* const returned = request.mutable_returned();
  returned->set_call(id);
  std::vector<HB::HBValue> args;
  for (const auto& arg : message.args()) args.push_back(fromWire(arg));
  xo::CallResult result;
  std::exception_ptr error;
  try {
    result = fService->call(message.method(), args, stop.get());
  } catch (...) {
    error = xo::copyCurrentException();
  }
  if (!error && result.future && keepFuture(id, *result.future)) {
    returned->mutable_future();
    send(std::move(request));
    followFuture(id, *result.future);
    return;
  }
  if (error) {
    fillError(returned, error);
  } else {
    fillValue(returned, result.value);
  }
  forget(id);
  send(std::move(request));
}

void LendLink::forget(std::uint64_t id) {
  Call unused;  // let go of after the lock
  std::scoped_lock lock(fMutex);
  const auto found = fCalls.find(id);
  if (found == fCalls.end()) return;
  unused = std::move(found->second);
  fCalls.erase(found);
}

bool LendLink::keepFuture(std::uint64_t id, const xo::Future<HB::HBValue>& future) {
  std::scoped_lock lock(fMutex);
  const auto found = fCalls.find(id);
  if (found == fCalls.end() || found->second.isDropped) return false;
  found->second.future = future;
  return true;
}

void LendLink::followFuture(std::uint64_t id, const xo::Future<HB::HBValue>& future) {
  future.sharedState()->onFinished([weak = weak_from_this(), id] {
    if (const auto self = weak.lock()) self->finished(id);
  });
}

void LendLink::finished(std::uint64_t id) {
  std::optional<xo::Future<HB::HBValue>> future;
  {
    std::scoped_lock lock(fMutex);
    const auto found = fCalls.find(id);
    if (found == fCalls.end()) return;
    future = std::move(found->second.future);
    fCalls.erase(found);
  }
  if (!future) return;
  v1::LendRequest request;
  auto* const message = request.mutable_finished();
  message->set_call(id);
  if (future->isCancelled()) {
    errorToWire("cancelled", "The call was cancelled", message->mutable_error());
  } else if (future->hasError()) {
    fillError(message, future->error());
  } else {
    fillValue(message, future->value());
  }
  send(std::move(request));
}

/// A call that still runs stays until it returned.
void LendLink::drop(std::uint64_t id) {
  std::optional<xo::Future<HB::HBValue>> future;  // let go of after the lock
  std::scoped_lock lock(fMutex);
  const auto found = fCalls.find(id);
  if (found == fCalls.end()) return;
  found->second.isDropped = true;
  if (!found->second.future) return;
  future = std::move(found->second.future);
  fCalls.erase(found);
}

void LendLink::send(v1::LendRequest message) {
  {
    std::scoped_lock lock(fMutex);
    if (fIsOver) return;
    if (fIsWriting) {
      fQueue.push_back(std::move(message));
      return;
    }
    fIsWriting = true;
    fRequest = std::move(message);
  }
  StartWrite(&fRequest);
}

void LendLink::OnWriteDone(bool ok) {
  takenOver(this);
  bool mayRelease = false;
  bool goesOn = false;
  {
    std::scoped_lock lock(fMutex);
    if (!ok) fIsOver = true;
    goesOn = !fIsOver && !fQueue.empty();
    fIsWriting = goesOn;
    if (goesOn) {
      fRequest = std::move(fQueue.front());
      fQueue.pop_front();
    }
    mayRelease = mayReleaseLocked();
  }
  if (goesOn) StartWrite(&handedOver(this)->fRequest);
  if (mayRelease) handedOver(this)->RemoveHold();
}

void LendLink::OnDone(const grpc::Status& status) {
  takenOver(this);
  std::map<std::uint64_t, Call> lost;
  {
    std::scoped_lock lock(fMutex);
    fLoss = status.ok() ? fConnection.lost("it let go of " + fService->name())
                        : fConnection.errorOf(status);
    lost.swap(fCalls);
    fWake.notify_all();
  }
  for (const auto& [id, call] : lost) call.stop->raise();
  lost.clear();
  fConnection.ended(this);  // and with it, perhaps, this
}

}  // namespace remote
