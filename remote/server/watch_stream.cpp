#include "remote/server/watch_stream.h"

#include <stdexcept>

#include "framework/xo/event_loop.h"
#include "remote/proto/convert.h"
#include "remote/proto/utf8.h"

namespace remote {

void letGoLater(std::shared_ptr<void> stream) {
  xo::getEventLoop().post([stream = std::move(stream)] {});
}

void WatchStream::opened(const tavro::v1::WatchRequest& request) {
  fPlace = fAccess.takeWatchPlace(clientOf(context()));
  door::MemoryWatch::Viewer viewer{[this](const HB::MemoryChanges& part) { sendPart(part); },
                                   [this](const std::string& why) {
                                     end({grpc::StatusCode::UNAVAILABLE, why});
                                   }};
  fWatch = std::make_unique<door::MemoryWatch>(fAccess, request.pattern(), std::move(viewer));
  fWatch->next();
}

void WatchStream::sendPart(const HB::MemoryChanges& part) {
  tavro::v1::WatchReply message;
  message.set_snapshot(fIsSnapshot);
  message.set_dropped(fWatch->dropped());
  message.set_more(part.isMore);
  for (const auto& [key, value] : part.items) {
    auto* const item = message.add_items();
    item->set_key(replaceInvalidUtf8(key));
    try {
      toWire(value, item->mutable_value());
    } catch (const std::length_error&) {
      item->clear_value();  // nested more deeply than a message can hold
    }
  }
  fIsSnapshot = fIsSnapshot && part.isMore;
  send(message);
}

void WatchStream::written() { fWatch->next(); }

}  // namespace remote
