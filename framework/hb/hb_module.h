// A module: what a library hands to the robot, published as one service of the same name.
#pragma once

#include <memory>
#include <string>

#include "framework/hb/hb_module_core.h"

namespace HB {

/// Life: constructed, `initModule()` (its service becomes visible), `init()`, calls from many
/// threads, `shutDown()` (its service goes, running calls end), destroyed. All but the calls happen
/// on the thread that loads or unloads it.
class HBModule : public HBModuleCore, public std::enable_shared_from_this<HBModule> {
 public:
  HBModule(std::shared_ptr<HBBroker> broker, std::string name);
  ~HBModule() override;

  /// Called when `init` failed.
  virtual void exit();
  /// A module's last step of starting; may throw HBError.
  virtual void init();
  /// Asks the running call with that id to stop; unknown ids are ignored.
  virtual void stop(const int& id);

  /// Publishes the service and registers the module with the broker, which keeps it alive.
  void initModule();
  /// Withdraws the service: new calls fail, running ones are asked to stop and lose their framework
  /// sleeps. Returns when none runs. Harmless when not published or done before.
  void shutDown();

 protected:
  /// The id of the call being served on this thread; 0 outside of any.
  int getMethodID() const;
  /// Whether the call with that id was asked to stop: by `stop`, its client's going, or the
  /// module's unloading.
  bool isStopRequired(int id) const;
};

}  // namespace HB
