// The animator beside a model that is too simple to be wrong: a map of key frames per channel, read
// by walking along it.
#include <gtest/gtest.h>  // before rapidcheck, which needs it
#include <rapidcheck.h>
#include <rapidcheck/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <vector>

#include "services/motion/src/animator.h"

namespace HB {
namespace {

constexpr int kChannels = 3;

class ReferenceChannel {
 public:
  void add(double now, const std::vector<float>& times, const std::vector<float>& values) {
    if (times.empty()) return;
    const double here = valueAt(now);
    std::map<double, double> kept;
    for (const auto& [at, value] : fFrames) {
      if (at > now && at < now + secondsToMicroseconds(times[0])) kept[at] = value;
    }
    fSince = now;  // the way to the first kept one goes on along the same line
    fStart = here;
    fFrames = kept;
    for (std::size_t i = 0; i < times.size(); ++i) {
      const double at = now + secondsToMicroseconds(times[i]);
      if (at <= now) {
        fStart = values[i];
      } else {
        fFrames[at] = values[i];
      }
    }
  }

  double valueAt(double now) const {
    double since = fSince;
    double from = fStart;
    for (const auto& [at, value] : fFrames) {
      if (now < at) return from + (value - from) * (now - since) / (at - since);
      since = at;
      from = value;
    }
    return from;
  }
  double lastValue() const { return fFrames.empty() ? fStart : fFrames.rbegin()->second; }
  bool isResting(double now) const { return fFrames.empty() || fFrames.rbegin()->first <= now; }

 private:
  double fSince = 0;
  double fStart = 0;
  std::map<double, double> fFrames;
};

double limited(double value) { return std::fmin(std::fmax(value, 0.0), 1.0); }

struct Call {
  int channel;
  std::vector<float> times;
  std::vector<float> values;
};

// Any number of the range, in early rounds too (which prefer small ones otherwise).
rc::Gen<int> anyOf(int first, int end) {
  return rc::gen::resize(rc::kNominalSize, rc::gen::inRange(first, end));
}

// Times on a coarse grid meet each other and the ticks often; the others seldom.
rc::Gen<float> anyTime() {
  return rc::gen::oneOf(
      rc::gen::map(anyOf(0, 8), [](int i) { return static_cast<float>(i) * 0.25f; }),
      rc::gen::map(anyOf(0, 3000000), [](int i) { return static_cast<float>(i) * 1e-6f; }));
}

Call anyCall() {
  Call call;
  call.channel = *anyOf(0, kChannels);
  const auto frames = static_cast<std::size_t>(*anyOf(0, 6));
  call.times = *rc::gen::container<std::vector<float>>(frames, anyTime());
  std::sort(call.times.begin(), call.times.end());
  call.values = *rc::gen::container<std::vector<float>>(
      frames, rc::gen::map(anyOf(-8, 17), [](int i) { return static_cast<float>(i) / 8.0f; }));
  return call;
}

void checkAgainst(const Animator& animator, const std::vector<float>& shown,
                  const std::vector<ReferenceChannel>& reference, double now) {
  for (int channel = 0; channel < kChannels; ++channel) {
    const auto c = static_cast<std::size_t>(channel);
    const auto expected = static_cast<float>(limited(reference[c].valueAt(now)));
    RC_ASSERT(std::abs(shown[c] - expected) < 2e-6f);
    const Animator::State state = animator.state(channel, now);
    RC_ASSERT(std::abs(state.now - expected) < 2e-6f);
    RC_ASSERT(state.target == static_cast<float>(limited(reference[c].lastValue())));
    if (reference[c].isResting(now)) RC_ASSERT(shown[c] == state.target);
  }
}

RC_GTEST_PROP(AnimatorProperty, AgreesWithAMapOfKeyFramesForAnySequenceOfCallsAndTicks, ()) {
  Animator animator(std::vector<float>(kChannels, 0.0f));
  std::vector<ReferenceChannel> reference(kChannels);
  std::vector<float> shown(kChannels, 0.0f);
  const auto show = [&](const Animator::Changes& changes) {
    for (std::size_t i = 0; i < changes.channels.size(); ++i) {
      float& value = shown[static_cast<std::size_t>(changes.channels[i])];
      RC_ASSERT(value != changes.values[i]);
      value = changes.values[i];
    }
  };
  double now = 1e9;
  const int steps = *anyOf(1, 25);
  for (int step = 0; step < steps; ++step) {
    const int calls = *anyOf(0, 4);
    for (int i = 0; i < calls; ++i) {
      const Call call = anyCall();
      animator.add(call.channel, now, call.times, call.values);
      reference[static_cast<std::size_t>(call.channel)].add(now, call.times, call.values);
    }
    show(animator.takeImmediate());
    now += *rc::gen::oneOf(rc::gen::just(250000), anyOf(0, 900000));
    if (*anyOf(0, 4) == 0) continue;  // the tick is late: another call comes first
    const bool mayChange = animator.nextChange() <= now;
    const std::vector<float> before = shown;
    show(animator.advance(now));
    RC_ASSERT(mayChange || before == shown);
    checkAgainst(animator, shown, reference, now);
  }
}

}  // namespace
}  // namespace HB
