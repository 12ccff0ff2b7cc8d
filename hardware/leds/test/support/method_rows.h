// The published table, word for word, as clients must see it.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "framework/xo/method.h"

namespace HB::test {

struct MethodRow {
  std::string name;
  std::string signature;
  std::vector<xo::NamedText> params;
  std::optional<xo::NamedText> returns;
  std::string description;
  bool hasExamples = false;
};

/// All rows, in order.
std::vector<MethodRow> expectedRows();

}  // namespace HB::test
