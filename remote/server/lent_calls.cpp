#include "remote/server/lent_calls.h"

#include <stdexcept>
#include <utility>
#include <vector>

#include "framework/xo/call.h"
#include "remote/proto/convert.h"

namespace remote {
namespace {

namespace v1 = tavro::v1;

/// How often a caller that waits looks whether it was asked to stop: a stop flag tells nobody.
constexpr int kLookMilliseconds = 10;

[[noreturn]] void refuse(const std::string& text) { throw std::runtime_error(text); }

}  // namespace

LentCalls::LentCalls(std::string service, Send send)
    : fService(std::move(service)), fSend(std::move(send)) {}

xo::CallResult LentCalls::call(std::size_t method, const std::string& name,
                               std::span<const HB::HBValue> args) {
  v1::LendReply message;
  auto* const wire = message.mutable_call();
  wire->set_method(static_cast<std::uint32_t>(method));
  for (const auto& arg : args) toWire(arg, wire->add_args());
  const auto call = std::make_shared<Call>();
  const std::uint64_t id = begin(call, name, std::move(message));
  await(id, *call, name);
  auto value = call->answer.future().value(0);
  return {std::move(value), std::exchange(call->future, std::nullopt)};
}

std::uint64_t LentCalls::begin(const std::shared_ptr<Call>& call, const std::string& name,
                               v1::LendReply message) {
  const std::size_t bytes = message.ByteSizeLong();
  std::uint64_t id = 0;
  {
    std::scoped_lock lock(fMutex);
    if (fLoss) refuse(*fLoss);
    if (fCalls.size() >= kLentCalls) {
      refuse(fService + "." + name + " is not called: calls of a lent service that are under way " +
             "have reached the limit of " + std::to_string(kLentCalls));
    }
    if (fBytes + bytes > kLentBytes) {
      refuse(fService + "." + name + " is not called: it is of " + std::to_string(bytes) +
             " bytes, calls that have not returned of " + std::to_string(fBytes) +
             "; the limit of both is " + std::to_string(kLentBytes));
    }
    id = fNextId++;
    fCalls.emplace(id, Entry{call, {}, bytes});
    fBytes += bytes;
  }
  message.mutable_call()->set_call(id);
  if (!fSend(std::move(message))) {
    forget(id, false);
    refuse("The process that lent " + fService + " is gone");
  }
  return id;
}

void LentCalls::await(std::uint64_t id, const Call& call, const std::string& name) {
  const auto answer = call.answer.future();
  bool isStopTold = false;
  while (!answer.wait(kLookMilliseconds)) {
    if (!isStopTold && xo::CallScope::current()->isStopRequested()) {
      isStopTold = true;
      tellStop(id);
    }
    const auto* const ending = xo::CallScope::currentEnding();
    if (ending == nullptr || !ending->isRaised()) continue;
    forget(id, false);
    v1::LendReply message;
    message.set_drop(id);
    fSend(std::move(message));
    throw xo::Error("The wait for " + fService + "." + name + " was given up");
  }
}

void LentCalls::tellStop(std::uint64_t id) {
  v1::LendReply message;
  message.set_stop(id);
  fSend(std::move(message));
}

bool LentCalls::forget(std::uint64_t id, bool isFuture) {
  Entry unused;  // let go of after the lock
  std::scoped_lock lock(fMutex);
  const auto found = fCalls.find(id);
  if (found == fCalls.end() || isFuture != (found->second.call == nullptr)) return false;
  fBytes -= found->second.bytes;
  unused = std::move(found->second);
  fCalls.erase(found);
  return true;
}

xo::Future<HB::HBValue> LentCalls::makeFuture(std::uint64_t id) {
  const auto state = xo::detail::makeState<HB::HBValue>();
  state->setAbandonHook([weak = weak_from_this(), id] {
    const auto self = weak.lock();
    if (!self || !self->forget(id, true)) return;
    v1::LendReply message;
    message.set_drop(id);
    self->fSend(std::move(message));
  });
  state->onCancelRequested([weak = weak_from_this(), id] {
    if (const auto self = weak.lock()) {
      v1::LendReply message;
      message.set_cancel(id);
      self->fSend(std::move(message));
    }
  });
  return xo::Future<HB::HBValue>(state);
}

void LentCalls::returned(const v1::LendRequest::Returned& message) {
  std::shared_ptr<Call> call;
  std::optional<xo::Future<HB::HBValue>> future;
  if (message.has_future()) future = makeFuture(message.call());
  {
    std::scoped_lock lock(fMutex);
    const auto found = fCalls.find(message.call());
    if (found == fCalls.end() || !found->second.call) return;  // given up
    call = std::move(found->second.call);
    fBytes -= std::exchange(found->second.bytes, 0);
    if (future) {
      found->second.call = nullptr;
      found->second.future = future->sharedState();
    } else {
      fCalls.erase(found);
    }
  }
  if (future) {
    call->future = std::move(future);
    call->answer.setValue(HB::HBValue());
  } else if (message.has_error()) {
    call->answer.setError(errorFromWire(message.error()));
  } else {
    call->answer.setValue(fromWire(message.value()));
  }
}

std::shared_ptr<LentCalls::State> LentCalls::takeFuture(std::uint64_t id) {
  std::scoped_lock lock(fMutex);
  const auto found = fCalls.find(id);
  if (found == fCalls.end() || found->second.call) return nullptr;
  auto state = found->second.future.lock();
  fCalls.erase(found);
  return state;
}

void LentCalls::finished(const v1::LendRequest::Finished& message) {
  const auto state = takeFuture(message.call());
  if (!state) return;
  if (!message.has_error()) {
    state->setValue(fromWire(message.value()));
  } else if (message.error().kind() == "cancelled") {
    state->finishCancelled();
  } else {
    state->finishError(errorFromWire(message.error()));
  }
}

void LentCalls::lose(const std::string& why) {
  std::map<std::uint64_t, Entry> lost;
  {
    std::scoped_lock lock(fMutex);
    if (fLoss) return;
    fLoss = why;
    lost.swap(fCalls);
    fBytes = 0;
  }
  // Callers first: what follows a future may want a lock that one of them holds.
  for (const auto& [id, entry] : lost) {
    if (entry.call) entry.call->answer.setError(why);
  }
  for (const auto& [id, entry] : lost) {
    if (const auto state = entry.future.lock()) {
      state->finishError(std::make_exception_ptr(std::runtime_error(why)));
    }
  }
}

std::size_t LentCalls::size() const {
  std::scoped_lock lock(fMutex);
  return fCalls.size();
}

}  // namespace remote
