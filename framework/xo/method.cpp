#include "framework/xo/method.h"

#include <algorithm>

namespace xo {
namespace {

bool isLocal(const Type& type) {
  return type.kind == Type::Kind::kLocal ||
         std::any_of(type.element.begin(), type.element.end(), isLocal);
}

}  // namespace

std::string Signature::text() const {
  std::string text = "(";
  for (const auto& param : params) {
    if (text.size() > 1) text += ", ";
    text += param.text();
  }
  text += ")";
  if (result.kind != Type::Kind::kVoid) text += " -> " + result.text();
  return text;
}

bool Signature::isRemote() const {
  return !isLocal(result) && std::none_of(params.begin(), params.end(), isLocal);
}

Future<HB::HBValue> toValueFuture(const Future<void>& future) {
  return detail::changed<HB::HBValue>(future, [] { return HB::HBValue(); });
}

Future<HB::HBValue> toValueFuture(const Future<HB::HBValue>& future) { return future; }

template Future<HB::HBValue> toValueFuture(const Future<bool>&);
template Future<HB::HBValue> toValueFuture(const Future<int>&);
template Future<HB::HBValue> toValueFuture(const Future<float>&);
template Future<HB::HBValue> toValueFuture(const Future<std::string>&);
template Future<void> fromValueFuture(const Future<HB::HBValue>&);
template Future<bool> fromValueFuture(const Future<HB::HBValue>&);
template Future<int> fromValueFuture(const Future<HB::HBValue>&);
template Future<float> fromValueFuture(const Future<HB::HBValue>&);
template Future<std::string> fromValueFuture(const Future<HB::HBValue>&);

}  // namespace xo
