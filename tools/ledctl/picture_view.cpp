#include "tools/ledctl/picture_view.h"

#include <algorithm>

#include "tools/ledctl/print.h"

namespace ledctl {

namespace {

/// `left` and `right` at the two ends of a line; what does not fit is left out, `right` first.
std::string ends(const std::string& left, const std::string& right, int columns) {
  const auto width = static_cast<std::size_t>(std::max(0, columns));
  if (left.size() + 2 + right.size() > width) return left.substr(0, width);
  return left + std::string(width - left.size() - right.size(), ' ') + right;
}

}  // namespace

PictureView::PictureView(std::ostream& out, RobotPicture picture, std::string place,
                         const Palette& palette, std::function<Size()> size)
    : fOut(out),
      fPlace(std::move(place)),
      fPalette(palette),
      fSize(std::move(size)),
      fPicture(std::move(picture)) {}

void PictureView::show(const remote::WatchBatch& batch) {
  const std::lock_guard lock(fMutex);
  for (const auto& [key, value] : batch.items) {
    if (value.getType() == HB::HBValue::TypeFloat) fPicture.set(key, value.toFloat());
  }
  fOut << xFrame() << std::flush;
}

void PictureView::redraw() {
  const std::lock_guard lock(fMutex);
  fOut << xFrame() << std::flush;
}

std::string PictureView::xFrame() const {
  const Size size = fSize();
  const bool hasTitle = size.rows > 7;
  const bool hasHint = size.rows > 4;
  const int rows = std::max(1, size.rows - (hasTitle ? 1 : 0) - (hasHint ? 1 : 0));
  auto lines = fPicture.lines(rows, size.columns, fPalette);
  if (hasTitle) {
    lines.insert(lines.begin(),
                 ends(' ' + harmless(fPicture.robotName()), harmless(fPlace) + ' ', size.columns));
  }
  if (hasHint) lines.push_back(ends(" q or Ctrl-C quits", "", size.columns));
  std::string frame = "\x1b[H";
  for (std::size_t i = 0; i < lines.size(); ++i) {
    // No line break after the last: it would scroll the screen.
    frame += lines[i] + "\x1b[K" + (i + 1 < lines.size() ? "\r\n" : "");
  }
  return frame + "\x1b[J";
}

}  // namespace ledctl
