#include "services/motion/src/simulated_fault.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <stdexcept>

#include "framework/value/hb_value.h"
#include "framework/xo/call.h"
#include "framework/xo/os.h"

namespace HB {
namespace {

constexpr int kLookMs = 50;  // how often what waits looks whether the fault was lifted

struct Range {
  const char* kind;
  float least;
  float most;
};
// In the order of the kinds.
constexpr std::array<Range, 5> kRanges{{
    {"none", 0, 0},
    {"dead", 0, 0},
    {"slow", 0, 60},
    {"failing", 1, 1'000'000},
    {"flapping", 0.01F, 3600},
}};

[[noreturn]] void refuse(const std::string& text) {
  throw std::invalid_argument("HBMotion: _setFault: " + text);
}

std::string shown(float number) { return HBValue(number).toText(); }

bool isGivenUp() {
  const auto* const call = xo::CallScope::current();
  return call != nullptr && call->isStopRequested();
}

}  // namespace

SimulatedFault::Kind SimulatedFault::xKindOf(const std::string& kind) {
  std::string known;
  for (std::size_t i = 0; i < kRanges.size(); ++i) {
    if (kind == kRanges[i].kind) return static_cast<Kind>(i);
    known += (known.empty() ? "" : ", ") + std::string(kRanges[i].kind);
  }
  refuse("there is no fault '" + kind.substr(0, 60) + "'; there are: " + known);
}

void SimulatedFault::xRequireAmount(Kind kind, float amount) {
  const Range& range = kRanges.at(static_cast<std::size_t>(kind));
  const bool mustBeWhole = kind == Kind::kFailing;
  if (kind == Kind::kNone || kind == Kind::kDead) return;  // without a meaning there
  if (amount >= range.least && amount <= range.most &&
      (!mustBeWhole || std::trunc(amount) == amount)) {
    return;
  }
  refuse("the amount of '" + std::string(range.kind) + "' is " + shown(amount) + "; it may be " +
         (mustBeWhole ? "a whole number " : "") + "from " + shown(range.least) + " to " +
         shown(range.most));
}

void SimulatedFault::set(const std::string& kind, float amount) {
  const Kind wanted = xKindOf(kind);
  xRequireAmount(wanted, amount);
  const std::lock_guard lock(fMutex);
  fSetting = {wanted, amount, xo::clock().now(), 0, fSetting.number + 1};
  fNumber = fSetting.number;
  fIsOn = wanted != Kind::kNone;
}

void SimulatedFault::strike() {
  if (!fIsOn.load(std::memory_order_relaxed)) return;
  const Setting setting = xNext();
  const xo::TimePoint now = xo::clock().now();
  switch (setting.kind) {
    case Kind::kNone:
      return;
    case Kind::kDead:
      return xWait(setting, xo::kNever);
    case Kind::kSlow:
      return xWait(setting, xo::after(now, xo::secondsToDuration(setting.amount)));
    case Kind::kFailing:
      if (setting.writes % static_cast<int>(setting.amount) == 0) break;
      return;
    case Kind::kFlapping:
      if ((now - setting.since) / xo::secondsToDuration(setting.amount) % 2 == 0) break;
      return;
  }
  throw std::runtime_error("HBMotion: _animateLEDs: refused by the simulated fault '" +
                           std::string(kRanges.at(static_cast<std::size_t>(setting.kind)).kind) +
                           "'");
}

SimulatedFault::Setting SimulatedFault::xNext() {
  const std::lock_guard lock(fMutex);
  ++fSetting.writes;
  return fSetting;
}

void SimulatedFault::xWait(const Setting& setting, xo::TimePoint end) {
  while (fNumber == setting.number && xo::clock().now() < end) {
    if (isGivenUp()) {
      throw std::runtime_error("HBMotion: _animateLEDs: given up while a fault is simulated");
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - xo::clock().now());
    xo::os::msleep(static_cast<int>(std::min<long long>(kLookMs, left.count())));
  }
}

}  // namespace HB
