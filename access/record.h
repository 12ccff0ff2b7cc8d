// What is remembered of a call.
#pragma once

#include <chrono>
#include <cstdint>
#include <span>
#include <string>

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

/// `["FaceLeds", 1.0]`, cut as `CallRecord::args`.
std::string argsText(std::span<const HB::HBValue> args);

}  // namespace door
