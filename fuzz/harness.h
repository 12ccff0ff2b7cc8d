// What every fuzz target shares: saying that something was found, and faults that are planted to
// show that it would be said.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace fuzz {

/// Ends the process with that text: this input has shown a fault. Thread-safe.
[[noreturn]] void found(const std::string& text);

/// `found`, unless the condition holds.
inline void require(bool condition, const char* text) {
  if (!condition) found(text);
}

/// Whether the environment's FUZZ_PLANT asks for the fault of that name.
bool isPlanted(std::string_view name) noexcept;

}  // namespace fuzz

/// One input. The fuzzer's entry point, called by replay.cpp too. Returns 0.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
