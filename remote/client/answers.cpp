#include "remote/client/answers.h"

namespace remote {

Answers::~Answers() {
  fQueue.Shutdown();
  void* tag = nullptr;
  bool ok = false;
  while (fQueue.Next(&tag, &ok)) {
  }
}

void Answers::await(Awaited& one) {
  std::unique_lock lock(fMutex);
  if (!one.isHere && fIsLed) {
    fWaiting.insert(&one);
    one.changed.wait(lock, [&] { return one.isHere || !fIsLed; });
    if (!one.isHere) fWaiting.erase(&one);
  }
  if (one.isHere) {
    --fLeaving;
  } else {
    lead(one, lock);
  }
  if (!fIsLed && fLeaving == 0 && !fWaiting.empty()) (*fWaiting.begin())->changed.notify_one();
}

void Answers::lead(const Awaited& until, std::unique_lock<std::mutex>& lock) {
  fIsLed = true;
  while (true) {
    lock.unlock();
    void* tag = nullptr;
    bool ok = false;
    fQueue.Next(&tag, &ok);
    lock.lock();
    if (tag == &until) break;
    auto& other = *static_cast<Awaited*>(tag);
    other.isHere = true;
    ++fLeaving;
    if (fWaiting.erase(&other) > 0) other.changed.notify_one();
  }
  fIsLed = false;
}

}  // namespace remote
