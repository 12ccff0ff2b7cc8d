// The module "HBMotion": moves the robot's LEDs along key frames. Owned by the broker; its methods
// run on their callers' threads, movements on the thread of its MotionLoop.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "framework/hb/hb_memory_proxy.h"
#include "framework/hb/hb_module.h"
#include "services/motion/src/key_table.h"
#include "services/motion/src/motion_loop.h"

namespace HB {

/// Thread-safe. The published documentation says what each method does.
class HBMotion : public HBModule {
 public:
  /// Waits for HBMemory and HBRobotModel and makes a channel for every LED of the model, at rest at
  /// what the memory holds. Errors: those of the two services, `Sim::ModelError`.
  explicit HBMotion(std::shared_ptr<HBBroker> broker);
  ~HBMotion() override;

  /// Errors: `std::invalid_argument` that names the key and the index; nothing moves then.
  void animateLEDs(const std::vector<std::string>& keys,
                   const std::vector<std::vector<float>>& times,
                   const std::vector<std::vector<float>>& values);
  std::vector<std::string> listLEDs() const;
  /// [asked, now, target, seconds left] for each key.
  std::vector<std::vector<float>> getLEDStates(const std::vector<std::string>& keys) const;
  /// The number of the call from outside that each key was last written for; 0 for none.
  std::vector<int> getLEDOrigins(const std::vector<std::string>& keys) const;

 private:
  void xPublish();
  std::vector<std::string> xReadKeys() const;
  std::unique_ptr<MotionLoop> xMakeLoop();
  std::vector<int> xFindChannels(const std::string& method,
                                 const std::vector<std::string>& keys) const;

  const std::shared_ptr<HBMemoryProxy> fMemory;
  const KeyTable fKeys;
  const std::unique_ptr<MotionLoop> fLoop;
};

}  // namespace HB
