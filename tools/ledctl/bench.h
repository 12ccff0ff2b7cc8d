// How long calls take: what `ledctl bench` makes of its measurements. Pure functions.
#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace ledctl {

/// The calls that were made one after another.
struct BenchResult {
  std::string service;
  std::string method;
  std::vector<std::chrono::nanoseconds> times;  // at least one
};

/// The time that `percent` of the times do not exceed: the nearest rank. `ascending` is not empty.
std::chrono::nanoseconds percentile(const std::vector<std::chrono::nanoseconds>& ascending,
                                    int percent);

/// For people: one figure a line.
std::string benchText(const BenchResult& result);
/// One object: "service", "method", "count", "callsPerSecond", and "p50", "p90", "p99", "max" in
/// microseconds.
std::string benchJson(const BenchResult& result);

}  // namespace ledctl
