#include "remote/proto/described.h"

#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace remote {
namespace {

int matchAll(const std::vector<xo::Type>& params, std::span<const HB::HBValue> args) {
  constexpr int kNone = static_cast<int>(xo::Match::kNone);
  if (args.size() != params.size()) return kNone;
  int score = 0;
  for (std::size_t i = 0; i < args.size(); ++i) {
    score += static_cast<int>(xo::matchType(params[i], args[i]));
    if (score >= kNone) return kNone;
  }
  return score;
}

xo::CallResult fit(const xo::Type& type, xo::CallResult result) {
  const bool isFuture = type.kind == xo::Type::Kind::kFuture;
  const xo::Type& valueType = isFuture ? type.element.at(0) : type;
  if (result.future) {
    result.future = xo::detail::changed<HB::HBValue>(
        *result.future,
        [valueType](const HB::HBValue& value) { return fitResult(valueType, value); });
    return result;
  }
  result.value = fitResult(valueType, result.value);
  if (isFuture) result.future = xo::makeReadyFuture(std::exchange(result.value, HB::HBValue()));
  return result;
}

}  // namespace

HB::HBValue fitResult(const xo::Type& type, const HB::HBValue& value) {
  if (type.kind == xo::Type::Kind::kVoid) return {};
  if (xo::matchType(type, value) == xo::Match::kNone) {
    throw std::runtime_error("The result " + value.toText(40) + " is no " + type.text() +
                             ", which the method's signature promises");
  }
  return xo::convertTo(type, value);
}

xo::ObjectBuilder makeDescribed(const xo::ObjectInfo& info, const Invoke& invoke) {
  const auto shared = std::make_shared<const Invoke>(invoke);
  xo::ObjectBuilder builder;
  builder.setDescription(info.description);
  for (std::size_t i = 0; i < info.methods.size(); ++i) {
    xo::Method method;
    method.info = info.methods[i];
    const auto signature = std::make_shared<const xo::Signature>(method.info.signature);
    method.match = [signature](std::span<const HB::HBValue> args) {
      return matchAll(signature->params, args);
    };
    method.dynamic = [signature, shared, i](std::span<const HB::HBValue> args) {
      std::vector<HB::HBValue> fitting;
      fitting.reserve(args.size());
      for (std::size_t j = 0; j < args.size(); ++j) {
        fitting.push_back(xo::convertTo(signature->params[j], args[j]));
      }
      return fit(signature->result, (*shared)(i, fitting));
    };
    builder.add(std::move(method));
  }
  return builder;
}

}  // namespace remote
