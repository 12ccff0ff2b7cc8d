#include "fuzz/call_maker.h"

#include <bit>
#include <cfloat>
#include <limits>
#include <utility>

namespace fuzz {
namespace {

using HB::HBValue;
using Kind = xo::Type::Kind;

constexpr int kDeepest = 4;

float hostileNumber(Bytes& bytes) {
  static const std::vector<float> kNumbers{0.0F,
                                           -0.0F,
                                           1.0F,
                                           0.5F,
                                           0.05F,
                                           2.0F,
                                           -1.0F,
                                           0.4F,
                                           0.39999998F,
                                           1.0000001F,
                                           0.001F,
                                           60.0F,
                                           86400.0F,
                                           86401.0F,
                                           2147483648.0F,
                                           FLT_MAX,
                                           -FLT_MAX,
                                           FLT_MIN,
                                           FLT_TRUE_MIN,
                                           1e9F,
                                           std::numeric_limits<float>::quiet_NaN(),
                                           std::numeric_limits<float>::infinity(),
                                           -std::numeric_limits<float>::infinity()};
  const std::size_t drawn = bytes.byte();
  if (drawn < 2 * kNumbers.size()) return kNumbers[drawn % kNumbers.size()];
  if (drawn < 200) return static_cast<float>(bytes.byte()) / 255.0F;
  return std::bit_cast<float>(bytes.word());
}

int hostileInteger(Bytes& bytes) {
  static const std::vector<int> kNumbers{
      0, 1, -1, 90, 360, 361, 0xFF0000, 0xFFFFFF, 0x1000000, 0x7FFFFFFF, -0x7FFFFFFF - 1, 255, 180};
  const std::size_t drawn = bytes.byte();
  if (drawn < 200) return kNumbers[drawn % kNumbers.size()];
  return static_cast<int>(bytes.word());
}

}  // namespace

std::string textOf(const Call& call) {
  std::string text = call.method + "(";
  for (const auto& arg : call.args) {
    if (text.back() != '(') text += ", ";
    text += arg.toText(60);
  }
  return text + ")";
}

CallMaker::CallMaker(xo::ObjectInfo description, std::vector<std::string> names)
    : fDescription(std::move(description)), fNames(std::move(names)) {}

Call CallMaker::next(Bytes& bytes) const {
  const auto& method = bytes.pick(fDescription.methods);
  const auto& params = method.signature.params;
  Call call{method.doc.name, {}};
  // One in sixteen is what no signature fits, or perhaps another one of the same name.
  if (bytes.below(16) == 15) {
    for (std::size_t count = bytes.below(6); count > 0; --count) {
      call.args.push_back(xAnything(bytes, 0));
    }
    return call;
  }
  for (const auto& type : params) call.args.push_back(xArgument(type, bytes, 0));
  return call;
}

HBValue CallMaker::xArgument(const xo::Type& type, Bytes& bytes, int depth) const {
  switch (type.kind) {
    case Kind::kBool:
      return bytes.byte() % 2 == 1;
    case Kind::kInt:
      return hostileInteger(bytes);
    case Kind::kFloat:
      return hostileNumber(bytes);
    case Kind::kString:
      return xText(bytes);
    case Kind::kList:
      return xList(type.element.front(), bytes, depth + 1);
    default:
      return xAnything(bytes, depth);
  }
}

HBValue CallMaker::xList(const xo::Type& element, Bytes& bytes, int depth) const {
  const std::size_t drawn = bytes.byte();
  HBValue::List list;
  for (std::size_t i = 0; i < drawn % 8; ++i) list.push_back(xArgument(element, bytes, depth));
  // The longest that is let in: what was drawn, again and again.
  while (drawn == 0xFF && !list.empty() && list.size() < kLongestList) {
    list.push_back(list[list.size() % 7]);
  }
  return list;
}

HBValue CallMaker::xAnything(Bytes& bytes, int depth) const {
  static const std::vector<xo::Type> kTypes{{Kind::kList, {{Kind::kFloat, {}}}},
                                            {Kind::kList, {{Kind::kInt, {}}}},
                                            {Kind::kFloat, {}},
                                            {Kind::kInt, {}},
                                            {Kind::kString, {}},
                                            {Kind::kBool, {}},
                                            {Kind::kList, {{Kind::kValue, {}}}}};
  const std::size_t drawn = bytes.below(kTypes.size() + 2);
  if (depth >= kDeepest || drawn == kTypes.size()) return {};
  if (drawn > kTypes.size()) return HB::Binary{{bytes.byte(), bytes.byte()}};
  return xArgument(kTypes[drawn], bytes, depth);
}

std::string CallMaker::xText(Bytes& bytes) const {
  static const std::vector<std::string> kTexts{"FaceLeds",
                                               "AllLeds",
                                               "EarLeds",
                                               "ChestLeds",
                                               "FaceLed0",
                                               "red",
                                               "w",
                                               "white",
                                               "Mine",
                                               "",
                                               "FaceLeds ",
                                               "faceleds",
                                               "Device/SubDeviceList/",
                                               "EarLed1",
                                               "/",
                                               "%s%n"};
  const std::size_t drawn = bytes.byte();
  if (drawn < 100) return kTexts[drawn % kTexts.size()];
  if (drawn < 200) return bytes.pick(fNames);
  if (drawn < 250) return bytes.text(bytes.below(24));
  if (drawn < 254) return bytes.pick(fNames) + bytes.text(2);
  return std::string(kLongestText, static_cast<char>(bytes.byte()));
}

}  // namespace fuzz
