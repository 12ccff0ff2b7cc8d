#include "tools/ledctl/examine.h"

#include <algorithm>
#include <exception>

#include "tools/ledctl/commands.h"
#include "tools/ledctl/doctor.h"
#include "tools/ledctl/progress.h"
#include "tools/ledctl/status.h"
#include "tools/ledctl/usage_error.h"

namespace ledctl {

namespace {

using remote::RemoteError;

void askInfo(remote::RobotClient& robot, RobotFacts& facts) {
  const auto info = robot.info();
  facts.name = info.name;
  facts.version = info.softwareVersion;
  facts.protocol = std::to_string(info.protocolMajor) + '.' + std::to_string(info.protocolMinor);
  facts.uptime = info.uptime;
  facts.isReady = info.isReady;
  facts.role = info.role;
  facts.modules = info.modules;
  facts.services = info.services;
  facts.limits = info.limits;
}

void askCalls(remote::RobotClient& robot, RobotFacts& facts) {
  try {
    for (const auto& call : robot.calls().running) {
      facts.calls.push_back(
          {call.id, call.client, call.peer, call.service, call.method, call.duration});
    }
  } catch (const RemoteError& error) {
    // A robot that does not tell this client is no reason to tell nothing.
    if (error.fault() != RemoteError::Fault::kRefused) throw;
  }
}

/// Asks everything; returns the status that a failure on the way means.
int ask(const Options& options, RobotFacts& facts) {
  try {
    const auto robot = connect(options, std::chrono::seconds(5));
    askInfo(*robot, facts);
    askCalls(*robot, facts);
    return kDone;
  } catch (const UsageError&) {
    throw;
  } catch (const RemoteError& error) {
    facts.failure = error.what();
    facts.advice = error.advice();
    return error.isNotReached() ? kNotReached : kCallFailed;
  } catch (const std::exception& error) {
    facts.failure = error.what();
    return kCallFailed;
  }
}

}  // namespace

int examine(const Options& options, std::ostream& out, std::ostream& hints) {
  RobotFacts facts;
  facts.address = addressOf(options);
  facts.source = options.robotSource.empty() ? "nowhere: it is where a robot of yours listens"
                                             : options.robotSource;
  facts.clientVersion = TAVRO_VERSION;
  int status = kDone;
  {
    const Progress progress(hints, thisTerminal(options.plain).canProgress,
                            "Asking " + facts.address);
    status = ask(options, facts);
  }
  const auto problems = problemsOf(facts);
  out << (options.json ? doctorJson(facts, problems) + '\n' : doctorText(facts, problems));
  return status == kDone && !problems.empty() ? kCallFailed : status;
}

}  // namespace ledctl
