// A robot in a process of its own, and ledctl as people use it.
#pragma once

#include <string>
#include <vector>

#include "tests/system/process.h"

namespace tests {

std::string tavroProgram();
std::string ledctlProgram();
/// The file of a module made for tests: "standing_module".
std::string testModule(const std::string& name);

/// Runs until destroyed, on a free port and a Unix socket of its own.
class Robot {
 public:
  /// Returns when the robot is ready. `more` options for it; `environment` as for `Process`.
  explicit Robot(const std::string& model = "models/vanto.xml",
                 const std::vector<std::string>& more = {},
                 const std::vector<std::string>& environment = {});

  /// "127.0.0.1:PORT".
  const std::string& address() const { return fAddress; }
  std::string socket() const { return fFolder.file("robot.sock"); }
  const std::string& readyLine() const { return fReady; }
  Process& process() { return fProcess; }
  pid_t pid() const { return fProcess.pid(); }

  /// ledctl with these words, connected to this robot.
  Outcome ledctl(const std::vector<std::string>& words) const;
  std::vector<std::string> ledctlCommand(const std::vector<std::string>& words) const;

 private:
  TemporaryFolder fFolder;
  Process fProcess;
  std::string fAddress;
  std::string fReady;
};

/// The command that starts a robot on a free port and that Unix socket.
std::vector<std::string> robotCommand(const std::string& model, const std::string& socket,
                                      const std::vector<std::string>& more = {});

}  // namespace tests
