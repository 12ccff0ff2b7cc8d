// One stream of messages to a client on the completion queue, from its arrival to its end. For the
// server's own files.
#pragma once

#include <grpcpp/grpcpp.h>
#include <grpcpp/impl/codegen/proto_utils.h>
#include <grpcpp/support/async_stream.h>

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>

#include "remote/server/endables.h"
#include "remote/server/exchange.h"

namespace remote {

/// Base of what sends. Keeps itself alive while gRPC may use it.
///
///     idle --send--> writing --written--> idle
///       |               |
///       +----end--------+--written, end wanted--> finished --closed()--> gone
///
/// One message at a time: what a client does not read stays where it came from. `send` and `end`
/// are thread-safe; the hooks run on a crew's thread and never at the same time as each other,
/// except that `send` and `end` may be called from anywhere meanwhile.
template <class Request, class Reply>
class Stream : public Endable, public std::enable_shared_from_this<Stream<Request, Reply>> {
 public:
  using Pointer = std::shared_ptr<Stream>;
  /// Asks gRPC for the next stream, and makes the object that serves it.
  struct Method {
    std::function<void(grpc::ServerContext*, Request*, grpc::ServerAsyncWriter<Reply>*, void*)> ask;
    std::function<Pointer()> make;
  };

  /// Waits for one stream of the method, which outlives it, as `endables` does.
  static void expect(const Method& method, Endables& endables, std::shared_ptr<void> counted) {
    const Pointer stream = method.make();
    stream->fSelf = stream;
    stream->fMethod = &method;
    stream->fEndables = &endables;
    stream->fCounted = std::move(counted);
    stream->fContext.AsyncNotifyWhenDone(handedOver(&stream->fEnded));
    method.ask(&stream->fContext, &stream->fRequest, &stream->fWriter,
               handedOver(&stream->fArrived));
  }

  void endWithServer() override {
    end(shuttingDown());
    bool isStuck = false;
    {
      std::scoped_lock lock(fMutex);
      isStuck = fPhase == Phase::kWriting;
    }
    if (isStuck) fContext.TryCancel();  // its client may never read what is being written
  }

 protected:
  virtual ~Stream() = default;

  /// The stream is open. What it throws ends it.
  virtual void opened(const Request& request) = 0;
  /// The message before is on its way; another may be sent.
  virtual void written() = 0;
  /// Nothing is sent from now on. The object is destroyed soon after, by an event loop's thread or
  /// a crew's.
  virtual void closed() = 0;

  const grpc::ServerContext& context() const { return fContext; }

  /// False, and nothing happens, when a message is being written or the end has come.
  bool send(const Reply& reply) {
    {
      std::scoped_lock lock(fMutex);
      if (fPhase != Phase::kIdle) return false;
      fPhase = Phase::kWriting;
    }
    fWriter.Write(reply, handedOver(&fWritten));
    return true;
  }

  void end(const grpc::Status& status) {
    {
      std::scoped_lock lock(fMutex);
      if (fPhase == Phase::kFinished) return;
      if (fPhase == Phase::kWriting) {
        fWantedEnd = status;
        return;
      }
      fPhase = Phase::kFinished;
    }
    fWriter.Finish(status, handedOver(&fSent));
  }

 private:
  enum class Phase { kIdle, kWriting, kFinished };

  void arrived(bool ok) {
    if (!ok) {
      fSelf.reset();  // the server is shutting down; nothing was begun
      return;
    }
    const Pointer self = fSelf;
    expect(*fMethod, *fEndables, fCounted);
    fEndables->add(self);
    try {
      opened(fRequest);
    } catch (const door::Refused& refused) {
      end(statusOf(refused));
    } catch (const std::exception& error) {
      end({grpc::StatusCode::INTERNAL, error.what()});
    }
  }
  void wasWritten(bool ok) {
    // The end may come on another thread while `written` is still busy.
    const Pointer self = this->shared_from_this();
    std::optional<grpc::Status> wantedEnd;
    {
      std::scoped_lock lock(fMutex);
      wantedEnd = std::exchange(fWantedEnd, std::nullopt);
      if (!ok && !wantedEnd) wantedEnd = grpc::Status::CANCELLED;
      fPhase = wantedEnd ? Phase::kFinished : Phase::kIdle;
    }
    if (wantedEnd) {
      fWriter.Finish(*wantedEnd, handedOver(&fSent));
    } else {
      written();
    }
  }
  void ended(bool) {
    end(grpc::Status::CANCELLED);  // when nothing else ended it, the client is gone
    release();
  }
  void sent(bool) { release(); }
  void release();

  const Method* fMethod = nullptr;
  Endables* fEndables = nullptr;
  std::shared_ptr<void> fCounted;
  grpc::ServerContext fContext;
  Request fRequest;
  grpc::ServerAsyncWriter<Reply> fWriter{&fContext};
  MemberTag<Stream, &Stream::arrived> fArrived{this};
  MemberTag<Stream, &Stream::ended> fEnded{this};
  MemberTag<Stream, &Stream::wasWritten> fWritten{this};
  MemberTag<Stream, &Stream::sent> fSent{this};
  Pointer fSelf;
  std::atomic<int> fReleases{0};

  std::mutex fMutex;  // phase and wanted end; gRPC is never called under it
  Phase fPhase = Phase::kIdle;
  std::optional<grpc::Status> fWantedEnd;
};

/// Lets go of a stream on the event loop: whoever hands it messages may be in the middle of that on
/// the calling thread.
void letGoLater(std::shared_ptr<void> stream);

template <class Request, class Reply>
void Stream<Request, Reply>::release() {
  if (++fReleases < 2) return;
  fEndables->remove(this);
  closed();
  letGoLater(std::move(fSelf));
}

}  // namespace remote
