#include "remote/server/offer.h"

#include <algorithm>
#include <set>
#include <string>

#include "access/access.h"
#include "remote/proto/convert.h"
#include "remote/proto/utf8.h"

namespace remote {
namespace {

namespace v1 = tavro::v1;

[[noreturn]] void refuse(const std::string& text) {
  throw door::Refused(door::Refused::Why::kMalformed, text);
}

void requireAtMost(std::size_t is, std::size_t most, const std::string& what) {
  if (is <= most) return;
  throw door::Refused(
      door::Refused::Why::kTooMuch,
      what + ": " + std::to_string(is) + " are offered; the limit is " + std::to_string(most));
}

void requireName(const std::string& name, const door::Limits& limits, const char* what) {
  if (name.empty()) refuse(std::string(what) + " is empty");
  door::requireShort(name, limits.nameBytes, what);
  const bool isPrintable =
      std::ranges::none_of(name, [](char c) { return (c >= 0 && c < ' ') || c == '\x7F'; });
  if (!isPrintable || !isUtf8(name)) {
    refuse(std::string(what) + " has characters that cannot be printed");
  }
}

/// Depth first, and never deeper than allowed, whatever was sent.
void requireType(const v1::Type& type, bool isResult, std::size_t depth, const std::string& where) {
  if (depth > kLentNestedTypes) {
    refuse(where + " has a type that is nested more deeply than the limit of " +
           std::to_string(kLentNestedTypes));
  }
  const bool isFuture = type.kind() == v1::Type::KIND_FUTURE;
  const bool isOutermostResult = isResult && depth == 0;
  const bool isOfFuture = isResult && depth == 1;
  if (isFuture && !isOutermostResult) refuse(where + " may not be or hold a future");
  if (type.kind() == v1::Type::KIND_VOID && !isOutermostResult && !isOfFuture) {
    refuse(where + " may not be or hold void");
  }
  if (type.kind() == v1::Type::KIND_UNSPECIFIED || !v1::Type::Kind_IsValid(type.kind())) {
    refuse(where + " has a type that is not known (" + std::to_string(type.kind()) + ")");
  }
  const bool hasElement = isFuture || type.kind() == v1::Type::KIND_LIST;
  if (type.has_element() != hasElement) {
    refuse(where + (hasElement ? " is a list or future without the type of its element"
                               : " has the type of an element, but is neither list nor future"));
  }
  if (!hasElement) return;
  const bool isVoid = type.element().kind() == v1::Type::KIND_VOID;
  if (isVoid && !isFuture) refuse(where + " may not be or hold void");
  requireType(type.element(), isResult, depth + 1, where);
}

void requireMethod(const v1::Method& method, const door::Limits& limits) {
  requireName(method.name(), limits, "A method's name");
  const std::string name = "The method '" + method.name() + "'";
  const auto& signature = method.signature();
  requireAtMost(static_cast<std::size_t>(signature.params_size()), kLentParams,
                name + ", its parameters");
  for (int i = 0; i < signature.params_size(); ++i) {
    requireType(signature.params(i), false, 0, name + ": parameter " + std::to_string(i + 1));
  }
  if (!signature.has_result()) refuse(name + " has no type of its result, not even void");
  requireType(signature.result(), true, 0, name + ": its result");
}

}  // namespace

xo::ObjectInfo readOffer(const v1::DescribeServiceReply& offer, const door::Limits& limits) {
  requireName(offer.service(), limits, "The name of the service");
  requireAtMost(static_cast<std::size_t>(offer.methods_size()), kLentMethods, "Methods");
  xo::ObjectInfo info{offer.description(), {}};
  std::set<std::string> seen;
  for (const auto& wire : offer.methods()) {
    requireMethod(wire, limits);
    xo::MethodInfo method = fromWire(wire);
    xo::Signature arguments = method.signature;
    arguments.result = {};
    const std::string text = method.doc.name + arguments.text();
    if (!seen.insert(text).second) refuse("The method " + text + " is offered twice");
    info.methods.push_back(std::move(method));
  }
  return info;
}

}  // namespace remote
