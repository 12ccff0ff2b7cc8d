// JSON as the page speaks it: reading what browsers send, within bounds, and values in both
// directions. Pure functions.
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "framework/value/hb_value.h"

namespace web {

using Json = nlohmann::json;

/// Lists and objects within each other, of a whole message.
inline constexpr std::size_t kMostNested = 64;
/// The largest whole number that a browser holds exactly.
inline constexpr std::int64_t kLargestExact = std::int64_t{1} << 53;

/// A message that is no request, in words for its sender.
class BadMessage final : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Errors: BadMessage for what is no JSON object or too deep.
Json parseObject(std::string_view text);

/// Bytes that are not UTF-8 become U+FFFD.
std::string textOf(const Json& json);

/// A value as browsers get it: floats by their shortest digits, those that are not finite, and
/// binaries, as objects. Errors: `std::length_error` for lists nested more deeply than
/// `kMostNested`.
Json toJson(const HB::HBValue& value);
/// The same as text, added to `text`; null for what is nested too deeply.
void appendJson(std::string& text, const HB::HBValue& value);

/// The value that a browser sent. `where` ("args[2]") is how errors call it. Errors: door::Refused
/// that names the place, what stood there and what is allowed.
HB::HBValue fromJson(const Json& json, const std::string& where);

}  // namespace web
