// One stream of messages in both directions on the completion queue, from its arrival to its end.
// For the server's own files.
#pragma once

#include <grpcpp/grpcpp.h>
#include <grpcpp/impl/codegen/proto_utils.h>
#include <grpcpp/support/async_stream.h>

#include <atomic>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>

#include "remote/server/endables.h"
#include "remote/server/exchange.h"
#include "remote/server/stream.h"

namespace remote {

/// Base of what talks to one client. Keeps itself alive while gRPC may use it.
///
///     idle --send--> writing --written, nothing queued--> idle
///       |               |
///       +----end--------+--written, nothing queued--> finished --all tags are back--> gone
///
/// `send` and `end` are thread-safe and never block; the caller holds the stream. Hooks run on a
/// crew's thread. `received` comes once for each `readNext`, so one at a time unless it asks for
/// the next message before it is done with this one; `gone` comes at any time.
template <class Request, class Reply>
class Duplex : public Endable, public std::enable_shared_from_this<Duplex<Request, Reply>> {
 public:
  using Pointer = std::shared_ptr<Duplex>;
  using Messages = grpc::ServerAsyncReaderWriter<Reply, Request>;
  /// Asks gRPC for the next stream, and makes the object that serves it.
  struct Method {
    std::function<void(grpc::ServerContext*, Messages*, void*)> ask;
    std::function<Pointer()> make;
  };

  /// Waits for one stream of the method, which outlives it, as `endables` does.
  static void expect(const Method& method, Endables& endables, std::shared_ptr<void> counted) {
    const Pointer stream = method.make();
    stream->fSelf = stream;
    stream->fMethod = &method;
    stream->fEndables = &endables;
    stream->fCounted = std::move(counted);
    stream->fContext.AsyncNotifyWhenDone(&stream->fEnded);
    method.ask(&stream->fContext, &stream->fMessages, &stream->fArrived);
  }

  void endWithServer() override {
    end(shuttingDown());
    std::unique_lock lock(fMutex);
    const bool isStuck = fIsWriting;
    lock.unlock();
    if (isStuck) cutOff();  // its client may never read what is being written
  }

 protected:
  virtual ~Duplex() = default;

  /// A message came. What it throws ends the stream.
  virtual void received(Request request) = 0;
  /// The client will say no more.
  virtual void readsEnded() {}
  /// The client is gone, or has cancelled.
  virtual void gone() = 0;
  /// Nothing happens from now on. The object is destroyed soon after, by an event loop's thread.
  virtual void closed() {}

  const grpc::ServerContext& context() const { return fContext; }

  /// Wants one more message.
  void readNext() {
    {
      std::scoped_lock lock(fMutex);
      if (fIsFinished) return;
      ++fTags;
    }
    fMessages.Read(&fRequest, &fRead);
  }

  /// False, and nothing happens, once the end has come.
  bool send(Reply reply) {
    {
      std::scoped_lock lock(fMutex);
      if (fIsFinished || fWantedEnd) return false;
      if (fIsWriting) {
        fQueue.push_back(std::move(reply));
        return true;
      }
      fIsWriting = true;
      ++fTags;
    }
    fMessages.Write(reply, &fWritten);
    return true;
  }

  /// Keeps what is sent from now on until `release`. While nothing is being written.
  void hold() {
    std::scoped_lock lock(fMutex);
    fIsWriting = true;
  }
  /// Sends `first`, then what was kept.
  void release(const Reply& first) {
    {
      std::scoped_lock lock(fMutex);
      ++fTags;
    }
    fMessages.Write(first, &fWritten);
  }
  /// Drops what was kept, and ends.
  void releaseAndEnd(const grpc::Status& status) {
    {
      std::scoped_lock lock(fMutex);
      fIsWriting = false;
      fQueue.clear();
      fWantedEnd.reset();
    }
    end(status);
  }

  /// Ends when what was sent before is written. The first end counts.
  void end(const grpc::Status& status) {
    {
      std::scoped_lock lock(fMutex);
      if (fIsFinished || fWantedEnd) return;
      fWantedEnd = status;
      if (fIsWriting) return;
      fIsFinished = true;
    }
    fMessages.Finish(status, &fSent);
  }
  /// Ends at once whatever the client does.
  void cutOff() { fContext.TryCancel(); }

 private:
  void arrived(bool ok) {
    if (!ok) {
      fSelf.reset();  // the server is shutting down; nothing was begun
      return;
    }
    const Pointer self = fSelf;
    expect(*fMethod, *fEndables, fCounted);
    fEndables->add(self);
    readNext();
  }
  void wasRead(bool ok) {
    const Pointer self = fSelf;
    if (ok) {
      try {
        received(std::exchange(fRequest, Request()));
      } catch (const door::Refused& refused) {
        end(statusOf(refused));
      } catch (const std::exception& error) {
        end({grpc::StatusCode::INTERNAL, error.what()});
      }
    } else {
      readsEnded();
    }
    dropTag();
  }
  void wasWritten(bool ok) {
    const Pointer self = fSelf;
    std::optional<Reply> next;
    std::optional<grpc::Status> wantedEnd;
    {
      std::scoped_lock lock(fMutex);
      if (!ok) {
        fQueue.clear();
        if (!fWantedEnd) fWantedEnd = grpc::Status::CANCELLED;
      }
      if (!fQueue.empty()) {
        next = std::move(fQueue.front());
        fQueue.pop_front();
        ++fTags;
      } else {
        fIsWriting = false;
        fIsFinished = fWantedEnd.has_value();
        wantedEnd = fWantedEnd;
      }
    }
    if (next) {
      fMessages.Write(*next, &fWritten);
    } else if (wantedEnd) {
      fMessages.Finish(*wantedEnd, &fSent);
    }
    dropTag();
  }
  void ended(bool) {
    const Pointer self = fSelf;
    if (fContext.IsCancelled()) gone();
    end(grpc::Status::CANCELLED);  // when nothing else ended it, the client is gone
    dropTag();
  }
  void sent(bool) { dropTag(); }

  void dropTag() {
    {
      std::scoped_lock lock(fMutex);
      if (--fTags > 0) return;
    }
    fEndables->remove(this);
    closed();
    letGoLater(std::move(fSelf));
  }

  const Method* fMethod = nullptr;
  Endables* fEndables = nullptr;
  std::shared_ptr<void> fCounted;
  grpc::ServerContext fContext;
  Request fRequest;
  Messages fMessages{&fContext};
  MemberTag<Duplex, &Duplex::arrived> fArrived{this};
  MemberTag<Duplex, &Duplex::ended> fEnded{this};
  MemberTag<Duplex, &Duplex::wasRead> fRead{this};
  MemberTag<Duplex, &Duplex::wasWritten> fWritten{this};
  MemberTag<Duplex, &Duplex::sent> fSent{this};
  Pointer fSelf;

  std::mutex fMutex;  // guards all below; gRPC is never called under it
  int fTags = 2;  // that gRPC will give back: of the end, of what finishes it, and those under way
  bool fIsWriting = false;
  bool fIsFinished = false;
  std::deque<Reply> fQueue;
  std::optional<grpc::Status> fWantedEnd;
};

}  // namespace remote
