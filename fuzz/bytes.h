// An input, taken apart into what a target needs. When it is used up everything is zero, so that
// every input means something.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace fuzz {

/// Reads from the front. Not thread-safe; refers to the input.
class Bytes {
 public:
  explicit Bytes(std::span<const std::uint8_t> input) : fRest(input) {}

  bool isEmpty() const noexcept { return fRest.empty(); }
  std::size_t size() const noexcept { return fRest.size(); }

  std::uint8_t byte();
  std::uint32_t word();  // four bytes, the lowest first
  /// Below `end`, which is not 0.
  std::size_t below(std::size_t end);
  /// One of the given ones; there is at least one.
  template <class T>
  const T& pick(const std::vector<T>& from) {
    return from[below(from.size())];
  }
  /// At most that many bytes.
  std::string text(std::size_t most);
  /// Everything that is left.
  std::string_view rest() const noexcept;

 private:
  std::span<const std::uint8_t> fRest;
};

/// The pieces between the line ends; "" is one empty piece.
std::vector<std::string> linesOf(std::string_view text);

}  // namespace fuzz
