// What ledctl does with a robot, one operation a command.
#pragma once

#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "remote/client/robot_client.h"
#include "tools/ledctl/interrupt.h"
#include "tools/ledctl/options.h"

namespace ledctl {

/// Carries out one command line. Errors: UsageError; `remote::RemoteError`.
class Commands {
 public:
  /// Connects. All outlive this; results go to `out`, hints to `hints`.
  Commands(const Options& options, Interrupt& interrupt, std::ostream& out, std::ostream& hints);

  void run();

 private:
  void xServices();
  void xMethods();
  void xDescribe(const std::vector<std::string>& words);
  void xCall(const std::vector<std::string>& words);
  void xWatch(const std::vector<std::string>& words);
  xo::ObjectInfo xTable();
  void xPrint(const HB::HBValue& value);

  const Options& fOptions;
  Interrupt& fInterrupt;
  std::ostream& fOut;
  std::ostream& fHints;
  const std::unique_ptr<remote::RobotClient> fRobot;
};

}  // namespace ledctl
