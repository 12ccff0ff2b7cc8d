// The running robot: its session, its modules, its door for clients, wired together.
#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <ostream>
#include <string>

#include "access/access.h"
#include "remote/server/server.h"
#include "tavro/host_service.h"
#include "tavro/module_loader.h"
#include "tavro/options.h"
#include "tavro/output_tap.h"
#include "web/server/log_tail.h"
#include "web/server/server.h"

namespace tavro {

/// Listens from its construction to the end of `run`. `requestStop` may be called from any thread;
/// everything else belongs to one.
class Robot {
 public:
  /// Starts to listen. `output` carries what modules print and outlives the robot, as `log` does,
  /// which pages see. Errors: `std::invalid_argument` and `std::runtime_error` that name an address
  /// that cannot be used.
  Robot(Options options, OutputTap& output, web::LogTail& log);
  ~Robot();
  Robot(const Robot&) = delete;
  Robot& operator=(const Robot&) = delete;

  /// Tells on `out` where it listens, loads the modules, tells that the robot is ready, and blocks
  /// until a stop is requested; then takes everything away again. Returns the status to end with:
  /// 0, or 1 after a line on `error` that names a module that could not start.
  int run(std::ostream& out, std::ostream& error);
  /// Makes `run` return. Harmless when called again.
  void requestStop();

 private:
  bool xLoadModules();
  void xStopServing();
  std::string xRobotName() const;
  void xWaitForStop();

  const Options fOptions;
  const std::shared_ptr<xo::Session> fSession;
  const std::shared_ptr<HB::HBBroker> fBroker;
  door::Access fAccess;
  remote::Server fServer;
  std::unique_ptr<web::Server> fPage;  // none unless it was asked for
  ModuleLoader fLoader;
  std::mutex fMutex;  // guards the flag below
  std::condition_variable fStopped;
  bool fIsStopRequested = false;
};

}  // namespace tavro
