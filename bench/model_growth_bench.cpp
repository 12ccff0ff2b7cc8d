// How start, group creation and a write to a group grow with the robot: per decade of LEDs.
#include <benchmark/benchmark.h>

#include <optional>
#include <string>
#include <vector>

#include "bench/leds_robot.h"

namespace bench {
namespace {

/// So many LEDs of one device each, in names as long as those of a real robot.
std::string modelOf(std::int64_t leds) {
  std::string model = "<robot name=\"Bench\"><leds groups=\"AllLeds\">";
  for (std::int64_t i = 0; i < leds; ++i) {
    const auto number = std::to_string(1'000'000 + i);
    model += "<led short=\"FaceLed" + number + "\"><device name=\"Face/Led/Red/Left/" + number +
             "\" color=\"red\"/></led>";
  }
  return model + "</leds></robot>";
}

void start(benchmark::State& state) {
  const std::string model = modelOf(state.range(0));
  for (auto _ : state) LedsRobot robot(model);  // its end is part of the figure
}

void createGroup(benchmark::State& state) {
  LedsRobot robot(modelOf(state.range(0)));
  const auto names = robot.leds().listLEDs();
  for (auto _ : state) robot.leds().createGroup("Mine", names);
}

void writeGroup(benchmark::State& state) {
  LedsRobot robot(modelOf(state.range(0)));
  const auto leds = robot.service();
  const std::string group = "AllLeds";
  for (auto _ : state) leds.call("setIntensity", group, 0.5f);
}

void sizes(benchmark::internal::Benchmark* bench) {
  bench->Arg(100)
      ->Arg(1000)
      ->Arg(10'000)
      ->Arg(100'000)
      ->Unit(benchmark::kMillisecond)
      ->UseRealTime();
}
BENCHMARK(start)->Apply(sizes);
BENCHMARK(createGroup)->Apply(sizes);
BENCHMARK(writeGroup)->Apply(sizes);

}  // namespace
}  // namespace bench
