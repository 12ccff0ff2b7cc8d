#include "framework/xo/clock.h"
#include "framework/xo/clock_board.h"

namespace xo {
namespace {

detail::ClockBoard& board() { return detail::ClockBoard::instance(); }

}  // namespace

ManualClock::ManualClock() { board().install(); }
ManualClock::~ManualClock() { board().uninstall(); }

TimePoint ManualClock::now() const noexcept { return board().now(); }

bool ManualClock::waitUntil(std::unique_lock<std::mutex>& lock, std::condition_variable& wake,
                            TimePoint deadline) {
  return board().waitUntil(lock, wake, deadline);
}

void ManualClock::notifyAll(std::condition_variable& wake) noexcept { board().notifyAll(wake); }
void ManualClock::workBegins() noexcept { board().workBegins(); }
void ManualClock::workEnds() noexcept { board().workEnds(); }
void ManualClock::threadBegins() noexcept { board().threadBegins(); }
void ManualClock::threadBegan() noexcept { board().threadBegan(); }
void ManualClock::threadLeaves() noexcept { board().threadLeaves(); }
void ManualClock::advance(Duration by) { board().advance(by); }
void ManualClock::awaitSleepers(int count) { board().awaitSleepers(count); }
void ManualClock::awaitIdle() { board().awaitIdle(); }

}  // namespace xo
