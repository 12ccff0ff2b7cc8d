#include "tests/system/neighbour.h"

#include <algorithm>
#include <iomanip>
#include <sstream>

namespace tests {
namespace {

constexpr std::size_t kErrorsKept = 5;

double atPart(const std::vector<double>& sorted, double part) {
  if (sorted.empty()) return 0;
  const auto last = static_cast<double>(sorted.size() - 1);
  return sorted[static_cast<std::size_t>(part * last)];
}

}  // namespace

std::string Neighbour::Report::text() const {
  std::ostringstream text;
  text << std::fixed << std::setprecision(2) << calls << " calls of another client: median "
       << median << " ms, p99 " << p99 << " ms, longest " << longest << " ms";
  return text.str();
}

Neighbour::Neighbour(const std::string& address, std::chrono::milliseconds breath)
    : fRobot(remote::RobotClient::connect(address, {"neighbour"})),
      fBreath(breath),
      fThread([this] { run(); }) {}

Neighbour::~Neighbour() {
  if (fThread.joinable()) finish();
}

bool Neighbour::isOver() {
  std::unique_lock lock(fMutex);
  return fEnd.wait_for(lock, fBreath, [this] { return fIsOver; });
}

void Neighbour::run() {
  using Milliseconds = std::chrono::duration<double, std::milli>;
  for (int i = 0; !isOver(); ++i) {
    const HB::HBValue args[] = {"BrainLeds", (i % 2 == 0) ? 0.25F : 0.75F};
    const auto start = std::chrono::steady_clock::now();
    try {
      fRobot->call("HBLeds", "setIntensity", args);
      fTimes.push_back(Milliseconds(std::chrono::steady_clock::now() - start).count());
    } catch (const remote::RemoteError& error) {
      ++fFailures;
      if (fErrors.size() < kErrorsKept) fErrors.emplace_back(error.what());
    }
  }
}

Neighbour::Report Neighbour::finish() {
  {
    const std::scoped_lock lock(fMutex);
    fIsOver = true;
    fEnd.notify_all();
  }
  fThread.join();
  std::sort(fTimes.begin(), fTimes.end());
  return {fTimes.size(), fErrors, atPart(fTimes, 0.5), atPart(fTimes, 0.99), atPart(fTimes, 1)};
}

}  // namespace tests
