// Every published method of the LED service at once, from eight threads, on the real modules of a
// running robot. The thread sanitizer watches.
#include <gmock/gmock.h>

#include <array>
#include <atomic>
#include <chrono>
#include <iostream>
#include <map>
#include <random>
#include <thread>

#include "framework/xo/call.h"
#include "tavro/module_loader.h"
#include "tavro/test/every_command.h"

namespace tavro {
namespace {

using HB::HBValue;

class Storm : public ::testing::Test {
 protected:
  Storm() {
    for (const char* name : {"memory", "robotmodel", "motion", "leds", "signsandfeedback"}) {
      fLoader.load(std::string(ROBOT_MODULE_DIRECTORY "/lib") + name + ".so");
    }
    EXPECT_TRUE(fLoader.waitUntilAllStand()) << fLoader.failure().text;
    fLeds = fSession->find("HBLeds");
  }
  ~Storm() override {
    fIsOver = true;
    for (auto& thread : fThreads) thread.join();
  }

  /// Calls rows in an order of its own until the storm is over.
  void callAll(unsigned seed) {
    std::mt19937 random(seed);
    while (!fIsOver) call(random() % fRows.size());
  }
  void call(std::size_t row) {
    try {
      fLeds.callDynamic(fRows[row].method, fRows[row].args);
      ++fCalls[row];
    } catch (const std::exception& error) {
      ADD_FAILURE() << fRows[row].method << ": " << error.what();
    }
  }
  void createGroups() {
    for (int i = 0; !fIsOver; ++i) {
      fLeds.call("createGroup", "Group" + std::to_string(i % 3),
                 std::vector<std::string>{i % 2 ? "EarLeds" : "FaceLeds"});
      ++fGroupsCreated;
    }
  }
  void rotateUntilStopped() {
    const xo::CallScope scope(nullptr, &fStop);
    fLeds.call("rotateEyes", 0xffffff, 0.04F, 86400.0F);
  }
  void switchOff(int times) {
    for (int i = 0; i < times; ++i) fLeds.call("off", "FaceLeds");
  }

  const std::shared_ptr<xo::Session> fSession = std::make_shared<xo::Session>();
  OutputTap fTap{std::cout};
  ModuleLoader fLoader{HB::HBBroker::create(fSession, {{"model", "models/vanto.xml"}}), fTap};
  xo::Object fLeds;
  const std::vector<Command> fRows = everyCommand();
  std::array<std::atomic<int>, 64> fCalls{};
  std::atomic<int> fGroupsCreated{0};
  std::atomic<bool> fIsOver{false};
  xo::StopFlag fStop;
  std::vector<std::thread> fThreads;
};

TEST_F(Storm, NamesEveryRowOfTheTable) {
  std::map<std::string, int> listed;
  std::map<std::string, int> published;
  for (const auto& row : fRows) ++listed[row.method];
  for (const auto& method : fLeds.describe().methods) ++published[method.doc.name];
  EXPECT_EQ(listed, published);
  EXPECT_EQ(fRows.size(), 35u);
}

TEST_F(Storm, OfAllMethodsFromEightThreadsTearsNothing) {
  for (unsigned seed = 1; seed <= 6; ++seed) fThreads.emplace_back([this, seed] { callAll(seed); });
  fThreads.emplace_back([this] { createGroups(); });
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(STORM_SECONDS);
  do {  // this thread is the eighth, and calls each row at least once
    for (std::size_t row = 0; row < fRows.size(); ++row) call(row);
  } while (std::chrono::steady_clock::now() < end);
  fIsOver = true;
  for (auto& thread : fThreads) thread.join();
  fThreads.clear();
  EXPECT_GT(fGroupsCreated, 0);
  for (std::size_t row = 0; row < fRows.size(); ++row)
    EXPECT_GT(fCalls[row], 0) << fRows[row].method;
  for (const char* still :
       {"_stopPassiveBlinking", "_stopEyesRotationASR", "_stopEarsRotationASR"}) {
    fLeds.call(still);
  }
  fLeds.call("off", "AllLeds");
  EXPECT_EQ(fLeds.call<HBValue>("getIntensity", "ChestLedsRed"), HBValue::list({0.0F}));
}

TEST_F(Storm, KeepsNoOffBehindACreateGroupThatWaitsForAnEndlessAnimation) {
  std::thread rotation([this] { rotateUntilStopped(); });
  fThreads.emplace_back([this] { createGroups(); });
  // Until the rotation has its lock, groups are created; from then on none is, and "off" goes on.
  int before = -1;
  const auto giveUp = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  while (fGroupsCreated != before && std::chrono::steady_clock::now() < giveUp) {
    before = fGroupsCreated;
    switchOff(200);
  }
  EXPECT_EQ(fGroupsCreated, before);
  fStop.raise();
  rotation.join();
}

}  // namespace
}  // namespace tavro
