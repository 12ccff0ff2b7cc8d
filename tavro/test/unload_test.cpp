// The robot's real modules come and go in one process while everything that they do is under way.
// UNLOAD_ROUNDS in the environment says how often.
#include <gmock/gmock.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <iostream>

#include "framework/xo/event_loop.h"
#include "tavro/test/unload_burden.h"
#include "tavro/test/unload_rack.h"

namespace tavro::test {
namespace {

using Names = std::vector<std::string>;

const char* const kModel = "models/vanto.xml";
const char* const kEar = "Ears/Led/Left/0Deg/Actuator/Value";
/// In the order of their starting; signs and feedback comes for some rounds only.
const Names kModules{"memory", "robotmodel", "motion", "leds"};

/// What goes, in this order.
const std::vector<Names> kDepartures{
    {"leds"},
    {"motion", "leds"},
    {"leds"},
    {"signsandfeedback", "leds", "motion", "robotmodel", "memory"},
    {"leds", "signsandfeedback"},
    {"leds"},
    {"memory", "robotmodel", "motion", "leds"},
};

/// When, as seen from the calls that are begun.
enum class Moment { kWhileTheyBegin, kUnderWay, kWhileSomeGoAway };
constexpr Moment kMoments[] = {Moment::kUnderWay, Moment::kWhileSomeGoAway,
                               Moment::kWhileTheyBegin};

// Nothing may stay of a round. Looked at while no module is loaded and malloc keeps no caches for
// threads (see main), two such moments differ by the room of a few tables, some hundreds of bytes
// in all; over the fewest rounds that tell a trend, ten or twenty bytes a round. The smallest block
// of malloc's takes 32: this finds two of them.
const double kBytesPerRound = 64 + heapOfSanitizerPerRound();
constexpr int kWarmUp = 10;  // rounds until tables have their size

int roundsWanted() {
  const char* const text = std::getenv("UNLOAD_ROUNDS");
  return text == nullptr ? UNLOAD_ROUNDS : std::stoi(text);
}

class TakingModulesAway : public ::testing::Test {
 protected:
  TakingModulesAway() {
    xo::getEventLoop();  // its threads stay
    fBare = footprint();
    bringBack();
    fLeds = fRack.service("HBLeds");
    fillHistory();
  }

  /// The door remembers calls in strings that keep their room: here they get all that they can
  /// need.
  void fillHistory() {
    const std::string longest(fRack.access().limits().nameBytes, 'x');
    for (std::size_t i = 0; i < door::Access::kHistory; ++i) {
      fRack.access().call({"rack", "inside", "test"}, "HBLeds", longest, {});
    }
  }

  void TearDown() override {
    Names modules = fRack.modules();
    std::ranges::reverse(modules);
    takeAway(modules);
  }

  void stage(const std::string& text) {
    fDog.watch("round " + std::to_string(fRound) + ": " + text);
  }
  bool isAway(const std::string& module) const { return !fRack.isLoaded(module); }

  void run(int round) {
    fRound = round;
    const Names& departure = kDepartures.at(static_cast<std::size_t>(round) % kDepartures.size());
    if (std::ranges::find(departure, "signsandfeedback") != departure.end()) {
      stage("loading signsandfeedback");
      fRack.load("signsandfeedback");
    }
    stage("beginning the calls");
    {
      const bool usesEyes = round % 4 != 3;
      Burden burden(fRack.access(), fLeds,
                    {.keepsBlinking = round % 2 == 0 || round % 8 == 3,
                     .usesEyes = usesEyes,
                     .startsWithShadow = !usesEyes && isAway("signsandfeedback")});
      const Moment moment = kMoments[round % 3];
      if (moment != Moment::kWhileTheyBegin) burden.awaitUnderWay();
      if (moment == Moment::kWhileSomeGoAway) burden.letSomeGoAway();
      takeAway(departure);
      stage("waiting for the calls' ends");
      fUnderWay += burden.expectEnded();
      fCalls += burden.calls();
    }
    expectNothingLeft();
    if (fRack.modules().empty() && round > kWarmUp) noteHeap();
    bringBack();
    expectToWork();
  }

  void takeAway(const Names& departure) {
    for (const auto& module : departure) {
      stage("unloading " + module);
      const auto begin = std::chrono::steady_clock::now();
      fRack.unload(module);
      fLongest = std::max(fLongest, std::chrono::steady_clock::now() - begin);
      EXPECT_FALSE(Rack::isMapped(module)) << module;
    }
  }

