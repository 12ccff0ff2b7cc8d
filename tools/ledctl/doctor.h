// What a robot is like and what is wrong with it: what `ledctl doctor` makes of what it was told.
// Pure functions.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace ledctl {

/// A call that the robot is at.
struct RunningCall {
  std::uint64_t id = 0;
  std::string client;
  std::string peer;  // "ipv4:127.0.0.1:40112", "unix:"
  std::string service;
  std::string method;
  std::chrono::microseconds duration{0};
};

/// What was found out. Without a connection only the first three are set, and `failure`.
struct RobotFacts {
  std::string address;
  std::string source;         // where the address comes from: "--robot", "LEDCTL_ROBOT", ...
  std::string clientVersion;  // of this program
  std::string failure;        // why there is no connection; "" when there is one
  std::string advice;         // what helps against it; may be empty
  std::string name;
  std::string version;
  std::string protocol;  // "1.3"
  std::chrono::milliseconds uptime{0};
  bool isReady = false;
  std::string role;                                           // "operator", "viewer"
  std::vector<std::string> modules;                           // in the order of loading
  std::vector<std::string> services;                          // ascending
  std::vector<std::pair<std::string, std::uint64_t>> limits;  // name and how much is allowed
  std::vector<RunningCall> calls;
};

/// Something wrong, and what to do about it.
struct Problem {
  std::string what;
  std::string advice;
  bool operator==(const Problem&) const = default;
};

/// Empty when all is well.
std::vector<Problem> problemsOf(const RobotFacts& facts);

/// For people; ends with the problems, or with the word that there are none.
std::string doctorText(const RobotFacts& facts, const std::vector<Problem>& problems);
/// One object on one line: the facts, "problems" ("what" and "advice" each), and "ok".
std::string doctorJson(const RobotFacts& facts, const std::vector<Problem>& problems);

/// "2 d 3 h", "4 min 5 s", "0.7 s".
std::string durationText(std::chrono::milliseconds time);

}  // namespace ledctl
