// What a fade costs to arm and to end while as many are pending: their futures, held by the caller,
// and the timers that end them.
#include <benchmark/benchmark.h>
#include <sys/resource.h>

#include <chrono>
#include <string>
#include <vector>

#include "bench/leds_robot.h"

namespace bench {
namespace {

/// Processor time of the whole process, its event loop included.
double processSeconds() {
  rusage usage{};
  ::getrusage(RUSAGE_SELF, &usage);
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + 1e-6 * static_cast<double>(time.tv_usec);
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

/// Fades of one LED whose ends lie so far ahead that none ends before all are armed.
class Pending {
 public:
  Pending(const xo::Object& leds, std::size_t count, float seconds) {
    fFutures.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
      fFutures.push_back(leds.call<xo::Future<void>>("fade", kLed, 0.5f, seconds));
    }
  }
  void awaitAll() {
    for (auto& future : fFutures) future.value();
  }

 private:
  inline static const std::string kLed = "ChestLedsRed";
  std::vector<xo::Future<void>> fFutures;
};

/// A thousand more on top of as many; let go of, which takes their timers away, outside the
/// figure.
void armFade(benchmark::State& state) {
  LedsRobot robot(readModel("vanto.xml"));
  const auto leds = robot.service();
  constexpr std::size_t kMore = 1000;
  const Pending pending(leds, static_cast<std::size_t>(state.range(0)), 3600);
  for (auto _ : state) {
    const double begin = processSeconds();
    const Pending more(leds, kMore, 1800);
    state.SetIterationTime((processSeconds() - begin) / kMore);
  }
}

/// All of them end within one instant.
void endFade(benchmark::State& state) {
  LedsRobot robot(readModel("vanto.xml"));
  const auto leds = robot.service();
  const auto count = static_cast<std::size_t>(state.range(0));
  for (auto _ : state) {
    // Long enough to arm them all before the first ends.
    const auto seconds = 0.1f + static_cast<float>(count) * 1e-5f;
    Pending pending(leds, count, seconds);
    const double begin = processSeconds();
    pending.awaitAll();
    state.SetIterationTime((processSeconds() - begin) / static_cast<double>(count));
  }
}

void sizes(benchmark::internal::Benchmark* bench) {
  bench->Arg(1000)->Arg(1'000'000)->UseManualTime()->Unit(benchmark::kNanosecond);
}
BENCHMARK(armFade)->Apply(sizes)->Iterations(50);
BENCHMARK(endFade)->Apply(sizes)->Iterations(2);

}  // namespace
}  // namespace bench