  /// The service is refused, its threads and descriptors are gone.
  void expectNothingLeft() {
    stage("looking for what is left");
    EXPECT_FALSE(fLeds.isAlive());
    EXPECT_TRUE(fRack.access().running().empty());
    Footprint expected = fBare;
    if (fRack.isLoaded("motion")) ++expected.threads;  // its tick
    await([&] { return footprint().threads <= expected.threads; });
    EXPECT_EQ(footprint(), expected);
  }

  void bringBack() {
    if (isAway("motion") && !isAway("memory")) {  // comes to wait for motion and goes again
      stage("loading and unloading leds while motion is away");
      fRack.beginToLoad("leds");
      takeAway({"leds"});
    }
    for (const auto& module : kModules) {
      stage("loading " + module);
      if (isAway(module)) fRack.load(module);
    }
  }

  void expectToWork() {
    stage("using it");
    ASSERT_TRUE(fLeds.isAlive());
    fLeds.call("off", "AllLeds");  // and ends the fades that the round left in motion
    fLeds.call("setIntensity", "EarLeds", 0.5F);
    EXPECT_EQ(fLeds.call<HB::HBValue>("getIntensity", kEar).toFloat(), 0.5F);
  }

  /// The heap without delays that nobody waits for and that have yet to run out.
  void noteHeap() {
    stage("waiting for the event loop to be empty");
    await([] { return xo::getEventLoop().pendingDelays() == 0; });
    fHeap.note(fRound);
  }

  Rack fRack{kModel};
  Watchdog fDog{[this] {
    return runningText(fRack.access()) +
           "delays of the event loop: " + std::to_string(xo::getEventLoop().pendingDelays()) + "\n";
  }};
  Footprint fBare{};
  xo::Object fLeds;
  HeapTrend fHeap;
  int fRound = 0;
  std::chrono::steady_clock::duration fLongest{};  // unloading of a module; told, not judged
  int fUnderWay = 0;
  int fCalls = 0;
};

TEST(HeapTrendCanary, FindsWhatEveryRoundLeavesBehindOnAnyThread) {
  std::vector<std::unique_ptr<char[]>> left;
  HeapTrend leaking;
  HeapTrend flat;
  await([] { return xo::getEventLoop().pendingDelays() == 0; });
  left.reserve(20);
  for (int round = 0; round < 40; ++round) {
    std::thread([] { const auto passing = std::make_unique<char[]>(100000); }).join();
    if (round >= 20) flat.note(round);
  }
  for (int round = 0; round < 20; ++round) {
    std::thread([&] {
      left.push_back(std::make_unique<char[]>(2 * static_cast<std::size_t>(kBytesPerRound)));
    }).join();
    leaking.note(round);
  }
  EXPECT_GT(leaking.bytesPerRound(), kBytesPerRound) << leaking.text();
  EXPECT_LT(flat.bytesPerRound(), kBytesPerRound) << flat.text();
}

TEST_F(TakingModulesAway, LeavesNothingBehindWhateverIsUnderWay) {
  const int rounds = roundsWanted();
  for (int round = 1; round <= rounds; ++round) {
    run(round);
    if (HasFailure()) FAIL() << "in round " << round;
  }
  // Most calls were inside when their module went, not too late or already over.
  EXPECT_GT(fUnderWay, fCalls / 2);
  if (fHeap.notes() < 4) return;  // too few to tell a trend
  const double growth = fHeap.bytesPerRound();
  std::cout << rounds << " rounds, " << fUnderWay << " of " << fCalls
            << " calls were under way; the longest unloading took "
            << std::chrono::duration_cast<std::chrono::milliseconds>(fLongest).count()
            << " ms; the heap grew by " << growth << " bytes a round\n"
            << fHeap.text() << "\n";
  EXPECT_LT(growth, kBytesPerRound) << fHeap.text();
}

}  // namespace
}  // namespace tavro::test

/// Tests that count bytes need a malloc that keeps none back for its threads, which can only be
/// said before a program starts: so it starts itself again.
int main(int argc, char** argv) {
  constexpr const char* kTunables = "GLIBC_TUNABLES";
  if (std::getenv(kTunables) == nullptr) {
    setenv(kTunables, "glibc.malloc.tcache_count=0", 1);
    execv("/proc/self/exe", argv);
    std::perror("cannot start again without malloc's caches");
    return 1;
  }
  ::testing::InitGoogleMock(&argc, argv);
  return RUN_ALL_TESTS();
}
