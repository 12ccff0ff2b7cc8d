#include "web/server/tally.h"

namespace web {

std::shared_ptr<void> Tally::enter() {
  std::scoped_lock lock(fMutex);
  ++fInside;
  return {nullptr, [this](void*) { leave(); }};
}

void Tally::leave() {
  std::scoped_lock lock(fMutex);  // while notifying too: whoever waits may take this away
  if (--fInside == 0) fEmpty.notify_all();
}

std::size_t Tally::inside() const {
  std::scoped_lock lock(fMutex);
  return fInside;
}

void Tally::waitUntilEmpty() {
  std::unique_lock lock(fMutex);
  fEmpty.wait(lock, [this] { return fInside == 0; });
}

bool Tally::waitUntilEmpty(std::chrono::milliseconds atMost) {
  std::unique_lock lock(fMutex);
  return fEmpty.wait_for(lock, atMost, [this] { return fInside == 0; });
}

}  // namespace web
