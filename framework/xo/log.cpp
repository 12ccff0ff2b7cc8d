#include "framework/xo/log.h"

#include <algorithm>
#include <array>
#include <map>
#include <mutex>
#include <stdexcept>

namespace xo::log {
namespace {

constexpr std::array<std::string_view, 7> kLevelNames = {"silent", "fatal",   "error", "warning",
                                                         "info",   "verbose", "debug"};

std::atomic<int> gMostVerbose{0};       // the highest level that any listener wants
thread_local bool gDelivering = false;  // this thread is inside a listener's callback

struct Entry {
  Level level;
  Listener::Callback callback;
};

// Callbacks run under the mutex: one message at a time, and none after its listener is gone.
struct Hub {
  std::mutex mutex;
  std::map<int, Entry> listeners;
  int nextId = 1;

  void updateLevel() {
    int highest = 0;
    for (const auto& [id, entry] : listeners) {
      highest = std::max(highest, static_cast<int>(entry.level));
    }
    gMostVerbose.store(highest, std::memory_order_relaxed);
  }
};

Hub& hub() {
  static Hub* const instance = new Hub;  // never destroyed: threads log until the very end
  return *instance;
}

void deliver(const Entry& entry, const Message& message) noexcept {
  try {
    entry.callback(message);
  } catch (...) {  // a listener's fault must not become the fault of whoever logs
  }
}

}  // namespace

std::string_view levelName(Level level) noexcept {
  const auto index = static_cast<std::size_t>(level);
  return index < kLevelNames.size() ? kLevelNames[index] : "unknown";
}

Level levelFromName(std::string_view name) {
  std::string known;
  for (std::size_t index = 0; index < kLevelNames.size(); ++index) {
    if (name == kLevelNames[index]) return static_cast<Level>(index);
    known += (index == 0 ? "" : ", ") + std::string(kLevelNames[index]);
  }
  throw std::invalid_argument("\"" + std::string(name) + "\" is no log level; expected one of " +
                              known);
}

bool Category::isOn(Level level) const noexcept {
  return level != Level::kSilent &&
         static_cast<int>(level) <= gMostVerbose.load(std::memory_order_relaxed);
}

void Category::write(Level level, std::string_view text) const noexcept {
  if (!isOn(level) || gDelivering) return;
  const std::lock_guard lock(hub().mutex);
  // Stamped under the lock, so that times never run backwards in a recording.
  const Message message{std::chrono::system_clock::now(), level, fName, text};
  gDelivering = true;
  for (const auto& [id, entry] : hub().listeners) {
    if (level <= entry.level) deliver(entry, message);
  }
  gDelivering = false;
}

Listener::Listener(Level level, Callback callback) {
  const std::lock_guard lock(hub().mutex);
  fId = hub().nextId++;
  hub().listeners.emplace(fId, Entry{level, std::move(callback)});
  hub().updateLevel();
}

Listener::~Listener() {
  decltype(Hub::listeners)::node_type removed;  // released after the lock
  const std::lock_guard lock(hub().mutex);
  removed = hub().listeners.extract(fId);
  hub().updateLevel();
}

void Listener::setLevel(Level level) {
  const std::lock_guard lock(hub().mutex);
  hub().listeners.at(fId).level = level;
  hub().updateLevel();
}

}  // namespace xo::log
