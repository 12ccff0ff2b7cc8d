// Where in a terminal each LED of a robot is drawn. Pure functions.
#pragma once

#include <vector>

namespace ledctl {

/// An LED as seen from the front: millimetres, x to the viewer's right, y up.
struct Lamp {
  double x = 0;
  double y = 0;
  double width = 0;  // 0 for a dot
  double height = 0;
  bool isRound = true;
};

struct Cell {
  int row = 0;
  int column = 0;
  bool operator==(const Cell&) const = default;
};

/// The cells of each lamp, in the order of `lamps`, within `rows` and `columns` (at least 1 each).
/// As large as fits, the same scale in both directions (a cell is twice as high as wide), the
/// picture in the middle. What is far apart from top to bottom moves closer: a robot is tall and a
/// terminal is not. Lamps may share cells where there is little room; every lamp has one at least.
std::vector<std::vector<Cell>> layOut(const std::vector<Lamp>& lamps, int rows, int columns);

}  // namespace ledctl
