#include "services/motion/src/memory_driver.h"

#include <stdexcept>
#include <utility>

namespace HB {

MemoryDriver::MemoryDriver(std::shared_ptr<HBMemoryProxy> memory,
                           const std::vector<std::string>& keys)
    : fMemory(std::move(memory)),
      fKeys(keys),
      fGeneration(fMemory->object().generation()),
      fHandles(fMemory->floatHandles(fKeys)) {}

std::string MemoryDriver::name() const { return "memory"; }

void MemoryDriver::write(const std::vector<int>& channels, const std::vector<float>& values) {
  const auto generation = fMemory->object().generation();
  if (generation != fGeneration) {
    // Handles of another memory may stand for other keys here.
    fHandles = fMemory->floatHandles(fKeys);
    fGeneration = generation;
    xWrite(channels, values);
    throw std::runtime_error("The memory is another one: every channel must be written");
  }
  xWrite(channels, values);
}

void MemoryDriver::xWrite(const std::vector<int>& channels, const std::vector<float>& values) {
  fWrittenHandles.resize(channels.size());
  for (std::size_t i = 0; i < channels.size(); ++i) {
    fWrittenHandles[i] = fHandles[static_cast<std::size_t>(channels[i])];
  }
  fMemory->writeFloats(fWrittenHandles, values);
}

}  // namespace HB
