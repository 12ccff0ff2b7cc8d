// Tells people what the robot does, by the LED service's animations: one named bit per sign.
#pragma once

#include <memory>
#include <string>

#include "framework/hb/hb_module.h"

namespace HB {

/// Published as "HBSignsAndFeedback". Thread-safe; keeps no state.
class HBSignsAndFeedback : public HBModule {
 public:
  explicit HBSignsAndFeedback(std::shared_ptr<HBBroker> broker);

  /// Shows one sign through the published methods of HBLeds, on the calling thread:
  ///   "BlinkWithShadow"  one blink with a pink shadow; returns while it runs
  ///   "ListeningOn"      the eyes' and then the ears' rotation start (50 ms each)
  ///   "ListeningOff"     both stop
  /// Errors: `std::invalid_argument` that lists the bits for any other; HBError while there is no
  /// HBLeds; what HBLeds throws.
  void triggerBit(const std::string& bit);
  /// The names of all bits, ascending.
  std::vector<std::string> listBits() const;
};

}  // namespace HB
