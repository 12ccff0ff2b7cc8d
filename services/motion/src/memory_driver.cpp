#include "services/motion/src/memory_driver.h"

#include <exception>
#include <utility>

namespace HB {

MemoryDriver::MemoryDriver(std::shared_ptr<HBMemoryProxy> memory,
                           const std::vector<std::string>& keys)
    : fMemory(std::move(memory)), fKeys(keys), fHandles(fMemory->floatHandles(fKeys)) {}

std::string MemoryDriver::name() const { return "memory"; }

void MemoryDriver::write(const std::vector<int>& channels, const std::vector<float>& values) {
  if (fIsLost) xRenew();
  try {
    xWrite(channels, values);
  } catch (const std::exception&) {
    fIsLost = true;
    xRenew();
    xWrite(channels, values);
    throw;
  }
}

void MemoryDriver::xRenew() {
  fHandles = fMemory->floatHandles(fKeys);
  fIsLost = false;
}

void MemoryDriver::xWrite(const std::vector<int>& channels, const std::vector<float>& values) {
  fWrittenHandles.resize(channels.size());
  for (std::size_t i = 0; i < channels.size(); ++i) {
    fWrittenHandles[i] = fHandles[static_cast<std::size_t>(channels[i])];
  }
  fMemory->writeFloats(fWrittenHandles, values);
}

}  // namespace HB
