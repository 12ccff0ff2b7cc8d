// The arithmetic of motion: key frames in, changed outputs out. No thread, no lock, no clock: time
// is a number that the owner hands in.
#pragma once

#include <cstddef>
#include <span>
#include <utility>
#include <vector>

namespace HB {

/// Whole microseconds on the owner's clock. A double holds them exactly for 285 years and goes on
/// beyond, so that no key frame is too far away.
using Microseconds = double;

/// Seconds as whole microseconds; the fraction is dropped, in single precision, as the framework's
/// delays do, so that a delay of the same length ends at the same instant.
Microseconds secondsToMicroseconds(float seconds) noexcept;

/// Moves numbered channels (0, 1, ...) along key frames, linearly. Not thread-safe.
///
/// A channel rests at a value or moves towards its next key frame. A new key frame at time t
/// removes the channel's pending ones at or after t and keeps the earlier ones; the movement starts
/// from the value at the instant of the call, or from the pending key frame before it. Values are
/// kept as asked; only outputs are limited to 0..1. Instants that are handed in never go back.
class Animator {
 public:
  /// Outputs that changed: channel `channels[i]` is now `values[i]`, each channel at most once.
  /// Refers to the animator's own lists, valid until its next operation.
  struct Changes {
    const std::vector<int>& channels;
    const std::vector<float>& values;
  };
  struct State {
    float asked;        // the newest key frame's value, as asked
    float now;          // the output at this instant, 0..1
    float target;       // the output after the last pending key frame, 0..1; `now` at rest
    float secondsLeft;  // until the last pending key frame; 0 at rest
  };

  /// Key frames that one channel may have pending: a client that goes on adding ever later ones is
  /// stopped before it has filled the process's memory.
  static constexpr std::size_t kMaxPending = 65536;

  /// One channel for each value, at rest there; its output is taken as known.
  explicit Animator(std::vector<float> values);

  std::size_t channels() const noexcept { return fRest.size(); }

  /// Adds key frames: `values[i]` is reached `times[i]` seconds from `now`. Equal lengths, finite,
  /// times not negative and not descending: the caller has checked. Empty lists change nothing. Of
  /// equal times the last holds; those at time 0 are in effect at once, see `takeImmediate`.
  void add(int channel, Microseconds now, std::span<const float> times,
           std::span<const float> values);
  /// Whether `add` with these times would leave the channel with at most `kMaxPending`. `add`
  /// does not ask.
  bool hasRoom(int channel, Microseconds now, std::span<const float> times) const;
  /// The outputs that key frames at time 0 changed since it was asked last.
  Changes takeImmediate();
  /// Moves every channel to `now`. A key frame that was passed has been reached exactly.
  Changes advance(Microseconds now);
  /// Every channel and its output, as changes: for a driver that has lost track.
  Changes takeAll();

  /// Whether no key frame is pending.
  bool isResting() const noexcept { return fMoving.empty(); }
  /// Until then `advance` would change nothing: any instant passed while channels move, the next
  /// key frame while those that are under way keep their value, infinity at rest.
  Microseconds nextChange() const noexcept;

  State state(int channel, Microseconds now) const;

 private:
  struct KeyFrame {
    Microseconds at;
    float value;
  };
  // Those after the one that the channel moves to, ascending; `next` is the first not yet passed.
  struct Later {
    std::vector<KeyFrame> frames;
    std::size_t next = 0;
    bool isEmpty() const { return next == frames.size(); }
    void dropFrom(Microseconds at);
    KeyFrame take();  // not while empty
  };
  static constexpr int kResting = -1;

  float xValueAt(std::size_t place, Microseconds now) const;
  float xValueAfterEnd(int channel, Microseconds now) const;
  void xPass(int channel, Microseconds now);
  void xBegin(int channel, float from, Microseconds since, KeyFrame to);
  void xRest(int channel, float value);
  void xRemove(std::size_t place);
  void xFinish(Microseconds now);
  Changes xChangedMoving(std::size_t changed);

  // By channel.
  std::vector<float> fRest;  // the value at rest
  std::vector<float> fSent;  // the output given out last, while at rest
  std::vector<float> fAsked;
  std::vector<int> fPlace;  // among the moving ones, or kResting
  std::vector<Later> fLater;

  // By place, one for each moving channel, without gaps: what the loop over all reads in a row.
  // value = start + slope * (now - since)
  std::vector<int> fMoving;  // the channel
  std::vector<float> fStart;
  std::vector<double> fSlope;  // per microsecond
  std::vector<Microseconds> fSince;
  std::vector<Microseconds> fEnd;
  std::vector<float> fTarget;
  std::vector<float> fOutput;  // given out last
  std::vector<float> fBefore;  // the outputs of the tick before, while one is made

  Microseconds fNextEnd;        // no later than the earliest of fEnd
  std::size_t fSloped = 0;      // how many have a slope
  bool fHasUnsent = false;      // an output differs from what was given out, without a slope
  std::vector<int> fImmediate;  // channels with a key frame at time 0 since takeImmediate
  std::vector<int> fChannels;   // what Changes refers to, unless all moving ones changed
  std::vector<float> fValues;
};

}  // namespace HB
