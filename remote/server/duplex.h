// One stream of messages in both directions on the completion queue, from its arrival to its end.
// For the server's own files.
#pragma once

#include <grpcpp/grpcpp.h>
#include <grpcpp/impl/codegen/proto_utils.h>
#include <grpcpp/support/async_stream.h>

#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "remote/server/endables.h"
#include "remote/server/exchange.h"
#include "remote/server/first_words.h"
#include "remote/server/stream.h"

namespace remote {

/// What may wait for a client that does not read. A lender that reads has at most the calls that it
/// has not answered (4 MiB) waiting, and short words about them.
inline constexpr std::size_t kQueuedBytes = 5 << 20;

/// Base of what talks to one client. Keeps itself alive while gRPC may use it. A client whose first
/// message does not come in time, or who lets too much wait, is cut off and told why.
///
///     idle --send--> writing --written, nothing queued--> idle
///       |               |
///       +----end--------+--written, nothing queued--> finished --all tags are back--> gone
///
/// `send` and `end` are thread-safe and never block; the caller holds the stream. Hooks run on a
/// crew's thread. `received` comes once for each `readNext`, so one at a time unless it asks for
/// the next message before it is done with this one; `gone` comes at any time.
template <class Request, class Reply>
class Duplex : public Endable,
               public FirstWords::Silent,
               public std::enable_shared_from_this<Duplex<Request, Reply>> {
 public:
  using Pointer = std::shared_ptr<Duplex>;
  using Messages = grpc::ServerAsyncReaderWriter<Reply, Request>;
  /// Asks gRPC for the next stream, and makes the object that serves it.
  struct Method {
    std::string name;
    std::shared_ptr<FirstWords> firstWords;
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
    stream->fContext.AsyncNotifyWhenDone(handedOver(&stream->fEnded));
    method.ask(&stream->fContext, &stream->fMessages, handedOver(&stream->fArrived));
  }

  void endWithServer() override {
    end(shuttingDown());
    std::unique_lock lock(fMutex);
    const bool isStuck = fIsWriting;
    lock.unlock();
    if (isStuck) cutOff(shuttingDown());  // its client may never read what is being written
  }

  void heardNothing() override {
    end({grpc::StatusCode::DEADLINE_EXCEEDED,
         "The first message of " + fMethod->name + " did not come within " +
             std::to_string(kFirstMessageWithin.count()) + " s"});
  }

 protected:
  virtual ~Duplex() = default;

  /// The stream is open, and nothing was said yet. What it throws ends it.
  virtual void opened() = 0;
  /// A message came. What it throws ends the stream.
  virtual void received(Request request) = 0;
  /// All that was sent is on its way.
  virtual void drained() {}
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
    fMessages.Read(&fRequest, handedOver(&fRead));
  }

  /// False, and nothing happens, once the end has come.
  bool send(Reply reply) {
    const std::size_t bytes = reply.ByteSizeLong();
    bool isTooMuch = false;
    {
      std::scoped_lock lock(fMutex);
      if (fIsFinished || fWantedEnd || fIsDeaf) return false;
      if (fIsWriting) {
        isTooMuch = fQueuedBytes + bytes > kQueuedBytes;
        fIsDeaf = isTooMuch;
        if (!isTooMuch) {
          fQueuedBytes += bytes;
          fQueue.push_back(std::move(reply));
          return true;
        }
      } else {
        fIsWriting = true;
        ++fTags;
      }
    }
    if (isTooMuch) {
      cutOff({grpc::StatusCode::RESOURCE_EXHAUSTED,
              "What this client has not read has reached the limit of " +
                  std::to_string(kQueuedBytes) + " bytes"});
      return false;
    }
    fMessages.Write(reply, handedOver(&fWritten));
    return true;
  }
  /// It was cut off because it does not read.
  bool isDeaf() const {
    std::scoped_lock lock(fMutex);
    return fIsDeaf;
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
    fMessages.Write(first, handedOver(&fWritten));
  }
  /// Drops what was kept, and ends.
  void releaseAndEnd(const grpc::Status& status) {
    {
      std::scoped_lock lock(fMutex);
      fIsWriting = false;
      fQueue.clear();
      fQueuedBytes = 0;
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
    fMessages.Finish(status, handedOver(&fSent));
  }
  /// Ends at once whatever the client does, and drops what was not sent.
  void cutOff(const grpc::Status& status) {
    grpc_call_cancel_with_status(fContext.c_call(),
                                 static_cast<grpc_status_code>(status.error_code()),
                                 status.error_message().c_str(), nullptr);
  }

 private:
  void arrived(bool ok) {
    if (!ok) {
      fSelf.reset();  // the server is shutting down; nothing was begun
      return;
    }
    const Pointer self = fSelf;
    expect(*fMethod, *fEndables, fCounted);
    fTicket = fMethod->firstWords->await(self);
    fEndables->add(self);
    try {
      opened();
    } catch (const door::Refused& refused) {
      fMethod->firstWords->came(std::exchange(fTicket, 0));
      end(statusOf(refused));
      return;
    }
    readNext();
  }
  void wasRead(bool ok) {
    const Pointer self = fSelf;
    if (fTicket != 0 && !fMethod->firstWords->came(std::exchange(fTicket, 0))) {
      heardNothing();  // too late: the client is told so, and nothing is done
    } else if (ok) {
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
        fQueuedBytes = 0;
        if (!fWantedEnd) fWantedEnd = grpc::Status::CANCELLED;
      }
      if (!fQueue.empty()) {
        next = std::move(fQueue.front());
        fQueue.pop_front();
        fQueuedBytes -= next->ByteSizeLong();
        ++fTags;
      } else {
        fIsWriting = false;
        fIsFinished = fWantedEnd.has_value();
        wantedEnd = fWantedEnd;
      }
    }
    if (next) {
      fMessages.Write(*next, handedOver(&fWritten));
    } else if (wantedEnd) {
      fMessages.Finish(*wantedEnd, handedOver(&fSent));
    } else {
      drained();
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
  FirstWords::Ticket fTicket = 0;  // by the reading thread alone, until the first message is there

  mutable std::mutex fMutex;  // guards all below; gRPC is never called under it
  int fTags = 2;  // that gRPC will give back: of the end, of what finishes it, and those under way
  bool fIsWriting = false;
  bool fIsFinished = false;
  bool fIsDeaf = false;
  std::deque<Reply> fQueue;
  std::size_t fQueuedBytes = 0;
  std::optional<grpc::Status> fWantedEnd;
};

}  // namespace remote
