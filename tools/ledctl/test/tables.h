// Method tables for tests.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "framework/xo/method.h"

namespace ledctl::testing {

inline const xo::Type kVoid{xo::Type::Kind::kVoid, {}};
inline const xo::Type kBool{xo::Type::Kind::kBool, {}};
inline const xo::Type kInt{xo::Type::Kind::kInt, {}};
inline const xo::Type kFloat{xo::Type::Kind::kFloat, {}};
inline const xo::Type kString{xo::Type::Kind::kString, {}};
inline const xo::Type kValue{xo::Type::Kind::kValue, {}};
inline xo::Type listOf(const xo::Type& element) { return {xo::Type::Kind::kList, {element}}; }
inline xo::Type futureOf(const xo::Type& element) { return {xo::Type::Kind::kFuture, {element}}; }

struct Param {
  std::string name;
  xo::Type type;
};

inline xo::MethodInfo method(const std::string& name, const std::vector<Param>& params,
                             const xo::Type& result = kVoid) {
  xo::MethodInfo made;
  made.doc.name = name;
  made.doc.description = "About " + name + ".";
  made.signature.result = result;
  for (const auto& param : params) {
    if (!param.name.empty()) made.doc.params.push_back({param.name, "The " + param.name + "."});
    made.signature.params.push_back(param.type);
  }
  return made;
}

/// Some rows of the LED service, in its order.
inline xo::ObjectInfo ledTable() {
  const auto nothing = futureOf(kVoid);
  return {"Lights.",
          {method("createGroup", {{"groupName", kString}, {"ledNames", listOf(kString)}}),
           method("fadeListRGB", {{"name", kString}, {"rgbList", kValue}, {"timeList", kValue}},
                  nothing),
           method("fadeRGB",
                  {{"name", kString},
                   {"red", kFloat},
                   {"green", kFloat},
                   {"blue", kFloat},
                   {"duration", kFloat}},
                  nothing),
           method("fadeRGB", {{"name", kString}, {"colorName", kString}, {"duration", kFloat}},
                  nothing),
           method("fadeRGB", {{"name", kString}, {"rgb", kInt}, {"duration", kFloat}}, nothing),
           method("listGroups", {}, listOf(kString)), method("_blink", {}),
           method("_blink", {{"", kInt}}),
           method("setIntensity", {{"name", kString}, {"intensity", kFloat}})}};
}

}  // namespace ledctl::testing
