#include "remote/server/first_words.h"

#include <utility>
#include <vector>

#include "framework/xo/event_loop.h"

namespace remote {

FirstWords::Ticket FirstWords::await(std::weak_ptr<Silent> stream) {
  Ticket ticket = 0;
  {
    std::scoped_lock lock(fMutex);
    ticket = ++fLast;
    fAwaited.emplace(ticket, Awaited{xo::clock().now() + kFirstMessageWithin, std::move(stream)});
    if (std::exchange(fIsLookDue, true)) return ticket;
  }
  lookAfter(kFirstMessageWithin);
  return ticket;
}

bool FirstWords::came(Ticket ticket) {
  std::scoped_lock lock(fMutex);
  return fAwaited.erase(ticket) > 0;
}

void FirstWords::lookAfter(xo::Duration wait) {
  xo::getEventLoop().postAfter(wait, [weak = weak_from_this()] {
    if (const auto self = weak.lock()) self->look();
  });
}

void FirstWords::look() {
  std::vector<std::weak_ptr<Silent>> late;
  xo::Duration wait{};
  {
    std::scoped_lock lock(fMutex);
    const auto now = xo::clock().now();
    while (!fAwaited.empty() && fAwaited.begin()->second.due <= now) {
      late.push_back(std::move(fAwaited.begin()->second.stream));
      fAwaited.erase(fAwaited.begin());
    }
    fIsLookDue = !fAwaited.empty();
    if (fIsLookDue) wait = fAwaited.begin()->second.due - now;
  }
  if (wait > xo::Duration::zero()) lookAfter(wait);
  for (const auto& weak : late) {
    if (const auto stream = weak.lock()) stream->heardNothing();
  }
}

}  // namespace remote
