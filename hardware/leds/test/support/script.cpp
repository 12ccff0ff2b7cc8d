#include "hardware/leds/test/support/script.h"

#include <gtest/gtest.h>

#include <chrono>
#include <utility>

namespace HB::test {

void Script::device(const std::string& name, float intensity) {
  add({{key(name)}, {{0.0F}}, {{fInventory.info(name).intensityRatio * intensity}}});
}

void Script::led(const std::string& name, float intensity) {
  for (const auto& one : fInventory.fLedNameToDevices().at(name)) device(one, intensity);
}

void Script::group(const std::string& name, float intensity) {
  const auto& groups = fInventory.fGroupToDevices();
  const auto found = groups.find(name);
  if (found == groups.end()) return;
  RecordingMotion::Write write;
  for (const auto& one : found->second) {
    write.keys.push_back(key(one));
    write.times.push_back({0.0F});
    write.values.push_back({fInventory.info(one).intensityRatio * intensity});
  }
  add(std::move(write));
}

void Script::reset(const std::string& group) {
  for (const auto& one : fInventory.fGroupToDevices().at(group)) {
    device(one, fInventory.info(one).defaultIntensity);
  }
}

void Script::colors(const std::string& group, const std::vector<Step>& steps) {
  const auto& groups = fInventory.fGroupToDevices();
  const auto found = groups.find(group);
  if (found == groups.end()) return;
  RecordingMotion::Write write;
  for (const auto& one : found->second) {
    std::vector<float> times;
    std::vector<float> values;
    for (const auto& step : steps) {
      const bool isRed = one.find("Red") != std::string::npos;
      const bool isGreen = one.find("Green") != std::string::npos;
      times.push_back(step.seconds);
      values.push_back(fInventory.info(one).intensityRatio * (isRed     ? step.red
                                                              : isGreen ? step.green
                                                                        : step.blue));
    }
    write.keys.push_back(key(one));
    write.times.push_back(times);
    write.values.push_back(values);
  }
  add(std::move(write));
}

std::vector<TimedWrite> timed(const RecordingMotion& motion, xo::TimePoint start) {
  const auto writes = motion.writes();
  const auto instants = motion.instants();
  std::vector<TimedWrite> all;
  for (std::size_t i = 0; i < writes.size(); ++i) {
    const auto since = instants.at(i) - start;
    all.push_back(
        {writes[i], std::chrono::duration_cast<std::chrono::milliseconds>(since).count()});
  }
  return all;
}

std::vector<TimedWrite> untimed(const std::vector<RecordingMotion::Write>& writes) {
  std::vector<TimedWrite> all;
  for (const auto& write : writes) all.push_back({write, 0});
  return all;
}

std::vector<TimedWrite> untimed(std::vector<TimedWrite> writes) {
  for (auto& one : writes) one.atMs = 0;
  return writes;
}

std::string difference(const std::vector<TimedWrite>& expected,
                       const std::vector<TimedWrite>& actual) {
  const auto text = [](const std::vector<TimedWrite>& writes, std::size_t i) {
    return i >= writes.size() ? "nothing"
                              : ::testing::PrintToString(writes[i].write) + " at " +
                                    std::to_string(writes[i].atMs) + " ms";
  };
  for (std::size_t i = 0; i < expected.size() || i < actual.size(); ++i) {
    if (i < expected.size() && i < actual.size() && expected[i] == actual[i]) continue;
    return "write " + std::to_string(i + 1) + "\n  expected " + text(expected, i) +
           "\n  but was  " + text(actual, i);
  }
  return "";
}

}  // namespace HB::test
