#include "remote/server/service_watch.h"

#include "remote/proto/utf8.h"

namespace remote {

void ServiceWatch::opened(const tavro::v1::WatchServicesRequest&) {
  fPlace = fAccess.takeWatchPlace(clientOf(context()));
  fSubscription = fAccess.session()->onChange([weak = weak_from_this()] {
    if (const auto self = weak.lock()) static_cast<ServiceWatch&>(*self).changed();
  });
  sendAll();
}

void ServiceWatch::changed() {
  {
    std::scoped_lock lock(fMutex);
    fIsDirty = true;
    if (fIsSending) return;
    fIsSending = true;
  }
  sendAll();
}

void ServiceWatch::sendAll() {
  {
    std::scoped_lock lock(fMutex);
    fIsDirty = false;
  }
  tavro::v1::WatchServicesReply reply;
  for (const auto& service : fAccess.session()->standing()) {
    auto* const info = reply.add_services();
    info->set_name(replaceInvalidUtf8(service.name));
    info->set_generation(service.generation);
  }
  send(reply);
}

void ServiceWatch::written() {
  {
    std::scoped_lock lock(fMutex);
    fIsSending = fIsDirty;
    if (!fIsSending) return;
  }
  sendAll();
}

void ServiceWatch::closed() { fSubscription.reset(); }

}  // namespace remote
