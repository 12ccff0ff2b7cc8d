#include "hardware/leds/src/blink.h"

#include <array>
#include <chrono>
#include <utility>

namespace HB {
namespace {

using namespace std::chrono_literals;

constexpr int kOpen = 0;
constexpr int kClosed = 1;
constexpr int kShadow = 2;

/// Either a colour on an eye position, or a wait.
struct Step {
  int position;  // 0..7, or kWait
  int color;
  xo::Duration wait;
};
constexpr int kWait = -1;

constexpr Step draw(int position, int color) { return {position, color, 0ms}; }
constexpr Step wait(xo::Duration time) { return {kWait, 0, time}; }

// Intended as it stands: the waits are fixed, whatever time the steps between them take. The third
// step opens and the eighth repeats position 1, so that positions 2 and 7 are never darkened; at
// the end positions 6 and 7 keep the shadow colour.
constexpr std::array<Step, 18> kSteps{{
    draw(0, kClosed),
    draw(1, kClosed),
    draw(2, kOpen),
    draw(3, kClosed),
    draw(4, kClosed),
    draw(5, kClosed),
    draw(6, kShadow),
    draw(1, kClosed),
    wait(150ms),  // eyes held closed
    draw(0, kOpen),
    draw(1, kOpen),
    draw(2, kOpen),
    draw(3, kOpen),
    draw(4, kOpen),
    draw(5, kOpen),
    draw(6, kShadow),
    draw(7, kShadow),
    wait(50ms),
}};

/// Owned by its next step alone.
class Blink : public std::enable_shared_from_this<Blink> {
 public:
  Blink(xo::TaskGroup& tasks, const BlinkParameters& parameters, DrawEyePosition drawPosition)
      : fTasks(tasks), fParameters(parameters), fDraw(std::move(drawPosition)) {}

  xo::Future<void> future() const { return fPromise.future(); }

  void postNext(xo::Duration by = 0ms) {
    fTasks.post([self = shared_from_this()] { self->takeStep(); }, by);
  }

 private:
  void takeStep() {
    if (fNext == kSteps.size()) {  // the last step's wait is over: too late to call it off
      fPromise.setValue();
      return;
    }
    if (fPromise.isCancelRequested()) {
      fPromise.setCancelled();
      return;
    }
    const Step& step = kSteps.at(fNext++);
    if (step.position == kWait) {
      postNext(step.wait);
      return;
    }
    try {
      fDraw(step.position, color(step.color), std::get<3>(fParameters));
    } catch (...) {
      fPromise.setError(xo::copyCurrentException());
      return;
    }
    postNext();
  }

  int color(int which) const {
    if (which == kOpen) return std::get<kOpen>(fParameters);
    return which == kClosed ? std::get<kClosed>(fParameters) : std::get<kShadow>(fParameters);
  }

  xo::TaskGroup& fTasks;
  const BlinkParameters fParameters;
  const DrawEyePosition fDraw;
  const xo::Promise<void> fPromise;
  std::size_t fNext = 0;
};

}  // namespace

xo::Future<void> startBlink(xo::TaskGroup& tasks, const BlinkParameters& parameters,
                            DrawEyePosition draw) {
  const auto blink = std::make_shared<Blink>(tasks, parameters, std::move(draw));
  auto future = blink->future();
  blink->postNext();
  return future;
}

}  // namespace HB
