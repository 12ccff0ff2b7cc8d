// One blink of the eyes: eighteen steps on the event loop that the holder of its future may wait
// for or cancel.
#pragma once

#include <functional>
#include <memory>
#include <tuple>

#include "framework/xo/future.h"
#include "framework/xo/task_group.h"

namespace HB {

/// What the steps of a blink are drawn with: open colour, closed colour, shadow colour (each
/// 0x00RRGGBB), step time in seconds.
using BlinkParameters = std::tuple<int, int, int, float>;

/// Draws one colour (0x00RRGGBB) on the eye position (0..7) within the step time (seconds).
using DrawEyePosition = std::function<void(int position, int rgb, float seconds)>;

/// Posts the first step to `tasks`, which must outlive nothing: when it closes, the blink ends
/// where it is and its future in error. Before each step the future's cancellation is looked at.
/// What `draw` throws ends the blink with that error. Returns at once; the steps run one after
/// another.
xo::Future<void> startBlink(xo::TaskGroup& tasks, const BlinkParameters& parameters,
                            DrawEyePosition draw);

}  // namespace HB
