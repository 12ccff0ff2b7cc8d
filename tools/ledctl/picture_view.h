// What `ledctl watch` shows on a whole terminal: the robot, its LEDs lit as they are now.
#pragma once

#include <functional>
#include <mutex>
#include <ostream>
#include <string>

#include "tools/ledctl/robot_picture.h"
#include "tools/ledctl/watch_view.h"

namespace ledctl {

/// Draws the whole screen at once, from its first line. Thread-safe.
class PictureView final : public WatchView {
 public:
  using Size = ScreenView::Size;
  /// `place` says where the robot is; `size` is asked before each drawing.
  PictureView(std::ostream& out, RobotPicture picture, std::string place, const Palette& palette,
              std::function<Size()> size);
  void show(const remote::WatchBatch& batch) override;
  /// Draws again what is known, such as when the terminal's size has changed.
  void redraw();

 private:
  std::string xFrame() const;

  std::ostream& fOut;
  const std::string fPlace;
  const Palette fPalette;
  const std::function<Size()> fSize;
  std::mutex fMutex;  // guards the picture, and drawing
  RobotPicture fPicture;
};

}  // namespace ledctl
