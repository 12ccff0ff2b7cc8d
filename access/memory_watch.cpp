#include "access/memory_watch.h"

#include <algorithm>
#include <mutex>

#include "framework/xo/event_loop.h"
#include "framework/xo/gate.h"

namespace door {

struct MemoryWatch::State : std::enable_shared_from_this<MemoryWatch::State> {
  State(HB::HBMemoryProxy proxy, Viewer callbacks)
      : memory(std::move(proxy)), viewer(std::move(callbacks)) {}

  enum class Phase { kWaiting, kScheduled, kDelivering };

  const HB::HBMemoryProxy memory;
  const Viewer viewer;
  const std::shared_ptr<xo::Gate> gate = xo::Gate::make();
  int subscription = 0;  // written before anything can read it

  std::mutex mutex;
  Phase phase = Phase::kDelivering;  // until subscribed
  bool isDirty = true;  // a batch is due; the first one whether anything changes or not
  bool isMore = false;  // the batch goes on
  bool isFirst = true;
  xo::TimePoint lastBatch{};
  xo::TimePoint dueSince = xo::kNever;  // a batch is, and the viewer is not ready
  std::uint64_t dropped = 0;

  /// On the writer's thread: short, and calls nothing of the memory.
  void changed() {
    std::unique_lock lock(mutex);
    isDirty = true;
    if (phase == Phase::kDelivering && !isFirst && dueSince == xo::kNever) {
      dueSince = std::max(xo::clock().now(), lastBatch + kWatchTick);
    }
    scheduleIfDue(std::move(lock));
  }

  void next() {
    std::unique_lock lock(mutex);
    if (phase == Phase::kDelivering) phase = Phase::kWaiting;
    if (isMore) return scheduleIfDue(std::move(lock));
    const auto now = xo::clock().now();
    if (now > dueSince) dropped += static_cast<std::uint64_t>((now - dueSince) / kWatchTick);
    dueSince = xo::kNever;
    scheduleIfDue(std::move(lock));
  }

  void scheduleIfDue(std::unique_lock<std::mutex> lock) {
    if (!(isDirty || isMore) || phase != Phase::kWaiting) return;
    phase = Phase::kScheduled;
    const auto wait =
        isFirst || isMore ? xo::Duration::zero() : lastBatch + kWatchTick - xo::clock().now();
    lock.unlock();
    xo::getEventLoop().postAfter(wait, [weak = weak_from_this()] {
      if (const auto self = weak.lock()) self->deliver();
    });
  }

  void deliver() {
    const auto token = gate->enter();
    if (!token) return;
    {
      std::scoped_lock lock(mutex);
      phase = Phase::kDelivering;
      if (!isMore) isDirty = false;  // what changes from now on may be behind the part to come
    }
    HB::MemoryChanges part;
    try {
      part = memory.changesPart(subscription, kWatchPartBytes);
    } catch (const std::exception& error) {
      viewer.ended(error.what());
      return;  // stays "delivering": nothing follows
    }
    bool isWorthIt = !part.items.empty();
    {
      std::scoped_lock lock(mutex);
      isWorthIt = isWorthIt || isFirst;
      isMore = part.isMore;
      isFirst = isFirst && isMore;
      lastBatch = xo::clock().now();
    }
    if (isWorthIt) {
      viewer.part(std::move(part));
    } else {
      next();
    }
  }
};

MemoryWatch::MemoryWatch(const Access& access, const std::string& pattern, Viewer viewer)
    : fState((requireShort(pattern, access.limits().keyBytes, "A pattern"),
              std::make_shared<State>(access.memory(), std::move(viewer)))) {
  const auto wake = [weak = std::weak_ptr<State>(fState)] {
    if (const auto state = weak.lock()) state->changed();
  };
  try {
    fState->subscription = fState->memory.subscribe(pattern, wake);
  } catch (const std::exception& error) {
    throw Refused(Refused::Why::kNotSupported,
                  std::string("This memory cannot be followed: ") + error.what());
  }
}

MemoryWatch::~MemoryWatch() {
  try {
    fState->memory.unsubscribe(fState->subscription);
  } catch (const std::exception&) {
    // The memory went first, and the subscription with it.
  }
  fState->gate->close();
}

void MemoryWatch::next() { fState->next(); }

std::uint64_t MemoryWatch::dropped() const {
  std::scoped_lock lock(fState->mutex);
  return fState->dropped;
}

}  // namespace door
