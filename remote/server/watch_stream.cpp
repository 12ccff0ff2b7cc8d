#include "remote/server/watch_stream.h"

#include <stdexcept>
#include <utility>

#include "framework/xo/event_loop.h"
#include "remote/proto/convert.h"
#include "remote/proto/utf8.h"
#include "remote/server/exchange.h"

namespace remote {
namespace {

/// A message is sent when it has grown to this size: far below what any client accepts.
constexpr std::size_t kMessageBytes = 256 * 1024;

}  // namespace

WatchStream* WatchStream::open(grpc::CallbackServerContext* context, const std::string& pattern,
                               const door::Access& access, Endables& endables,
                               std::shared_ptr<void> counted) {
  const auto stream = std::make_shared<WatchStream>(context, endables, std::move(counted));
  stream->fSelf = stream;
  stream->begin(pattern, access);
  endables.add(stream);
  return stream.get();
}

WatchStream::WatchStream(grpc::CallbackServerContext* context, Endables& endables,
                         std::shared_ptr<void> counted)
    : fContext(context), fEndables(endables), fCounted(std::move(counted)) {}

void WatchStream::begin(const std::string& pattern, const door::Access& access) {
  try {
    door::MemoryWatch::Viewer viewer{
        [this](std::vector<HB::MemoryItem> items) { takeBatch(std::move(items)); },
        [this](const std::string& why) {
          end({grpc::StatusCode::UNAVAILABLE, why});
        }};
    fWatch = std::make_unique<door::MemoryWatch>(access, pattern, std::move(viewer));
    fWatch->next();
  } catch (const door::Refused& refused) {
    end(statusOf(refused));
  } catch (const std::exception& error) {
    end({grpc::StatusCode::INTERNAL, error.what()});
  }
}

void WatchStream::takeBatch(std::vector<HB::MemoryItem> items) {
  {
    std::scoped_lock lock(fMutex);
    if (fPhase != Phase::kIdle) return;  // only the end can be in between
    fPhase = Phase::kWriting;
  }
  fItems = std::move(items);
  fNextItem = 0;
  writeSome();
}

/// Sends the next part of the batch. In phase kWriting.
void WatchStream::writeSome() {
  fMessage.Clear();
  fMessage.set_snapshot(fIsSnapshot);
  std::size_t bytes = 0;
  while (fNextItem < fItems.size() && bytes < kMessageBytes) {
    const auto& [key, value] = fItems[fNextItem++];
    auto* const item = fMessage.add_items();
    item->set_key(replaceInvalidUtf8(key));
    try {
      toWire(value, item->mutable_value());
    } catch (const std::length_error&) {
      item->clear_value();  // nested more deeply than a message can hold
    }
    bytes += item->ByteSizeLong();
  }
  fMessage.set_more(fNextItem < fItems.size());
  StartWrite(&fMessage);
}

void WatchStream::OnWriteDone(bool ok) {
  std::unique_ptr<grpc::Status> wantedEnd;
  {
    std::scoped_lock lock(fMutex);
    wantedEnd = std::move(fWantedEnd);
    if (!ok && !wantedEnd) wantedEnd = std::make_unique<grpc::Status>(grpc::Status::CANCELLED);
    if (wantedEnd) fPhase = Phase::kFinished;
  }
  if (wantedEnd) {
    Finish(*wantedEnd);
    return;
  }
  if (fNextItem < fItems.size()) {
    writeSome();
    return;
  }
  fItems.clear();
  fIsSnapshot = false;
  {
    std::scoped_lock lock(fMutex);
    wantedEnd = std::move(fWantedEnd);
    fPhase = wantedEnd ? Phase::kFinished : Phase::kIdle;
  }
  if (wantedEnd) {
    Finish(*wantedEnd);
  } else {
    fWatch->next();
  }
}

void WatchStream::end(const grpc::Status& status) {
  {
    std::scoped_lock lock(fMutex);
    if (fPhase == Phase::kFinished) return;
    if (fPhase == Phase::kWriting) {
      fWantedEnd = std::make_unique<grpc::Status>(status);
      return;
    }
    fPhase = Phase::kFinished;
  }
  Finish(status);
}

void WatchStream::OnCancel() { end(grpc::Status::CANCELLED); }

void WatchStream::endWithServer() {
  end(shuttingDown());
  bool isStuck = false;
  {
    std::scoped_lock lock(fMutex);
    isStuck = fPhase == Phase::kWriting;
  }
  if (isStuck) fContext->TryCancel();  // its client may never read what is being written
}

void WatchStream::OnDone() {
  fEndables.remove(this);
  // Not here: this may be the thread of a batch, and the watch waits for that.
  xo::getEventLoop().post([self = std::move(fSelf)] {});
}

}  // namespace remote
