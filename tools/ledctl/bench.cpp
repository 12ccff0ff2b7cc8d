#include "tools/ledctl/bench.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <numeric>

namespace ledctl {

namespace {

using Times = std::vector<std::chrono::nanoseconds>;

double microseconds(std::chrono::nanoseconds time) {
  return std::chrono::duration<double, std::micro>(time).count();
}

double callsPerSecond(const Times& times) {
  const auto total = std::accumulate(times.begin(), times.end(), std::chrono::nanoseconds(0));
  const double seconds = std::chrono::duration<double>(total).count();
  return seconds > 0 ? static_cast<double>(times.size()) / seconds : 0;
}

Times ascending(Times times) {
  std::ranges::sort(times);
  return times;
}

/// `unit` with a space before it.
std::string line(const char* name, double figure, const char* unit) {
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), "%-8s %10.0f%s\n", name, figure, unit);
  return text.data();
}

}  // namespace

std::chrono::nanoseconds percentile(const Times& ascending, int percent) {
  const auto rank = (ascending.size() * static_cast<std::size_t>(percent) + 99) / 100;
  return ascending[std::clamp<std::size_t>(rank, 1, ascending.size()) - 1];
}

std::string benchText(const BenchResult& result) {
  const Times times = ascending(result.times);
  std::string text = result.service + ' ' + result.method + ", one call after another\n";
  text += line("calls", static_cast<double>(times.size()), "");
  text += line("rate", callsPerSecond(times), " calls/s");
  for (const int percent : {50, 90, 99}) {
    const std::string name = 'p' + std::to_string(percent);
    text += line(name.c_str(), microseconds(percentile(times, percent)), " us");
  }
  return text + line("longest", microseconds(times.back()), " us");
}

std::string benchJson(const BenchResult& result) {
  const Times times = ascending(result.times);
  nlohmann::ordered_json json{{"service", result.service},
                              {"method", result.method},
                              {"count", times.size()},
                              {"callsPerSecond", callsPerSecond(times)}};
  for (const int percent : {50, 90, 99}) {
    json['p' + std::to_string(percent)] = microseconds(percentile(times, percent));
  }
  json["max"] = microseconds(times.back());
  return json.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

}  // namespace ledctl
