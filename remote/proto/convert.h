// The framework's values and descriptions to and from their wire form. For the files of the remote
// layer that include the generated headers anyway.
#pragma once

#include <exception>
#include <string>

#include "framework/value/hb_value.h"
#include "framework/xo/method.h"
#include "tavro/v1/robot.pb.h"

namespace remote {

/// What this side speaks, see GetInfoReply.
inline constexpr unsigned kProtocolMajor = 1;
inline constexpr unsigned kProtocolMinor = 1;

/// Lists within lists that a message of the wire can hold: what readers everywhere accept.
inline constexpr int kNestedListsOnWire = 45;

/// Errors: `std::length_error` for lists nested deeper than `kNestedListsOnWire`.
void toWire(const HB::HBValue& value, tavro::v1::Value* wire);
HB::HBValue fromWire(const tavro::v1::Value& wire);

void toWire(const xo::MethodInfo& method, tavro::v1::Method* wire);
xo::MethodInfo fromWire(const tavro::v1::Method& wire);

void errorToWire(const std::string& kind, const std::string& text, tavro::v1::CallError* wire);
/// Its text, byte by byte.
const std::string& exactText(const tavro::v1::CallError& wire);
/// The exception that a kind and a text tell about, of its own type; `std::runtime_error` for an
/// unknown kind.
std::exception_ptr makeError(const std::string& kind, const std::string& text);
std::exception_ptr errorFromWire(const tavro::v1::CallError& wire);

}  // namespace remote
