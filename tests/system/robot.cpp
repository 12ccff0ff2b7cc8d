#include "tests/system/robot.h"

#include <algorithm>

namespace tests {

std::string tavroProgram() { return TAVRO_PROGRAM; }
std::string ledctlProgram() { return LEDCTL_PROGRAM; }
std::string testModule(const std::string& name) {
  return std::string(TEST_MODULE_DIRECTORY "/lib") + name + ".so";
}

std::vector<std::string> robotCommand(const std::string& model, const std::string& socket,
                                      const std::vector<std::string>& more) {
  std::vector<std::string> command{tavroProgram(), "--model",  model, "--listen",
                                   "127.0.0.1:0",  "--socket", socket};
  if (std::ranges::find(more, "--page") == more.end()) {
    command.insert(command.end(), {"--page", "none"});
  }
  command.insert(command.end(), more.begin(), more.end());
  return command;
}

Robot::Robot(const std::string& model, const std::vector<std::string>& more,
             const std::vector<std::string>& environment)
    : fProcess(robotCommand(model, socket(), more), environment) {
  const std::string listening = fProcess.waitForLine("listening grpc=");
  fAddress = listening.substr(0, listening.find(' '));
  fReady = fProcess.waitForLine("ready ");
}

std::vector<std::string> Robot::ledctlCommand(const std::vector<std::string>& words) const {
  std::vector<std::string> command{ledctlProgram(), "--robot", fAddress};
  command.insert(command.end(), words.begin(), words.end());
  return command;
}

Outcome Robot::ledctl(const std::vector<std::string>& words) const {
  return run(ledctlCommand(words));
}

}  // namespace tests
