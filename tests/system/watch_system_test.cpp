// What watching a robot's whole memory costs the robot: real processes.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <iostream>
#include <list>
#include <string>
#include <thread>
#include <vector>

#include "remote/client/robot_client.h"
#include "remote/test/deaf_watch.h"
#include "tests/system/robot.h"

namespace tests {
namespace {

constexpr int kKeys = 10000;
constexpr std::size_t kTextBytes = 10000;

/// What the process holds of memory, in KiB.
long residentKib(pid_t pid) {
  std::ifstream status("/proc/" + std::to_string(pid) + "/status");
  for (std::string word; status >> word;) {
    if (word == "VmRSS:" && status >> word) return std::stol(word);
  }
  return -1;
}

std::string keyOf(int number) { return "Big/" + std::to_string(100000 + number); }

/// Fills the memory with 100 MB of texts.
void fill(remote::RobotClient& client) {
  constexpr int kAtOnce = 100;
  for (int first = 0; first < kKeys; first += kAtOnce) {
    std::vector<std::string> keys;
    for (int i = 0; i < kAtOnce; ++i) keys.push_back(keyOf(first + i));
    const HB::HBValue args[] = {
        HB::HBValue(keys), HB::HBValue(HB::HBValue::List(kAtOnce, std::string(kTextBytes, 'x')))};
    client.call("HBMemory", "insertDataBatch", args);
  }
}

TEST(Tavro, WatchesThatAreNeverReadCostAMebibyteEachHoweverMuchThereIsAndDelayNobody) {
  constexpr int kDeaf = 16;
  const Robot robot;
  const auto client = remote::RobotClient::connect(robot.address(), {"other"});
  fill(*client);
  std::size_t found = 0;
  client->watch("Big/*", [&](const remote::WatchBatch& batch) {
    found = batch.items.size();
    return false;
  });
  EXPECT_EQ(found, static_cast<std::size_t>(kKeys)) << "who reads gets all";

  const long before = residentKib(robot.pid());
  std::list<remote::DeafWatch> deaf;
  for (int i = 0; i < kDeaf; ++i) deaf.emplace_back(robot.address());
  std::chrono::steady_clock::duration slowest{0};
  int round = 0;
  long most = before;
  client->watch(keyOf(kKeys - 1), [&](const remote::WatchBatch& batch) {
    EXPECT_EQ(batch.items.size(), 1u);
    EXPECT_TRUE(round == 0 || batch.items[0].second == HB::HBValue(round));
    most = std::max(most, residentKib(robot.pid()));
    const HB::HBValue args[] = {keyOf(kKeys - 1), ++round};
    const auto start = std::chrono::steady_clock::now();
    client->call("HBMemory", "insertData", args);
    slowest = std::max(slowest, std::chrono::steady_clock::now() - start);
    return round < 100;
  });
  EXPECT_LT(most - before, kDeaf * 1024);
  std::cout << kDeaf << " watches of 100 MB that are never read cost " << most - before
            << " KiB; another client's slowest write took "
            << std::chrono::duration_cast<std::chrono::microseconds>(slowest).count() << " us\n";
}

}  // namespace
}  // namespace tests
