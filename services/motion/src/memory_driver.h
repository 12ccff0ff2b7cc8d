// The simulated LEDs: the driver that leaves every value in HBMemory, where everybody reads it.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "framework/hb/hb_memory_proxy.h"
#include "services/motion/src/led_driver.h"

namespace HB {

/// Channel i is the memory's key `keys[i]`. Writes do not block: see HBMemoryProxy. When the memory
/// was away and is another one now, the write that finds it so is carried out and still fails, so
/// that the next one repeats every channel.
class MemoryDriver final : public LedDriver {
 public:
  /// Creates missing keys with 0.0. Errors: those of `HBMemoryProxy::floatHandles`.
  MemoryDriver(std::shared_ptr<HBMemoryProxy> memory, const std::vector<std::string>& keys);

  std::string name() const override;
  void write(const std::vector<int>& channels, const std::vector<float>& values) override;

 private:
  void xWrite(const std::vector<int>& channels, const std::vector<float>& values);

  const std::shared_ptr<HBMemoryProxy> fMemory;
  const std::vector<std::string> fKeys;  // by channel
  std::uint64_t fGeneration;             // of the memory that the handles are of
  std::vector<int> fHandles;             // by channel
  std::vector<int> fWrittenHandles;      // kept between writes for its room
};

}  // namespace HB
