#include "remote/server/endables.h"

#include <utility>

namespace remote {

void Endables::add(const std::shared_ptr<Endable>& endable) {
  {
    std::scoped_lock lock(fMutex);
    if (!fIsEnding) {
      fEndables.emplace(endable.get(), endable);
      return;
    }
  }
  endable->endWithServer();
}

void Endables::remove(Endable* endable) {
  std::scoped_lock lock(fMutex);
  fEndables.erase(endable);
}

void Endables::endAll() {
  std::map<Endable*, std::weak_ptr<Endable>> endables;
  {
    std::scoped_lock lock(fMutex);
    fIsEnding = true;
    endables = std::exchange(fEndables, {});
  }
  for (const auto& [unused, weak] : endables) {
    if (const auto endable = weak.lock()) endable->endWithServer();
  }
}

std::size_t Endables::size() const {
  std::scoped_lock lock(fMutex);
  return fEndables.size();
}

bool Endables::isEnding() const {
  std::scoped_lock lock(fMutex);
  return fIsEnding;
}

}  // namespace remote
