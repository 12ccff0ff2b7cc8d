#include "services/motion/src/motion_loop.h"

#include <algorithm>
#include <exception>
#include <string>
#include <utility>

#include "framework/xo/log.h"
#include "framework/xo/os.h"

namespace HB {
namespace {

const xo::log::Category kLog("HBMotion");

}  // namespace

MotionLoop::MotionLoop(std::vector<float> values, std::vector<std::unique_ptr<LedDriver>> drivers,
                       xo::Ending* ending)
    : fAnimator(std::move(values)), fOrigins(fAnimator.channels()) {
  for (auto& driver : drivers) fOutputs.push_back({std::move(driver), false});
  xo::clock().threadBegins();
  fThread = std::thread([this, ending] {
    xo::os::setCurrentThreadName("MotionTick");
    xo::os::preferCurrentThread();  // else an ordinary thread
    xo::detail::markFrameworkThread();
    xo::clock().threadBegan();
    const xo::CallScope scope(ending);
    xRun();
  });
}

MotionLoop::~MotionLoop() {
  {
    const std::lock_guard lock(fMutex);
    fIsEnding = true;
    xo::clock().notifyAll(fWake);
  }
  fThread.join();
}

std::optional<std::size_t> MotionLoop::start(std::span<const Move> moves) {
  const std::lock_guard lock(fMutex);
  const xo::TimePoint now = xo::clock().now();
  const Microseconds instant = xMicroseconds(now);
  for (std::size_t i = 0; i < moves.size(); ++i) {
    if (!fAnimator.hasRoom(moves[i].channel, instant, moves[i].times)) return i;
  }
  const std::uint64_t origin = xo::CallScope::currentOrigin();
  for (const Move& move : moves) {
    fAnimator.add(move.channel, instant, move.times, move.values);
    if (!move.times.empty()) fOrigins[static_cast<std::size_t>(move.channel)] = origin;
  }
  xWrite(fAnimator.takeImmediate());
  const xo::TimePoint tick = xNextTick(now);
  if (tick < fTick) {  // one that is due and late is not put off
    fTick = tick;
    xo::clock().notifyAll(fWake);
  }
  return std::nullopt;
}

std::vector<Animator::State> MotionLoop::states(std::span<const int> channels) const {
  std::vector<Animator::State> states;
  states.reserve(channels.size());
  const std::lock_guard lock(fMutex);
  const Microseconds now = xMicroseconds(xo::clock().now());
  for (const int channel : channels) states.push_back(fAnimator.state(channel, now));
  return states;
}

std::vector<std::uint64_t> MotionLoop::origins(std::span<const int> channels) const {
  std::vector<std::uint64_t> origins;
  origins.reserve(channels.size());
  const std::lock_guard lock(fMutex);
  for (const int channel : channels) origins.push_back(fOrigins[static_cast<std::size_t>(channel)]);
  return origins;
}

Microseconds MotionLoop::xMicroseconds(xo::TimePoint instant) noexcept {
  using std::chrono::microseconds;
  return static_cast<double>(
      std::chrono::duration_cast<microseconds>(instant.time_since_epoch()).count());
}

void MotionLoop::xRun() {
  std::unique_lock lock(fMutex);
  while (!fIsEnding) {
    const xo::TimePoint now = xo::clock().now();
    if (fTick > now) {
      xo::detail::waitForWork(lock, fWake, fTick);
      continue;
    }
    xWrite(fAnimator.advance(xMicroseconds(now)));
    fTick = xNextTick(xo::clock().now());  // ticks missed in a long write are left out
  }
}

// The first point of the grid after `now` at which something may change.
xo::TimePoint MotionLoop::xNextTick(xo::TimePoint now) {
  constexpr Microseconds kFarthest = 9e15;  // what a TimePoint can hold, about 285 years
  const Microseconds change = fAnimator.nextChange();
  if (change > kFarthest) return xo::kNever;
  if (fTick == xo::kNever) fGrid = now;
  const auto last = std::chrono::nanoseconds(static_cast<std::int64_t>(change) * 1000);
  const xo::TimePoint from = std::max(now + xo::Duration(1), xo::TimePoint(last));
  const auto ticks = (from - fGrid + kTick - xo::Duration(1)) / kTick;
  return fGrid + ticks * kTick;
}

void MotionLoop::xWrite(Animator::Changes changes) {
  if (changes.channels.empty()) return;
  const Animator::Changes written = fHasFailed ? fAnimator.takeAll() : changes;
  fHasFailed = false;
  for (Output& output : fOutputs) xWriteTo(output, written);
}

void MotionLoop::xWriteTo(Output& output, Animator::Changes changes) {
  std::string text;
  try {
    output.driver->write(changes.channels, changes.values);
    if (output.hasFailed) kLog.info("LED driver " + output.driver->name() + " works again");
    output.hasFailed = false;
    return;
  } catch (const std::exception& error) {
    text = error.what();
  } catch (...) {
    text = "unknown exception";
  }
  if (!output.hasFailed) kLog.error("LED driver " + output.driver->name() + " failed: " + text);
  output.hasFailed = true;
  fHasFailed = true;
}

}  // namespace HB
