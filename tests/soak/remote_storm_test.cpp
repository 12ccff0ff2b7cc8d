// Every published method of the LED service at once, from many clients outside, on the real modules
// of a robot in this process, while clients come and go, watch, lend and change their minds. The
// thread sanitizer watches. REMOTE_STORM_SECONDS in the environment says for how long; with
// REMOTE_STORM_PLANT a method that clients call has a race.
#include <gmock/gmock.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <random>
#include <thread>

#include "access/access.h"
#include "access/test/temporary_folder.h"
#include "remote/client/robot_client.h"
#include "remote/server/server.h"
#include "tavro/module_loader.h"
#include "tavro/test/every_command.h"

namespace tests {
namespace {

using namespace std::chrono_literals;
using remote::RobotClient;
using tavro::Command;

constexpr float kDay = 86400;

std::chrono::seconds stormTime() {
  const char* const text = std::getenv("REMOTE_STORM_SECONDS");
  return std::chrono::seconds(text == nullptr ? STORM_SECONDS : std::stoi(text));
}

class RemoteStorm : public testing::Test {
 protected:
  RemoteStorm() {
    for (const char* name : {"memory", "robotmodel", "motion", "leds", "signsandfeedback"}) {
      fLoader.load(std::string(ROBOT_MODULE_DIRECTORY "/lib") + name + ".so");
    }
    EXPECT_TRUE(fLoader.waitUntilAllStand()) << fLoader.failure().text;
    xo::ObjectBuilder builder;
    builder.add(xo::makeMethod<void()>({"count", "", {}, {}, {}}, [this] {
      if (!fIsPlanted) return;
      // The planted race needs two threads in here: a call that keeps its thread for some
      // milliseconds makes the server let another one receive.
      std::this_thread::sleep_for(5ms);
      ++fCounted;
    }));
    fPlanted = fSession->registerService("Planted", std::move(builder));
  }
  ~RemoteStorm() override {
    end();
    fServer.stop();
    fLoader.unloadAll();
  }

  remote::Server::Options anywhere() const {
    remote::Server::Options options;
    options.listen = "127.0.0.1:0";
    options.unixPath = fFolder.file("robot.sock");
    return options;
  }
  std::unique_ptr<RobotClient> connect(const std::string& name) const {
    const bool isByPort = fConnections++ % 2 == 0;
    return RobotClient::connect(
        isByPort ? fServer.tcpAddress() : "unix:" + fServer.unixPath(),
        {.clientName = name + std::to_string(fConnections), .timeout = 60s});
  }
  /// Begins a client that does the same thing over and over.
  void begin(const char* name, std::function<void(RobotClient&, std::mt19937&)> step) {
    fThreads.emplace_back([this, name, step = std::move(step), seed = fThreads.size()] {
      std::mt19937 random(static_cast<unsigned>(seed));
      const auto robot = connect(name);
      while (!fIsOver) attempt(name, [&] { step(*robot, random); });
    });
  }
  template <class F>
  void attempt(const char* name, F step) {
    try {
      step();
      ++fSteps;
    } catch (const remote::RemoteError& error) {
      if (error.fault() != remote::RemoteError::Fault::kCancelled) {
        ADD_FAILURE() << name << ": " << error.what();
      }
    } catch (const std::exception& error) {
      ADD_FAILURE() << name << ": " << error.what();
    }
  }
  void end() {
    fIsOver = true;
    fOver.cancel();
    for (auto& thread : fThreads) thread.join();
    fThreads.clear();
  }

