// One unary call on the completion queue, from its arrival to its end. For the server's own files.
#pragma once

#include <grpcpp/grpcpp.h>
#include <grpcpp/impl/codegen/proto_utils.h>
#include <grpcpp/support/async_unary_call.h>

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>

#include "access/access.h"
#include "remote/proto/handover.h"
#include "remote/server/crew.h"

namespace remote {

/// A tag that calls a member function.
template <class Owner, void (Owner::*Handler)(bool)>
class MemberTag final : public Tag {
 public:
  explicit MemberTag(Owner* owner) : fOwner(owner) {}
  void happened(bool ok) override { (fOwner->*Handler)(ok); }

 private:
  Owner* const fOwner;
};

/// How Access knows what came in here.
inline constexpr const char* kTransport = "grpc";

/// Who asks, as gRPC tells it.
door::Client clientOf(const grpc::ServerContextBase& context);

/// The status that a refusal becomes.
grpc::Status statusOf(const door::Refused& refused);

/// Status of everything that the server's end cuts off.
grpc::Status shuttingDown();

/// Keeps itself alive while gRPC may use it: from its request on until the reply was sent *and*
/// gRPC told that the call ended, in either order, or until it is dropped unused.
template <class Request, class Reply>
class Exchange final : public std::enable_shared_from_this<Exchange<Request, Reply>> {
 public:
  using Pointer = std::shared_ptr<Exchange>;
  /// Asks gRPC for the next call: `(context, request, responder, tag)`.
  using Ask = std::function<void(grpc::ServerContext*, Request*,
                                 grpc::ServerAsyncResponseWriter<Reply>*, void*)>;
  /// Handles the call; it replies exactly once, now or later.
  using Handle = std::function<void(const Pointer&)>;
  struct Method {
    Ask ask;
    Handle handle;
  };

  /// Waits for one call of the method, which outlives it, as `counted` does.
  static void expect(const Method& method, std::shared_ptr<void> counted) {
    const auto exchange = std::make_shared<Exchange>(method, std::move(counted));
    exchange->fSelf = exchange;
    exchange->context.AsyncNotifyWhenDone(handedOver(&exchange->fEnded));
    method.ask(&exchange->context, &exchange->request, &exchange->fResponder,
               handedOver(&exchange->fArrived));
  }

  Exchange(const Method& method, std::shared_ptr<void> counted)
      : fMethod(method), fCounted(std::move(counted)) {}

  void sendReply(const grpc::Status& status) {
    if (fIsReplied.exchange(true)) return;
    if (status.ok()) {
      fResponder.Finish(reply, status, handedOver(&fSent));
    } else {
      fResponder.FinishWithError(status, handedOver(&fSent));
    }
  }

  /// Runs `callback` on a crew's thread when the client is gone, cancelled or out of time; at once
  /// when it is already or when the exchange is over. Kept until then.
  void onCancelled(std::function<void()> callback) {
    {
      std::scoped_lock lock(fMutex);
      if (!fIsOver) {
        fOnCancelled = std::move(callback);
        return;
      }
    }
    callback();
  }

  grpc::ServerContext context;
  Request request;
  Reply reply;
  xo::StopFlag stop;  ///< raised when the client is gone

 private:
  void arrived(bool ok) {
    if (!ok) {
      fSelf.reset();  // the server is shutting down; nothing was begun
      return;
    }
    const Pointer self = fSelf;
    expect(fMethod, fCounted);
    fMethod.handle(self);
  }
  void ended(bool) {
    if (context.IsCancelled()) {
      stop.raise();
      std::function<void()> callback;
      {
        std::scoped_lock lock(fMutex);
        fIsOver = true;
        callback = std::move(fOnCancelled);
      }
      if (callback && !fIsReplied) callback();
    }
    release();
  }
  void sent(bool) { release(); }
  void release() {
    if (++fReleases < 2) return;
    const Pointer self = std::move(fSelf);
    std::function<void()> unused;  // may hold this exchange
    std::scoped_lock lock(fMutex);
    fIsOver = true;
    std::swap(unused, fOnCancelled);
  }

  const Method& fMethod;
  const std::shared_ptr<void> fCounted;
  grpc::ServerAsyncResponseWriter<Reply> fResponder{&context};
  MemberTag<Exchange, &Exchange::arrived> fArrived{this};
  MemberTag<Exchange, &Exchange::ended> fEnded{this};
  MemberTag<Exchange, &Exchange::sent> fSent{this};
  Pointer fSelf;
  std::atomic<int> fReleases{0};
  std::atomic<bool> fIsReplied{false};
  std::mutex fMutex;
  bool fIsOver = false;
  std::function<void()> fOnCancelled;
};

}  // namespace remote
