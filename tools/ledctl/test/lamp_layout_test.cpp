#include "tools/ledctl/lamp_layout.h"

#include <gmock/gmock.h>

#include <set>

namespace ledctl {
namespace {

/// A ring of eight dots.
void addRing(std::vector<Lamp>& lamps, double x, double y, double radius) {
  const double slanted = radius * 0.7071;
  for (const auto& [dx, dy] : std::vector<std::pair<double, double>>{{0, radius},
                                                                     {slanted, slanted},
                                                                     {radius, 0},
                                                                     {slanted, -slanted},
                                                                     {0, -radius},
                                                                     {-slanted, -slanted},
                                                                     {-radius, 0},
                                                                     {-slanted, slanted}}) {
    lamps.push_back({x + dx, y + dy});
  }
}

std::vector<Lamp> eyes() {
  std::vector<Lamp> lamps;
  addRing(lamps, -28, 520, 18);
  addRing(lamps, 28, 520, 18);
  return lamps;
}

std::set<std::pair<int, int>> distinct(const std::vector<std::vector<Cell>>& places) {
  std::set<std::pair<int, int>> cells;
  for (const auto& place : places) {
    for (const auto& cell : place) cells.emplace(cell.row, cell.column);
  }
  return cells;
}

TEST(LayOut, GivesEveryDotACellOfItsOwnWhereThereIsRoom) {
  EXPECT_EQ(distinct(layOut(eyes(), 22, 80)).size(), 16U);
}

TEST(LayOut, KeepsLeftAndRightAlike) {
  const auto places = layOut(eyes(), 22, 80);
  const int twice = places[0][0].column + places[8][0].column;
  EXPECT_EQ(places[0][0].row, places[8][0].row);
  EXPECT_EQ(places[2][0].column + places[14][0].column, twice);
  EXPECT_LT(places[6][0].column, places[2][0].column) << "x grows to the right";
  EXPECT_LT(places[0][0].row, places[4][0].row) << "y grows upwards";
}

TEST(LayOut, MovesWhatIsFarBelowCloser) {
  auto lamps = eyes();
  lamps.push_back({0, 370, 22, 22, true});
  lamps.push_back({0, 22, 34, 8, false});
  const auto places = layOut(lamps, 22, 80);
  int eyesEnd = 0;
  for (std::size_t i = 0; i < 16; ++i) eyesEnd = std::max(eyesEnd, places[i][0].row);
  EXPECT_GT(places[16].front().row, eyesEnd);
  EXPECT_LE(places[16].front().row, eyesEnd + 4);
  EXPECT_GT(places[17].front().row, places[16].back().row);
  EXPECT_LE(places[17].front().row, places[16].back().row + 4);
}

TEST(LayOut, FillsRectanglesAndRoundsDiscs) {
  const auto box = layOut({{0, 0, 20, 20, false}}, 20, 60).front();
  const auto disc = layOut({{0, 0, 20, 20, true}}, 20, 60).front();
  EXPECT_LT(disc.size(), box.size());
  EXPECT_GT(disc.size(), box.size() / 2);
}

TEST(LayOut, StaysInsideHoweverSmallTheTerminal) {
  auto lamps = eyes();
  lamps.push_back({0, 370, 22, 22, true});
  lamps.push_back({-50, 22, 34, 8, false});
  for (int rows = 1; rows < 30; ++rows) {
    for (int columns = 1; columns < 90; columns += 7) {
      const auto places = layOut(lamps, rows, columns);
      ASSERT_EQ(places.size(), lamps.size());
      for (const auto& place : places) {
        ASSERT_FALSE(place.empty());
        for (const auto& cell : place) {
          ASSERT_TRUE(cell.row >= 0 && cell.row < rows) << rows << 'x' << columns;
          ASSERT_TRUE(cell.column >= 0 && cell.column < columns) << rows << 'x' << columns;
        }
      }
    }
  }
}

TEST(LayOut, TakesWhatSpansTheWholeRangeOfPositions) {
  const auto places = layOut({{-1e4, -1e4, 1e4, 1e4}, {1e4, 1e4, 1e4, 1e4}, {0, 0}}, 24, 80);
  EXPECT_EQ(places.size(), 3U);
}

TEST(LayOut, TakesNoLamps) { EXPECT_TRUE(layOut({}, 24, 80).empty()); }

}  // namespace
}  // namespace ledctl
