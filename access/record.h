// What is remembered of a call.
#pragma once

#include <chrono>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "access/client.h"
#include "framework/value/hb_value.h"

namespace door {

struct CallRecord {
  /// Bytes of the arguments' text that are kept.
  static constexpr std::size_t kArgsBytes = 200;

  std::uint64_t id = 0;
  Client client;
  std::string service;
  std::string method;
  std::string args;  ///< the list as people write it, cut with "..."
  std::chrono::system_clock::time_point when;
  std::chrono::microseconds duration{0};  ///< until the method returned, or until now
  std::string error;                      ///< the start of its text, "" when it succeeded
};

/// Arguments as people write them.
struct ArgsText {
  std::string text = "[";    ///< `["FaceLeds", 1.0]`, cut as `CallRecord::args`
  std::size_t firstEnd = 1;  ///< where the first one ends in it

  explicit ArgsText(std::span<const HB::HBValue> args);
  std::string_view first() const { return std::string_view(text).substr(1, firstEnd - 1); }
};

}  // namespace door
