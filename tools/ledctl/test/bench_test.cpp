#include "tools/ledctl/bench.h"

#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

namespace ledctl {
namespace {

using namespace std::chrono_literals;
using ::testing::HasSubstr;

std::vector<std::chrono::nanoseconds> oneToHundred() {
  std::vector<std::chrono::nanoseconds> times;
  for (int i = 100; i > 0; --i) times.emplace_back(i * 1us);
  return times;
}

TEST(Percentile, IsTheNearestRank) {
  EXPECT_EQ(percentile({1ns, 2ns, 3ns, 4ns}, 50), 2ns);
  EXPECT_EQ(percentile({1ns, 2ns, 3ns, 4ns}, 90), 4ns);
  EXPECT_EQ(percentile({7ns}, 99), 7ns);
  EXPECT_EQ(percentile({1ns, 2ns}, 0), 1ns);
}

TEST(BenchJson, HoldsPercentilesInMicrosecondsAndTheRate) {
  const auto json = nlohmann::json::parse(benchJson({"S", "m", oneToHundred()}));
  EXPECT_EQ(json["service"], "S");
  EXPECT_EQ(json["method"], "m");
  EXPECT_EQ(json["count"], 100);
  EXPECT_EQ(json["p50"], 50);
  EXPECT_EQ(json["p90"], 90);
  EXPECT_EQ(json["p99"], 99);
  EXPECT_EQ(json["max"], 100);
  EXPECT_NEAR(json["callsPerSecond"], 100 / 5050e-6, 0.1);
}

TEST(BenchText, HasAFigureALine) {
  const auto text = benchText({"S", "m", oneToHundred()});
  EXPECT_THAT(text, HasSubstr("S m, one call after another\ncalls           100\n"));
  EXPECT_THAT(text, HasSubstr("\np99              99 us\n"));
}

}  // namespace
}  // namespace ledctl
