#include "services/motion/src/animator.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <limits>

#include "services/motion/src/interpolate.h"

namespace HB {
namespace {

constexpr Microseconds kNoEnd = std::numeric_limits<Microseconds>::infinity();
constexpr double kMicrosecondsPerSecond = 1'000'000;
constexpr std::size_t kPassedFrames = 32;  // how many a channel keeps before it clears up

// 0..1; a negative zero becomes zero.
float limited(float value) noexcept { return value > 0 ? std::min(value, 1.0f) : 0.0f; }

}  // namespace

Microseconds secondsToMicroseconds(float seconds) noexcept {
  const float microseconds = seconds * static_cast<float>(kMicrosecondsPerSecond);
  if (std::isfinite(microseconds)) return std::trunc(static_cast<double>(microseconds));
  return static_cast<double>(seconds) * kMicrosecondsPerSecond;
}

void Animator::Later::dropFrom(Microseconds at) {
  const auto pending = frames.begin() + static_cast<std::ptrdiff_t>(next);
  frames.erase(std::lower_bound(pending, frames.end(), at,
                                [](const KeyFrame& frame, Microseconds t) { return frame.at < t; }),
               frames.end());
}

Animator::KeyFrame Animator::Later::take() {
  const KeyFrame taken = frames[next++];
  if (next > kPassedFrames && 2 * next > frames.size()) {  // a chain that never ends stays small
    frames.erase(frames.begin(), frames.begin() + static_cast<std::ptrdiff_t>(next));
    next = 0;
    frames.shrink_to_fit();
  }
  return taken;
}

Animator::Animator(std::vector<float> values)
    : fRest(std::move(values)),
      fSent(fRest.size()),
      fAsked(fRest),
      fPlace(fRest.size(), kResting),
      fLater(fRest.size()),
      fNextEnd(kNoEnd) {
  std::transform(fRest.begin(), fRest.end(), fSent.begin(), limited);
}

void Animator::add(int channel, Microseconds now, std::span<const float> times,
                   std::span<const float> values) {
  assert(times.size() == values.size());
  if (times.empty()) return;
  xPass(channel, now);
  const auto c = static_cast<std::size_t>(channel);
  const int place = fPlace[c];
  Microseconds at = now + secondsToMicroseconds(times[0]);
  Later& later = fLater[c];
  later.dropFrom(at);
  // Whether no key frame is left before the new ones.
  bool isFree = place == kResting || fEnd[static_cast<std::size_t>(place)] >= at;
  float from = place == kResting ? fRest[c] : xValueAt(static_cast<std::size_t>(place), now);
  for (std::size_t i = 0; i < times.size(); ++i) {
    const Microseconds next =
        i + 1 < times.size() ? now + secondsToMicroseconds(times[i + 1]) : kNoEnd;
    if (next == at) continue;  // of equal times the last holds
    if (at <= now) {
      from = values[i];
      fImmediate.push_back(channel);
    } else if (isFree) {
      xBegin(channel, from, now, {at, values[i]});
      isFree = false;
    } else {
      later.frames.push_back({at, values[i]});
    }
    at = next;
  }
  fAsked[c] = values.back();
  if (isFree) return xRest(channel, from);
  // A value that was reached between two ticks, or left behind, may be held from here on.
  const auto moving = static_cast<std::size_t>(fPlace[c]);
  if (times[0] > 0 && limited(fStart[moving]) != fOutput[moving]) fHasUnsent = true;
}

bool Animator::hasRoom(int channel, Microseconds now, std::span<const float> times) const {
  const auto c = static_cast<std::size_t>(channel);
  const Later& later = fLater[c];
  if (later.frames.size() + 1 + times.size() <= kMaxPending || times.empty()) return true;
  const Microseconds first = now + secondsToMicroseconds(times[0]);
  const auto isKept = [&](Microseconds at) { return at > now && at < first; };
  auto kept = static_cast<std::size_t>(
      std::count_if(later.frames.begin(), later.frames.end(),
                    [&](const KeyFrame& frame) { return isKept(frame.at); }));
  if (fPlace[c] != kResting && isKept(fEnd[static_cast<std::size_t>(fPlace[c])])) ++kept;
  return kept + times.size() <= kMaxPending;
}

Animator::Changes Animator::takeImmediate() {
  fChannels.clear();
  fValues.clear();
  for (const int channel : fImmediate) {
    const auto c = static_cast<std::size_t>(channel);
    const int place = fPlace[c];
    // One that moves on from there has just begun to.
    const bool isMoving = place != kResting;
    const auto p = static_cast<std::size_t>(place);
    const float output = limited(isMoving ? fStart[p] : fRest[c]);
    float& sent = isMoving ? fOutput[p] : fSent[c];
    if (sent == output) continue;
    sent = output;
    fChannels.push_back(channel);
    fValues.push_back(output);
  }
  fImmediate.clear();
  return {fChannels, fValues};
}

Animator::Changes Animator::advance(Microseconds now) {
  fChannels.clear();
  fValues.clear();
  fHasUnsent = false;
  if (now >= fNextEnd) xFinish(now);
  fOutput.swap(fBefore);
  return xChangedMoving(interpolate(fMoving.size(), now, fStart.data(), fSlope.data(),
                                    fSince.data(), fBefore.data(), fOutput.data()));
}

Animator::Changes Animator::takeAll() {
  fChannels.resize(channels());
  fValues.resize(channels());
  for (std::size_t c = 0; c < channels(); ++c) {
    fChannels[c] = static_cast<int>(c);
    fValues[c] = fPlace[c] == kResting ? fSent[c] : fOutput[static_cast<std::size_t>(fPlace[c])];
  }
  return {fChannels, fValues};
}

Microseconds Animator::nextChange() const noexcept {
  if (isResting()) return kNoEnd;
  return fSloped > 0 || fHasUnsent ? 0 : fNextEnd;
}

Animator::State Animator::state(int channel, Microseconds now) const {
  const auto c = static_cast<std::size_t>(channel);
  if (fPlace[c] == kResting) return {fAsked[c], limited(fRest[c]), limited(fRest[c]), 0};
  const auto place = static_cast<std::size_t>(fPlace[c]);
  const float value = now < fEnd[place] ? xValueAt(place, now) : xValueAfterEnd(channel, now);
  const Later& later = fLater[c];
  const KeyFrame last =
      later.isEmpty() ? KeyFrame{fEnd[place], fTarget[place]} : later.frames.back();
  const double left = std::max(0.0, last.at - now) / kMicrosecondsPerSecond;
  return {fAsked[c], limited(value), limited(last.value), static_cast<float>(left)};
}

float Animator::xValueAt(std::size_t place, Microseconds now) const {
  return static_cast<float>(static_cast<double>(fStart[place]) +
                            fSlope[place] * (now - fSince[place]));
}

// Of a channel whose key frames are passed at the next tick only.
float Animator::xValueAfterEnd(int channel, Microseconds now) const {
  const auto c = static_cast<std::size_t>(channel);
  const auto place = static_cast<std::size_t>(fPlace[c]);
  const Later& later = fLater[c];
  KeyFrame before{fEnd[place], fTarget[place]};
  for (std::size_t i = later.next; i < later.frames.size(); ++i) {
    const KeyFrame& frame = later.frames[i];
    if (frame.at > now) {
      const double part = (now - before.at) / (frame.at - before.at);
      return static_cast<float>(before.value +
                                (static_cast<double>(frame.value) - before.value) * part);
    }
    before = frame;
  }
  return before.value;
}

// Leaves behind the channel's key frames up to `now`.
void Animator::xPass(int channel, Microseconds now) {
  const auto c = static_cast<std::size_t>(channel);
  if (fPlace[c] == kResting) return;
  const auto place = static_cast<std::size_t>(fPlace[c]);
  if (fEnd[place] > now) return;
  KeyFrame passed{fEnd[place], fTarget[place]};
  Later& later = fLater[c];
  while (!later.isEmpty()) {
    const KeyFrame next = later.take();
    if (next.at > now) return xBegin(channel, passed.value, passed.at, next);
    passed = next;
  }
  xRest(channel, passed.value);
}

void Animator::xBegin(int channel, float from, Microseconds since, KeyFrame to) {
  const auto c = static_cast<std::size_t>(channel);
  if (fPlace[c] == kResting) {
    fPlace[c] = static_cast<int>(fMoving.size());
    fMoving.push_back(channel);
    fOutput.push_back(fSent[c]);
    fStart.emplace_back();
    fSlope.emplace_back();
    fSince.emplace_back();
    fEnd.emplace_back();
    fTarget.emplace_back();
    fBefore.emplace_back();
  }
  const auto place = static_cast<std::size_t>(fPlace[c]);
  const double slope = (static_cast<double>(to.value) - from) / (to.at - since);
  if (fSlope[place] != 0) --fSloped;
  if (slope != 0) ++fSloped;
  fStart[place] = from;
  fSlope[place] = slope;
  fSince[place] = since;
  fEnd[place] = to.at;
  fTarget[place] = to.value;
  fNextEnd = std::min(fNextEnd, to.at);
}

void Animator::xRest(int channel, float value) {
  const auto c = static_cast<std::size_t>(channel);
  fRest[c] = value;
  if (fPlace[c] == kResting) return;
  const auto place = static_cast<std::size_t>(fPlace[c]);
  fSent[c] = fOutput[place];
  fPlace[c] = kResting;
  xRemove(place);
}

// The last one takes its place.
void Animator::xRemove(std::size_t place) {
  if (fSlope[place] != 0) --fSloped;
  const int last = fMoving.back();
  if (last != fMoving[place]) fPlace[static_cast<std::size_t>(last)] = static_cast<int>(place);
  const auto close = [place](auto& list) {
    list[place] = list.back();
    list.pop_back();
  };
  close(fMoving);
  close(fStart);
  close(fSlope);
  close(fSince);
  close(fEnd);
  close(fTarget);
  close(fOutput);
  close(fBefore);
}

// Passes key frames up to `now`; those that come to rest give out their last value.
void Animator::xFinish(Microseconds now) {
  fNextEnd = kNoEnd;
  for (std::size_t place = 0; place < fMoving.size();) {
    if (fEnd[place] > now) {
      fNextEnd = std::min(fNextEnd, fEnd[place]);
      ++place;
      continue;
    }
    const int channel = fMoving[place];
    const auto c = static_cast<std::size_t>(channel);
    xPass(channel, now);
    if (fPlace[c] != kResting) continue;  // looked at again: it moves to a later key frame
    const float output = limited(fRest[c]);
    if (output == fSent[c]) continue;
    fSent[c] = output;
    fChannels.push_back(channel);
    fValues.push_back(output);
  }
}

Animator::Changes Animator::xChangedMoving(std::size_t changed) {
  const std::size_t count = fMoving.size();
  if (fChannels.empty() && changed == count) return {fMoving, fOutput};
  const std::size_t finished = fChannels.size();
  fChannels.resize(finished + changed);
  fValues.resize(finished + changed);
  for (std::size_t place = 0, next = finished; next < finished + changed; ++place) {
    if (fOutput[place] == fBefore[place]) continue;
    fChannels[next] = fMoving[place];
    fValues[next++] = fOutput[place];
  }
  return {fChannels, fValues};
}

}  // namespace HB
