#include "remote/server/watch_stream.h"

#include <stdexcept>
#include <utility>

#include "framework/xo/event_loop.h"
#include "remote/proto/convert.h"
#include "remote/proto/utf8.h"

namespace remote {
namespace {

/// A message is sent when it has grown to this size: far below what any client accepts.
constexpr std::size_t kMessageBytes = 256 * 1024;

}  // namespace

void letGoLater(std::shared_ptr<void> stream) {
  xo::getEventLoop().post([stream = std::move(stream)] {});
}

void WatchStream::opened(const tavro::v1::WatchRequest& request) {
  fPlace = fAccess.takeWatchPlace(clientOf(context()));
  door::MemoryWatch::Viewer viewer{
      [this](std::vector<HB::MemoryItem> items) { takeBatch(std::move(items)); },
      [this](const std::string& why) {
        end({grpc::StatusCode::UNAVAILABLE, why});
      }};
  fWatch = std::make_unique<door::MemoryWatch>(fAccess, request.pattern(), std::move(viewer));
  fWatch->next();
}

void WatchStream::takeBatch(std::vector<HB::MemoryItem> items) {
  fItems = std::move(items);
  fNextItem = 0;
  sendPart();
}

void WatchStream::sendPart() {
  fMessage.Clear();
  fMessage.set_snapshot(fIsSnapshot);
  fMessage.set_dropped(fWatch->dropped());
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
  send(fMessage);
}

void WatchStream::written() {
  if (fNextItem < fItems.size()) {
    sendPart();
    return;
  }
  fItems.clear();
  fIsSnapshot = false;
  fWatch->next();
}

}  // namespace remote
