// Modules that come and go while the robot works.
#include <gmock/gmock.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>

#include "tests/system/robot.h"

namespace tests {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

const std::string kGreen = "Face/Led/Green/Left/0Deg/Actuator/Value";

class ModulesOfTheHost : public ::testing::Test {
 protected:
  void expectDone(const std::vector<std::string>& words) {
    const auto ended = fRobot.ledctl(words);
    EXPECT_EQ(ended.status, 0) << words.front() << ": " << ended.err;
  }
  Outcome host(const std::string& method, const std::string& name) {
    return fRobot.ledctl({"--service", "HBHost", method, name});
  }
  void start(const std::vector<std::string>& words) {
    fClients.push_back(std::make_unique<Process>(fRobot.ledctlCommand(words)));
  }
  bool isAnEarLit() const {
    return fRobot.ledctl({"watch", "Ears/*", "--count", "1"}).out.find("Value 0.5") !=
           std::string::npos;
  }
  std::string procFolder() const { return "/proc/" + std::to_string(fRobot.pid()); }
  std::string maps() const {
    std::ifstream file(procFolder() + "/maps");
    return {std::istreambuf_iterator<char>(file), {}};
  }
  long entriesOf(const std::string& folder) const {
    const std::filesystem::directory_iterator entries(procFolder() + "/" + folder);
    return std::distance(entries, {});
  }

  const Robot fRobot;
  std::vector<std::unique_ptr<Process>> fClients;
};

TEST_F(ModulesOfTheHost, GoWhileAllThatTheyDoIsUnderWayAndComeBack) {
  for (int round = 0; round < 10; ++round) {
    expectDone({"_setTimeBetweenTwoBlinks", "0", "0"});
    expectDone({"_startPassiveBlinking"});
    expectDone({"_startEyesRotationASR"});
    expectDone({"_startEarsRotationASR"});
    start({"rotateEyes", "0x00ff00", "0", "60"});
    start({"rotateEyes", "0x00ff00", "3600", "86400"});
    start({"earLedsSetAngle", "90", "86400", "true"});
    start({"rasta", "1e30"});
    start({"--wait", "fade", "BrainLeds", "1", "0.5"});
    EXPECT_TRUE(eventually([&] { return isAnEarLit(); }));
    ASSERT_THAT(maps(), HasSubstr("libleds.so"));

    const auto unloaded = host("unloadModule", "leds");
    EXPECT_EQ(unloaded.status, 0) << unloaded.err;
    EXPECT_THAT(maps(), Not(HasSubstr("libleds.so")));
    for (const auto& client : fClients) client->wait();
    fClients.clear();
    EXPECT_EQ(fRobot.ledctl({"on", "FaceLeds"}).status, 1);

    const auto loaded = host("loadModule", "leds");
    EXPECT_EQ(loaded.status, 0) << loaded.err;
    expectDone({"on", "FaceLeds"});
  }
}

TEST_F(ModulesOfTheHost, LeaveNoThreadAndNoDescriptorBehind) {
  const auto cycle = [&] {
    expectDone({"_startPassiveBlinking"});
    expectDone({"_startEyesRotationASR"});
    EXPECT_EQ(host("unloadModule", "leds").status, 0);
    EXPECT_EQ(host("loadModule", "leds").status, 0);
  };
  cycle();
  const long threads = entriesOf("task");
  const long descriptors = entriesOf("fd");
  for (int i = 0; i < 20; ++i) cycle();
  // The remote layer's own threads and connections come and go with the calls of this test.
  EXPECT_TRUE(eventually([&] { return entriesOf("task") <= threads + 1; })) << entriesOf("task");
  EXPECT_TRUE(eventually([&] { return entriesOf("fd") <= descriptors + 1; })) << entriesOf("fd");
}

TEST_F(ModulesOfTheHost, AreDrivenOnByTheOthersWhenTheyReturn) {
  expectDone({"off", "FaceLeds"});
  EXPECT_EQ(host("unloadModule", "motion").status, 0);
  expectDone({"on", "FaceLeds"});  // nobody to write to: done, and nothing happens
  EXPECT_EQ(fRobot.ledctl({"getIntensity", kGreen}).out, "0\n");
  EXPECT_EQ(host("loadModule", "motion").status, 0);
  expectDone({"on", "FaceLeds"});
  EXPECT_EQ(fRobot.ledctl({"getIntensity", kGreen}).out, "1\n");
}

TEST_F(ModulesOfTheHost, AreNamedWithoutPaths) {
  const auto refused = host("loadModule", "../tavro/libleds.so");
  EXPECT_EQ(refused.status, 1);
  EXPECT_THAT(refused.err, HasSubstr("there are: leds, memory, motion, robotmodel"));
}

TEST_F(ModulesOfTheHost, StopARotationWhenItsClientIsInterrupted) {
  Process client(fRobot.ledctlCommand({"rotateEyes", "0x00ff00", "0.1", "86400"}));
  EXPECT_TRUE(eventually([&] { return fRobot.ledctl({"getIntensity", kGreen}).out != "0\n"; }));
  client.signal(SIGINT);
  EXPECT_EQ(client.wait().status, 130);
  // The turn under way ends, its last fades run out to black, and it stays dark.
  EXPECT_TRUE(eventually([&] { return fRobot.ledctl({"getIntensity", kGreen}).out == "0\n"; }));
  const auto watched = fRobot.ledctl({"watch", "*" + kGreen, "--for", "0.5"});
  EXPECT_THAT(watched.out, ::testing::EndsWith("Value 0\n"));
}

}  // namespace
}  // namespace tests
