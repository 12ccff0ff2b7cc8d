// The examples of docs/remote.md, compiled and run as they are printed there.
#include <gmock/gmock.h>

#include <fstream>
#include <iostream>
#include <sstream>

#include "framework/hb/hb_broker.h"
#include "remote/client/remote_session.h"
#include "remote/test/test_robot.h"

namespace {

using remote::TestRobot;

/// The LEDs as far as the examples use them.
class Leds {
 public:
  explicit Leds(xo::Session& session) {
    xo::ObjectBuilder builder;
    builder.add(xo::makeMethod<void(const std::string&, float)>(
        {"setIntensity", "", {}, {}, {}},
        [this](const std::string&, float given) { intensity = given; }));
    builder.add(xo::makeMethod<xo::Future<void>(const std::string&, float, float)>(
        {"fade", "", {}, {}, {}}, [this](const std::string&, float, float) {
          ++fades;
          xo::Promise<void> promise;
          promise.onCancel([this] { ++cancelled; });
          kept.push_back(promise);
          return promise.future();
        }));
    registration = session.registerService("HBLeds", std::move(builder));
  }
  std::atomic<float> intensity{0.0F};
  std::atomic<int> fades{0};
  std::atomic<int> cancelled{0};
  std::vector<xo::Promise<void>> kept;
  std::unique_ptr<xo::Session::Registration> registration;
};

TEST(RemoteDocs, TheSessionExampleRuns) {
  TestRobot robot;
  Leds service(*robot.session);
  const std::string address = robot.server->tcpAddress();
  const auto broker = HB::HBBroker::create(remote::connect(address));
  const auto leds = broker->getProxy("HBLeds");
  leds->call("setIntensity", "ChestLeds", 0.5F);
  const auto fade = leds->call<xo::Future<void>>("fade", "FaceLeds", 1.0F, 60.0F);
  if (!fade.wait(10)) fade.cancel();
  EXPECT_EQ(service.intensity, 0.5F);
  EXPECT_TRUE(remote::comesTrue([&] { return service.cancelled == 1; }));
}

TEST(RemoteDocs, TheLendingExampleRuns) {
  TestRobot robot;
  const std::string address = robot.server->tcpAddress();
  std::atomic<float> deskLevel{0.0F};
  const auto session = remote::RemoteSession::connect(address);
  xo::ObjectBuilder lamp;
  lamp.setDescription("The lamp on the desk.");
  lamp.add(xo::makeMethod<void(float)>(
      {"dim", "Sets the level.", {{"level", "From 0 to 1."}}, std::nullopt, {}},
      [&](float level) { deskLevel = level; }));
  const auto lending = session->lend("Lamp", std::move(lamp));
  robot.session->find("Lamp").call("dim", 0.25F);
  EXPECT_EQ(deskLevel, 0.25F);
}

TEST(RemoteDocs, TheClientExamplesRun) {
  TestRobot server;
  Leds service(*server.session);
  const std::string address = server.server->tcpAddress();
  const auto robot = remote::RobotClient::connect(address, {"my-tool", std::chrono::seconds(5)});
  const std::vector<HB::HBValue> arguments{"FaceLeds", 1.0F, 60.0F};
  auto started = robot->start("HBLeds", "fade", arguments);
  started.future->cancel();
  for (const auto& call : robot->calls().ended)
    std::cout << call.service << "." << call.method << "\n";
  EXPECT_EQ(service.fades, 1);
  robot->watchServices([&](const std::vector<remote::ServiceInfo>& services) {
    return services.size() < 3;  // true: go on
  });
}

std::string textOf(const char* file) {
  std::ifstream stream(file);
  std::ostringstream text;
  text << stream.rdbuf();
  return text.str();
}

/// Without spaces and line breaks, which the formatter may set otherwise.
std::string bare(const std::string& text) {
  std::string made;
  for (const char c : text) {
    if (c != ' ' && c != '\n') made += c;
  }
  return made;
}

TEST(RemoteDocs, EveryExampleThatIsPrintedStandsInThisFile) {
  const std::string docs = textOf("docs/remote.md");
  const std::string code = bare(textOf("remote/test/docs_test.cpp"));
  const std::string begin = "```cpp\n";
  int examples = 0;
  for (auto at = docs.find(begin); at != std::string::npos; at = docs.find(begin, at + 1)) {
    const auto start = at + begin.size();
    const std::string example = docs.substr(start, docs.find("```", start) - start);
    EXPECT_NE(code.find(bare(example)), std::string::npos) << example;
    ++examples;
  }
  EXPECT_EQ(examples, 4);
}

}  // namespace
