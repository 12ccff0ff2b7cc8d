// What reading a model gives. For the files of this folder.
#pragma once

#include <deque>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "framework/sim/model.h"

namespace Sim::detail {

struct ModelContent {
  std::string name;
  std::string version;
  std::map<std::string, std::string> config;
  std::deque<LEDActuator> leds;  // in the order of the file; addresses stay
  std::vector<Warning> warnings;
};

/// Reads a whole model. Errors: ModelError. Takes time and memory in proportion to the text and the
/// limits of Model.
ModelContent readModel(std::string_view xml);

/// A piece of a model as a message shows it: in quotes, on one line, not too long.
std::string quoted(std::string_view text);

}  // namespace Sim::detail
