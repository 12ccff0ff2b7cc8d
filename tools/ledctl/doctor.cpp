#include "tools/ledctl/doctor.h"

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>
#include <string_view>

#include "tools/ledctl/print.h"

namespace ledctl {

namespace {

using Json = nlohmann::ordered_json;

/// What a whole robot has, with what brings each back.
struct Part {
  std::string_view service;
  std::string_view module;
  std::string_view meaning;  // of its absence
};
constexpr std::array<Part, 5> kParts{{
    {"HBMemory", "memory", "no value can be read"},
    {"HBRobotModel", "robotmodel", "nothing knows which LEDs there are"},
    {"HBMotion", "motion", "no LED changes"},
    {"HBSignsAndFeedback", "signsandfeedback", "no sign is shown"},
    {"HBLeds", "leds", "there are no commands for LEDs"},
}};
constexpr std::chrono::minutes kLong{10};

bool has(const std::vector<std::string>& names, std::string_view name) {
  return std::ranges::find(names, name) != names.end();
}

std::string joined(const std::vector<std::string>& names) {
  std::string text;
  for (const auto& name : names) text += (text.empty() ? "" : " ") + name;
  return text.empty() ? "none" : text;
}

std::string line(const char* name, const std::string& text) {
  std::string padded = name;
  padded.resize(10, ' ');
  return padded + harmless(text) + '\n';
}

std::string callText(const RunningCall& call) {
  return '#' + std::to_string(call.id) + ' ' + call.service + ' ' + call.method + ", by " +
         call.client + " (" + call.peer + "), for " +
         durationText(std::chrono::duration_cast<std::chrono::milliseconds>(call.duration));
}

/// A line each: there are many.
std::string limitText(const RobotFacts& facts) {
  std::string text;
  for (const auto& [name, most] : facts.limits) {
    text += line(text.empty() ? "limits" : "", name + ' ' + std::to_string(most));
  }
  return text;
}

Problem missing(const Part& part, const RobotFacts& facts) {
  const std::string service(part.service);
  const std::string module(part.module);
  const bool isComing = has(facts.modules, module);
  std::string what = "There is no " + service + ": " + std::string(part.meaning) + ".";
  if (isComing) {
    return {what, "Its module is being loaded, or waits for another; the robot's log tells."};
  }
  return {what, "Lend one, or: ledctl --service HBHost loadModule " + module};
}

}  // namespace

std::string durationText(std::chrono::milliseconds time) {
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time).count();
  const auto two = [](long long large, const char* unit, long long small, const char* rest) {
    return std::to_string(large) + ' ' + unit + ' ' + std::to_string(small) + ' ' + rest;
  };
  if (seconds >= 86400) return two(seconds / 86400, "d", seconds / 3600 % 24, "h");
  if (seconds >= 3600) return two(seconds / 3600, "h", seconds / 60 % 60, "min");
  if (seconds >= 60) return two(seconds / 60, "min", seconds % 60, "s");
  return std::to_string(seconds) + '.' + std::to_string(time.count() / 100 % 10) + " s";
}

std::vector<Problem> problemsOf(const RobotFacts& facts) {
  if (!facts.failure.empty()) {
    const std::string start = "The address comes from " + facts.source +
                              ". To start a robot here: tavro (or 'make run').";
    return {{facts.failure, facts.advice.empty() ? start : facts.advice + ' ' + start}};
  }
  std::vector<Problem> problems;
  if (facts.version != facts.clientVersion) {
    problems.push_back(
        {"The robot is version " + facts.version + ", ledctl is " + facts.clientVersion + ".",
         "What one of them has may be new to the other: use the same."});
  }
  if (!facts.isReady) {
    problems.push_back({"The robot is not ready: not every module stands.",
                        "It may still be starting; else its log tells what it waits for."});
  }
  for (const auto& part : kParts) {
    if (!has(facts.services, part.service)) problems.push_back(missing(part, facts));
  }
  for (const auto& call : facts.calls) {
    if (call.duration < kLong) continue;
    problems.push_back({"A call has been running for long: " + callText(call) + '.',
                        "Where it was started, Ctrl-C stops it."});
  }
  return problems;
}

std::string doctorText(const RobotFacts& facts, const std::vector<Problem>& problems) {
  std::string text =
      line("robot", facts.name.empty() ? facts.address : facts.name + " at " + facts.address);
  text += line("address", "from " + facts.source);
  if (facts.failure.empty()) {
    text += line("versions", "robot " + facts.version + ", ledctl " + facts.clientVersion +
                                 ", protocol " + facts.protocol);
    text += line("up", durationText(facts.uptime) + (facts.isReady ? ", ready" : ", not ready"));
    if (!facts.role.empty()) text += line("you are", facts.role);
    text += line("modules", joined(facts.modules));
    text += line("services", joined(facts.services));
    text += line("calls", facts.calls.empty() ? "none is running" : callText(facts.calls.front()));
    for (std::size_t i = 1; i < facts.calls.size(); ++i) text += line("", callText(facts.calls[i]));
    text += limitText(facts);
  }
  text += '\n';
  if (problems.empty()) return text + "All is well.\n";
  for (const auto& problem : problems) {
    text += "WRONG: " + harmless(problem.what) + "\n       " + harmless(problem.advice) + '\n';
  }
  return text;
}

std::string doctorJson(const RobotFacts& facts, const std::vector<Problem>& problems) {
  Json json{{"address", facts.address},
            {"source", facts.source},
            {"reached", facts.failure.empty()},
            {"ledctl", facts.clientVersion}};
  if (facts.failure.empty()) {
    json.update(Json{{"name", facts.name},
                     {"version", facts.version},
                     {"protocol", facts.protocol},
                     {"uptimeMs", facts.uptime.count()},
                     {"ready", facts.isReady},
                     {"role", facts.role},
                     {"modules", facts.modules},
                     {"services", facts.services},
                     {"calls", Json::array()},
                     {"limits", Json::object()}});
    for (const auto& call : facts.calls) {
      json["calls"].push_back({{"id", call.id},
                               {"client", call.client},
                               {"peer", call.peer},
                               {"service", call.service},
                               {"method", call.method},
                               {"durationUs", call.duration.count()}});
    }
    for (const auto& [name, most] : facts.limits) json["limits"][name] = most;
  }
  json["problems"] = Json::array();
  for (const auto& problem : problems) {
    json["problems"].push_back({{"what", problem.what}, {"advice", problem.advice}});
  }
  json["ok"] = problems.empty();
  return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace ledctl
