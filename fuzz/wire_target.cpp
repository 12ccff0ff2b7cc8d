// Messages of the wire: values, descriptions and errors, there and back again.
#include <google/protobuf/message_lite.h>

#include <limits>
#include <span>
#include <stdexcept>

#include "fuzz/bytes.h"
#include "fuzz/harness.h"
#include "remote/proto/convert.h"
#include "remote/proto/described.h"
#include "remote/proto/utf8.h"

namespace {

using fuzz::require;
using HB::HBValue;
namespace v1 = tavro::v1;

template <class M>
bool parses(std::string_view bytes, M& message) {
  if (bytes.size() > std::size_t{1} << 20) return false;
  return message.ParseFromArray(bytes.data(), static_cast<int>(bytes.size()));
}

/// Nothing when the value nests too deeply for the wire.
std::optional<v1::Value> wireOf(const HBValue& value) {
  v1::Value wire;
  try {
    remote::toWire(value, &wire);
  } catch (const std::length_error&) {
    return std::nullopt;
  }
  return wire;
}

/// A value is the same after a journey: told by its bytes, since a NaN equals nothing.
void tryValue(std::string_view bytes) {
  v1::Value wire;
  if (!parses(bytes, wire)) return;
  const HBValue value = remote::fromWire(wire);
  require(value.toText(80).size() <= 83, "a text that was to be cut is longer");
  const auto there = wireOf(value);
  if (!there) return;
  std::string first = there->SerializeAsString();
  if (fuzz::isPlanted("wire") && there->has_list()) first += '\0';
  v1::Value read;
  require(read.ParseFromString(there->SerializeAsString()), "a value's message cannot be read");
  const auto again = wireOf(remote::fromWire(read));
  require(again && again->SerializeAsString() == first, "a value changes on its journey");
}

/// What a client does with a row that a robot describes, whatever it says.
void useMethod(const xo::MethodInfo& method, const HBValue& arg) {
  const std::string text = method.signature.text();
  require(!text.empty(), "a signature without a text");
  for (const auto& param : method.signature.params) {
    if (xo::matchType(param, arg) == xo::Match::kNone) continue;
    const HBValue fitting = xo::convertTo(param, arg);
    require(xo::matchType(param, fitting) == xo::Match::kExact, "a converted value does not fit");
  }
  const auto builder = remote::makeDescribed({"", {method}}, [&](std::size_t, const auto&) {
    return xo::CallResult{arg, std::nullopt};
  });
  const std::vector<HBValue> args(method.signature.params.size(), arg);
  const auto& described = builder.methods().front();
  if (described.match(args) >= static_cast<int>(xo::Match::kNone)) return;
  try {
    described.dynamic(args);
  } catch (const std::runtime_error&) {  // the result does not fit
  }
}

void tryMethod(std::string_view bytes) {
  v1::DescribeServiceReply reply;
  if (!parses(bytes, reply)) return;
  for (const auto& wire : reply.methods()) {
    const xo::MethodInfo method = remote::fromWire(wire);
    for (const HBValue& arg :
         {HBValue(), HBValue(1), HBValue(std::numeric_limits<float>::quiet_NaN()), HBValue(2.0F),
          HBValue("text"), HBValue::list({}), HBValue::list({1, 2.5F}), HBValue::list({"a"})}) {
      useMethod(method, arg);
    }
    v1::Method there;
    remote::toWire(method, &there);
    v1::Method again;
    remote::toWire(remote::fromWire(there), &again);
    require(there.SerializeAsString() == again.SerializeAsString(), "a row changes on its journey");
  }
}

void tryError(std::string_view bytes) {
  v1::CallError wire;
  if (!parses(bytes, wire)) return;
  v1::CallError there;
  const std::string text = remote::exactText(wire);
  remote::errorToWire(wire.kind(), text, &there);
  require(remote::exactText(there) == text, "an error's text changes on its journey");
  require(remote::isUtf8(there.text()), "an error's text is no UTF-8");
  try {
    std::rethrow_exception(remote::errorFromWire(there));
  } catch (const std::exception&) {
  }
}

void tryUtf8(std::string_view bytes) {
  const std::string made = remote::replaceInvalidUtf8(bytes);
  require(remote::isUtf8(made), "a repaired text is no UTF-8");
  require(!remote::isUtf8(bytes) || made == bytes, "a good text was repaired");
}

void tryArguments(std::string_view bytes) {
  v1::CallRequest request;
  if (!parses(bytes, request)) return;
  for (const auto& arg : request.args()) tryValue(arg.SerializeAsString());
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // What cannot be parsed is told on the standard error output otherwise.
  [[maybe_unused]] static const google::protobuf::LogSilencer silencer;
  fuzz::Bytes bytes(std::span(data, size));
  switch (bytes.below(5)) {
    case 0:
      tryValue(bytes.rest());
      break;
    case 1:
      tryMethod(bytes.rest());
      break;
    case 2:
      tryError(bytes.rest());
      break;
    case 3:
      tryArguments(bytes.rest());
      break;
    default:
      tryUtf8(bytes.rest());
  }
  return 0;
}
