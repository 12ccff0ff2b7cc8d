// What ledctl does with a robot, one operation a command.
#pragma once

#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "remote/client/robot_client.h"
#include "tools/ledctl/interrupt.h"
#include "tools/ledctl/options.h"
#include "tools/ledctl/picture_view.h"
#include "tools/ledctl/terminal.h"

namespace ledctl {

/// Connects as the options say. Errors: UsageError for an address or a token that cannot be;
/// `remote::RemoteError`.
std::unique_ptr<remote::RobotClient> connect(const Options& options,
                                             std::chrono::milliseconds timeout);

/// The address that `connect` goes to.
std::string addressOf(const Options& options);

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
  void xBench(const std::vector<std::string>& words);
  void xWatch(const std::vector<std::string>& words);
  void xWatchWith(const std::string& pattern, WatchView& view);
  std::unique_ptr<PictureView> xPictureView();
  xo::ObjectInfo xTable();
  void xPrint(const HB::HBValue& value);

  const Options& fOptions;
  Interrupt& fInterrupt;
  std::ostream& fOut;
  std::ostream& fHints;
  const Terminal fTerminal;
  const std::unique_ptr<remote::RobotClient> fRobot;
};

}  // namespace ledctl
