#include "remote/client/answers.h"

#include "remote/proto/handover.h"

namespace remote {

Answers::~Answers() {
  fQueue.Shutdown();
  void* tag = nullptr;
  bool ok = false;
  while (fQueue.Next(&tag, &ok)) {
  }
}

void Answers::await(Awaited& one) noexcept {
  std::unique_lock lock(fMutex);
  if (!one.isHere && fIsLed) {
    fWaiting.splice(fWaiting.end(), one.place);
    one.changed.wait(lock, [&] { return one.isHere || !fIsLed; });
    if (one.isHere) {
      --fLeaving;
    } else {
      one.place.splice(one.place.end(), fWaiting, one.self);
    }
  }
  if (!one.isHere) lead(one, lock);
  // One that is on its way out looks after those that wait when it is there, and may lead before.
  if (!fIsLed && fLeaving == 0 && !fWaiting.empty()) fWaiting.front()->changed.notify_one();
}

void Answers::lead(const Awaited& until, std::unique_lock<std::mutex>& lock) noexcept {
  fIsLed = true;
  while (true) {
    lock.unlock();
    void* tag = nullptr;
    bool ok = false;
    fQueue.Next(&tag, &ok);
    takenOver(tag);
    lock.lock();
    auto& arrived = *static_cast<Awaited*>(tag);
    arrived.isHere = true;
    if (&arrived == &until) break;
    if (!arrived.place.empty()) continue;  // nobody waits for it yet
    arrived.place.splice(arrived.place.end(), fWaiting, arrived.self);
    ++fLeaving;
    arrived.changed.notify_one();
  }
  fIsLed = false;
}

}  // namespace remote
