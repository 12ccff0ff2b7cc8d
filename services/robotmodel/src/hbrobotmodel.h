// The module "HBRobotModel": tells the robot what it is made of. Owned by the broker; it has no
// thread, its methods run on their callers' threads.
#pragma once

#include <memory>
#include <string>

#include "framework/hb/hb_memory_proxy.h"
#include "framework/hb/hb_module.h"
#include "services/robotmodel/src/model_file.h"

namespace HB {

/// Publishes the model of the broker's setting "model". Thread-safe.
class HBRobotModel : public HBModule {
 public:
  /// Reads the model, waits for the service HBMemory as long as it takes, and creates there every
  /// device's value (0.0) and every configuration key (a string), so that all of them stand before
  /// this service does. Oddities of the model are logged as warnings. Errors: HBError when the
  /// model cannot be used (see ModelFile) or the memory is not to be had; nothing was created then.
  explicit HBRobotModel(std::shared_ptr<HBBroker> broker);
  ~HBRobotModel() override;

  std::string getConfig() const;
  std::string getRobotName() const;
  std::string getPrettyName() const;

 private:
  void xLogWarnings() const;
  void xFillMemory(const HBMemoryProxy& memory) const;
  void xPublish();

  const ModelFile fFile;
};

}  // namespace HB
