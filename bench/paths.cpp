// Five paths of the robot, each run as often as asked, for counting instructions: what a call costs
// is the difference of two counts divided by that of the calls.
//
//     paths NAME CALLS
#include <chrono>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <map>
#include <string>
#include <vector>

#include "access/access.h"
#include "bench/whole_robot.h"
#include "remote/proto/convert.h"
#include "services/motion/src/animator.h"
#include "services/motion/src/memory_driver.h"

namespace bench {
namespace {

constexpr int kDevices = 100;

/// From a caller in the process to motion's key frames.
void fadeRGB(int calls) {
  const WholeRobot robot;
  const auto leds = robot.services.find("HBLeds");
  const std::string group = "FaceLeds";
  for (int i = 0; i < calls; ++i) {
    const auto left = 1e6f - 0.0625f * static_cast<float>(i);  // each replaces the one before
    leds.call<xo::Future<void>>("fadeRGB", group, 1.0f, 0.5f, 0.0f, left);
  }
}

/// From the door of the robot to the value in its memory: one device.
void setIntensityThroughTheDoor(int calls) {
  const WholeRobot robot;
  door::Access access(robot.services.broker()->getSession());
  const door::Client client{"bench", "unix:", "grpc"};
  const std::vector<HB::HBValue> args{"Face/Led/Red/Left/0Deg/Actuator/Value", 0.5f};
  for (int i = 0; i < calls; ++i) access.call(client, "HBLeds", "setIntensity", args);
}

/// A call's request and reply, from bytes to values and back.
void wire(int calls) {
  tavro::v1::CallRequest request;
  request.set_service("HBLeds");
  request.set_method("setIntensity");
  remote::toWire("Face/Led/Red/Left/0Deg/Actuator/Value", request.add_args());
  remote::toWire(0.5f, request.add_args());
  const std::string bytes = request.SerializeAsString();
  for (int i = 0; i < calls; ++i) {
    tavro::v1::CallRequest read;
    read.ParseFromString(bytes);
    std::vector<HB::HBValue> args;
    for (const auto& arg : read.args()) args.push_back(remote::fromWire(arg));
    tavro::v1::CallReply reply;
    remote::toWire(args.back(), reply.mutable_value());
    reply.SerializeAsString();
  }
}

std::vector<std::string> keys() {
  std::vector<std::string> all;
  for (int i = 0; i < kDevices; ++i) {
    all.push_back("Device/SubDeviceList/Led/" + std::to_string(1000 + i) + "/Actuator/Value");
  }
  return all;
}

/// A tick of a hundred moving channels, into the memory.
void tick(int calls) {
  const WholeRobot robot;
  const auto memory = robot.services.broker()->getSpecialisedProxy<HB::HBMemoryProxy>("HBMemory");
  HB::MemoryDriver driver(memory, keys());
  HB::Animator animator{std::vector<float>(kDevices, 0.0f)};
  HB::Microseconds now = 1e12;
  for (int channel = 0; channel < kDevices; ++channel) {
    animator.add(channel, now, std::vector<float>{1e6f}, std::vector<float>{1.0f});
  }
  for (int i = 0; i < calls; ++i) {
    const auto changes = animator.advance(now += 10'000);
    driver.write(changes.channels, changes.values);
  }
}

/// What changed since, for somebody who follows a hundred keys.
void follow(int calls) {
  const WholeRobot robot;
  const auto memory = robot.services.broker()->getSpecialisedProxy<HB::HBMemoryProxy>("HBMemory");
  const auto handles = memory->floatHandles(keys());
  const int subscription = memory->subscribe("Led/*", [] {});
  std::vector<float> values(kDevices);
  for (int i = 0; i < calls; ++i) {
    values.assign(values.size(), static_cast<float>(i % 2));
    memory->writeFloats(handles, values);
    memory->changes(subscription);
  }
  memory->unsubscribe(subscription);
}

const std::map<std::string, std::function<void(int)>> kPaths{
    {"fadeRGB", fadeRGB}, {"setIntensity", setIntensityThroughTheDoor},
    {"wire", wire},       {"tick", tick},
    {"follow", follow},
};

}  // namespace
}  // namespace bench

int main(int argc, char** argv) {
  const auto path = bench::kPaths.find(argc == 3 ? argv[1] : "");
  if (path == bench::kPaths.end()) {
    std::cerr << "usage: paths NAME CALLS, where NAME is one of";
    for (const auto& [name, run] : bench::kPaths) std::cerr << ' ' << name;
    std::cerr << '\n';
    return 2;
  }
  path->second(std::atoi(argv[2]));
  return 0;
}