  void callAny(RobotClient& robot, std::mt19937& random) {
    const auto row = random() % fRows.size();
    remote::CallOptions options;
    if (random() % 2 == 0) options.completion = remote::Completion::kFinished;
    robot.call("HBLeds", fRows[row].method, fRows[row].args, options);
    ++fCalls[row];
    robot.call("Planted", "count", {});
  }
  static void changeMind(RobotClient& robot, std::mt19937& random) {
    const std::vector<HB::HBValue> fade{"FaceLeds", 0.5F, kDay};
    auto kept = robot.start("HBLeds", "fade", fade).future;
    auto dropped = robot.start("HBLeds", "fade", fade).future;
    dropped.reset();
    kept->cancel();
    kept->wait();
    const std::vector<HB::HBValue> turn{0xff00ff, 0.01F, kDay};
    remote::CallOptions options;
    options.timeout = std::chrono::milliseconds(random() % 20);
    robot.call("HBLeds", "rotateEyes", turn, options);
  }
  void look(RobotClient& robot, std::mt19937& random) const {
    int left = static_cast<int>(random() % 4);
    robot.watch(
        "*", [&](const auto&) { return left-- > 0; }, fOver);
    robot.watchServices([](const auto&) { return false; });
    robot.calls();
    robot.info();
    robot.describe("HBLeds");
  }
  void comeAndGo(RobotClient& robot, std::mt19937& random) const {
    const auto guest = connect("guest");
    guest->call("HBLeds", "off", std::vector<HB::HBValue>{"AllLeds"});
    xo::ObjectBuilder builder;
    builder.add(xo::makeMethod<int(int)>({"next", "", {}, {}, {}}, [](int n) { return n + 1; }));
    const std::string name = "Lent" + std::to_string(random());
    const auto lending = guest->lend(name, std::move(builder));
    robot.call(name, "next", std::vector<HB::HBValue>{1});
  }

  const door::TemporaryFolder fFolder;
  const std::shared_ptr<xo::Session> fSession = std::make_shared<xo::Session>();
  const std::shared_ptr<HB::HBBroker> fBroker =
      HB::HBBroker::create(fSession, {{"model", "models/vanto.xml"}});
  door::Access fAccess{fSession};
  remote::Server fServer{fAccess, anywhere()};
  tavro::OutputTap fTap{std::cout};
  tavro::ModuleLoader fLoader{fBroker, fTap};
  const std::vector<Command> fRows = tavro::everyCommand();
  const bool fIsPlanted = std::getenv("REMOTE_STORM_PLANT") != nullptr;
  int fCounted = 0;
  std::unique_ptr<xo::Session::Registration> fPlanted;
  std::array<std::atomic<int>, 64> fCalls{};
  std::atomic<int> fSteps{0};
  mutable std::atomic<int> fConnections{0};
  std::atomic<bool> fIsOver{false};
  const remote::CancelToken fOver;
  std::vector<std::thread> fThreads;
};

TEST_F(RemoteStorm, OfAllMethodsFromManyClientsTearsNothing) {
  const auto over = std::chrono::steady_clock::now() + stormTime();
  for (int i = 0; i < 6; ++i) {
    begin("caller", [this](auto& robot, auto& random) { callAny(robot, random); });
  }
  begin("cancels", [](auto& robot, auto& random) { changeMind(robot, random); });
  begin("watches", [this](auto& robot, auto& random) { look(robot, random); });
  begin("guests", [this](auto& robot, auto& random) { comeAndGo(robot, random); });
  const auto robot = connect("each");
  do {  // this thread calls each row at least once
    for (std::size_t row = 0; row < fRows.size(); ++row) {
      attempt("each", [&] { robot->call("HBLeds", fRows[row].method, fRows[row].args); });
      ++fCalls[row];
    }
  } while (std::chrono::steady_clock::now() < over);
  end();
  int calls = 0;
  for (std::size_t row = 0; row < fRows.size(); ++row) calls += fCalls[row];
  std::cout << calls << " calls, " << fSteps << " steps, " << fConnections << " connections\n";
  for (const char* still :
       {"_stopPassiveBlinking", "_stopEyesRotationASR", "_stopEarsRotationASR"}) {
    robot->call("HBLeds", still, {});
  }
  robot->call("HBLeds", "off", std::vector<HB::HBValue>{"AllLeds"});
  EXPECT_EQ(robot->readMemory("Device/SubDeviceList/ChestBoard/Led/Red/Actuator/Value"),
            HB::HBValue(0.0F));
  EXPECT_THAT(robot->calls().running, testing::IsEmpty());
}

}  // namespace
}  // namespace tests
