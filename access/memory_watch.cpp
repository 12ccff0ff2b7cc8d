#include "access/memory_watch.h"

#include <algorithm>
#include <mutex>

#include "framework/xo/event_loop.h"
#include "framework/xo/gate.h"

namespace door {

struct MemoryWatch::State : std::enable_shared_from_this<MemoryWatch::State> {
  State(const Access& access, Viewer callbacks)
      : session(access.session()), memory(access.memory()), viewer(std::move(callbacks)) {}

  enum class Phase { kWaiting, kScheduled, kDelivering };

  const std::shared_ptr<xo::Session> session;
  const HB::HBMemoryProxy memory;
  const Viewer viewer;
  const std::shared_ptr<xo::Gate> gate = xo::Gate::make();
  // Written before anything can read them.
  int subscription = 0;
  std::uint64_t generation = 0;  // of the memory that knows the subscription
  xo::Session::Subscription comingsAndGoings = {};

  std::mutex mutex;
  Phase phase = Phase::kDelivering;  // until subscribed
  bool isDirty = true;  // a batch is due; the first one whether anything changes or not
  bool isMore = false;  // the batch goes on
  bool isFirst = true;
  bool isOver = false;  // the viewer was told that nothing follows
  xo::TimePoint lastBatch{};
  xo::TimePoint dueSince = xo::kNever;  // a batch is, and the viewer is not ready
  std::uint64_t dropped = 0;

  /// Whether the memory that was subscribed to is still the one that stands: another one gives the
  /// same numbers to others.
  bool isSubscribed() const {
    const auto standing = session->find(memory.name());
    return standing.isAlive() && standing.generation() == generation;
  }

  /// Some service came or went, on the thread that made it do so.
  void servicesChanged() {
    xo::getEventLoop().post([weak = weak_from_this()] {
      const auto self = weak.lock();
      if (self && !self->isSubscribed()) self->changed();
    });
  }

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
    if (isOver) return;
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
      if (!isSubscribed()) throw std::runtime_error("The service HBMemory has gone");
      part = memory.changesPart(subscription, kWatchPartBytes);
    } catch (const std::exception& error) {
      {
        std::scoped_lock lock(mutex);
        isOver = true;  // and stays "delivering"
      }
      viewer.ended(error.what());
      return;
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
              std::make_shared<State>(access, std::move(viewer)))) {
  const auto wake = [weak = std::weak_ptr<State>(fState)] {
    if (const auto state = weak.lock()) state->changed();
  };
  try {
    fState->generation = fState->memory.object().generation();
    fState->subscription = fState->memory.subscribe(pattern, wake);
  } catch (const std::exception& error) {
    throw Refused(Refused::Why::kNotSupported,
                  std::string("This memory cannot be followed: ") + error.what());
  }
  fState->comingsAndGoings = access.session()->onChange([weak = std::weak_ptr<State>(fState)] {
    if (const auto state = weak.lock()) state->servicesChanged();
  });
  fState->servicesChanged();  // it may have gone meanwhile
}

MemoryWatch::~MemoryWatch() {
  fState->comingsAndGoings.reset();
  try {
    if (fState->isSubscribed()) fState->memory.unsubscribe(fState->subscription);
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
