#include "tools/ledctl/lamp_layout.h"

#include <algorithm>
#include <cmath>

namespace ledctl {

namespace {

constexpr double kSmallestScale = 1;  // mm a column: one LED alone does not fill the screen
constexpr double kCellRatio = 2;      // height to width

/// A stretch of the robot, from top to bottom, without a wide gap in it.
struct Band {
  double top = 0;     // mm
  double bottom = 0;  // mm
  double start = 0;   // rows above it
};

std::vector<Band> bandsOf(const std::vector<Lamp>& lamps) {
  std::vector<Band> pieces;
  pieces.reserve(lamps.size());
  for (const auto& lamp : lamps) {
    pieces.push_back({lamp.y + lamp.height / 2, lamp.y - lamp.height / 2});
  }
  std::ranges::sort(pieces, std::greater(), &Band::top);
  double bottom = pieces.front().bottom;
  for (const auto& piece : pieces) bottom = std::min(bottom, piece.bottom);
  const double farApart = (pieces.front().top - bottom) / 8;
  std::vector<Band> bands{pieces.front()};
  for (const auto& piece : pieces) {
    if (bands.back().bottom - piece.top > farApart) {
      bands.push_back(piece);
    } else {
      bands.back().bottom = std::min(bands.back().bottom, piece.bottom);
    }
  }
  return bands;
}

/// Rows between two bands.
int gapOf(int rows) { return rows < 10 ? 0 : rows < 18 ? 1 : 2; }

/// From millimetres to cells.
struct Scale {
  double perColumn = kSmallestScale;  // mm
  double middle = 0;                  // mm
  std::vector<Band> bands;
  int rows = 1;
  int columns = 1;

  double perRow() const { return perColumn * kCellRatio; }
  /// The middle column is one of an odd number of columns, so that left and right are alike.
  int columnOf(double x) const {
    const auto column = (columns - 1) / 2 + std::lround((x - middle) / perColumn);
    return static_cast<int>(std::clamp(column, 0L, static_cast<long>(columns) - 1));
  }
  double rowOf(double y) const {
    const auto band = std::ranges::find_if(bands, [y](const Band& one) { return y >= one.bottom; });
    const Band& found = band == bands.end() ? bands.back() : *band;
    return found.start + (found.top - y) / perRow();
  }
};

Scale scaleFor(const std::vector<Lamp>& lamps, int rows, int columns) {
  Scale scale;
  scale.rows = rows;
  scale.columns = columns - (columns + 1) % 2;
  scale.bands = bandsOf(lamps);
  double left = lamps.front().x;
  double right = left;
  for (const auto& lamp : lamps) {
    left = std::min(left, lamp.x - lamp.width / 2);
    right = std::max(right, lamp.x + lamp.width / 2);
  }
  double height = 0;
  for (const auto& band : scale.bands) height += band.top - band.bottom;
  const auto gaps = static_cast<int>(scale.bands.size()) - 1;
  // Each band begins on a row of its own.
  const int gap = gaps * (gapOf(rows) + 1) < rows ? gapOf(rows) : 0;
  const int room = std::max(1, rows - 1 - gaps * (gap + 1));
  scale.middle = (left + right) / 2;
  scale.perColumn = std::max({kSmallestScale, (right - left) / std::max(1, scale.columns - 1),
                              height / kCellRatio / room});
  double start = 0;
  for (auto& band : scale.bands) {
    band.start = start;
    start += std::floor((band.top - band.bottom) / scale.perRow()) + 1 + gap;
  }
  const double used = start - gap;
  for (auto& band : scale.bands) band.start += std::floor(std::max(0.0, (rows - used) / 2));
  return scale;
}

int oddNumber(double number) {
  return number < 2.5 ? 1 : 2 * static_cast<int>(std::lround((number - 1) / 2)) + 1;
}

bool isInside(const Lamp& lamp, int row, int rows, int column, int columns) {
  if (!lamp.isRound) return true;
  const double down = (row + 0.5) / rows * 2 - 1;
  const double across = (column + 0.5) / columns * 2 - 1;
  return rows == 1 || down * down + across * across <= 1.1;
}

std::vector<Cell> cellsOf(const Lamp& lamp, const Scale& scale) {
  const int columns = oddNumber(std::min(lamp.width / scale.perColumn, 1.0 * scale.columns));
  const int rows = std::max(
      1, static_cast<int>(std::lround(std::min(lamp.height / scale.perRow(), 1.0 * scale.rows))));
  const int left = scale.columnOf(lamp.x) - columns / 2;
  const auto top = static_cast<int>(std::lround(scale.rowOf(lamp.y) - (rows - 1) / 2.0));
  std::vector<Cell> cells;
  for (int row = 0; row < rows; ++row) {
    for (int column = 0; column < columns; ++column) {
      if (!isInside(lamp, row, rows, column, columns)) continue;
      const Cell cell{std::clamp(top + row, 0, scale.rows - 1),
                      std::clamp(left + column, 0, scale.columns - 1)};
      if (cells.empty() || cells.back() != cell) cells.push_back(cell);
    }
  }
  return cells;
}

}  // namespace

std::vector<std::vector<Cell>> layOut(const std::vector<Lamp>& lamps, int rows, int columns) {
  std::vector<std::vector<Cell>> cells;
  if (lamps.empty()) return cells;
  const Scale scale = scaleFor(lamps, rows, columns);
  cells.reserve(lamps.size());
  for (const auto& lamp : lamps) cells.push_back(cellsOf(lamp, scale));
  return cells;
}

}  // namespace ledctl
