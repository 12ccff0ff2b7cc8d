#include "tests/system/harmed_robot.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <iostream>
#include <thread>

namespace tests {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

int portIn(const std::string& text, const std::string& before) {
  return std::stoi(text.substr(text.find(before) + before.size()));
}

}  // namespace

int faultRounds() {
  const char* const rounds = std::getenv("FAULT_ROUNDS");
  return rounds == nullptr ? 1 : std::max(1, std::atoi(rounds));
}

HarmedRobot::HarmedRobot(const std::vector<std::string>& environment)
    : fRobot("models/vanto.xml", {"--page", "127.0.0.1:0"}, environment),
      fClient(remote::RobotClient::connect(fRobot.address(), {"witness"})) {}

int HarmedRobot::port() const { return portIn(address(), ":"); }

int HarmedRobot::pagePort() const { return portIn(fRobot.readyLine(), "page=http://127.0.0.1:"); }

bool HarmedRobot::runs(const std::string& method) {
  return std::ranges::any_of(fClient->calls().running,
                             [&](const auto& one) { return one.method == method; });
}

void HarmedRobot::begin(std::chrono::milliseconds breath) {
  fNeighbour.emplace(address(), breath);
  fBefore = vitals();
  forgetPeak(fRobot.pid());
}

bool HarmedRobot::isAsBefore() {
  // The neighbour's may be under way.
  const auto calls = fClient->calls().running;
  const bool areCallsOver = std::ranges::all_of(
      calls, [](const remote::CallInfo& call) { return call.client == "neighbour"; });
  return areCallsOver && vitals().descriptors == fBefore.descriptors;
}

std::optional<double> HarmedRobot::timeUntil(const std::function<bool()>& condition) {
  using Milliseconds = std::chrono::duration<double, std::milli>;
  const auto start = std::chrono::steady_clock::now();
  while (!condition()) {
    if (std::chrono::steady_clock::now() - start > kDeadline) return std::nullopt;
    // Between two looks at another process, which wakes nobody here.
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return Milliseconds(std::chrono::steady_clock::now() - start).count();
}

void HarmedRobot::expectUnharmed(const std::string& fault, long mostKib) {
  EXPECT_TRUE(eventually([&] { return isAsBefore(); }))
      << fault << ": " << fBefore.descriptors << " descriptors before, " << vitals().descriptors
      << " now; " << running() << " calls run";
  const auto report = fNeighbour->finish();
  EXPECT_THAT(report.errors, IsEmpty()) << fault;
  EXPECT_GT(report.calls, 0u);
  const Vitals after = vitals();
  const long grown = after.residentKib - fBefore.residentKib;
  if (kIsMemoryTelling) {
    EXPECT_LE(grown, mostKib) << fault;
  }
  std::cout << "measured: " << fault << ": " << report.text() << "; memory +"
            << after.peakKib - fBefore.residentKib << " KiB at most, +" << grown
            << " KiB at the end; threads " << fBefore.threads << " before, " << after.threads
            << " after\n";
  fRobot.process().signal(SIGTERM);
  const Outcome ended = fRobot.process().wait();
  EXPECT_EQ(ended.status, 0) << fault;
  EXPECT_THAT(ended.err, Not(HasSubstr(" error   ["))) << fault;
}

}  // namespace tests
