// Robot model texts: each is read or refused, and what is read keeps its limits.
#include <algorithm>
#include <cmath>
#include <optional>

#include "framework/sim/model.h"
#include "framework/sim/model_utils.h"
#include "fuzz/harness.h"

namespace {

using fuzz::require;
using Config = std::map<std::string, std::string>;

bool isOneLine(const std::string& text) { return text.find('\n') == std::string::npos; }

void requireWithin(double value, double least, double most, const char* text) {
  require(std::isfinite(value) && value >= least && value <= most, text);
}

void requireLed(const Sim::LEDActuator& led) {
  using Sim::Model;
  require(led.name().size() <= Model::kMaxNameBytes, "a device's name is too long");
  require(led.shortname().size() <= Model::kMaxNameBytes, "a short name is too long");
  require(led.groups().size() <= Model::kMaxGroupsOfLed, "an LED is in too many groups");
  for (const auto& group : led.groups()) {
    require(!group.empty() && group.size() <= Model::kMaxNameBytes, "a group's name");
  }
  require(Sim::colorName(led.color()) != "unknown", "a colour that there is not");
  constexpr double kMost = Model::kMaxMillimetres;
  if (led.position()) {
    const double planted = fuzz::isPlanted("model") ? 1e9 : 0;
    requireWithin(led.position()->x + planted, -kMost, kMost, "x is out of range");
    requireWithin(led.position()->y, -kMost, kMost, "y is out of range");
  }
  require(Sim::shapeName(led.shape().kind) != "unknown", "a shape that there is not");
  requireWithin(led.shape().width, 0, kMost, "a width is out of range");
  requireWithin(led.shape().height, 0, kMost, "a height is out of range");
  requireWithin(led.shape().angle, -360, 360, "an angle is out of range");
}

void requireModel(const Sim::Model& model) {
  const auto leds = model.ledActuators();
  require(leds.size() <= static_cast<std::size_t>(Sim::Model::kMaxLeds), "too many LEDs");
  for (const auto* led : leds) requireLed(*led);
  if (!leds.empty()) {
    const auto& name = leds.front()->name();
    require(std::ranges::count(model.ledActuators(name), leds.front()) == 1,
            "the filter loses one");
  }
  for (const int detail : {-1, 0, 1, 2, 3}) model.prettyName(detail);
  require(model.warnings().size() <= 101, "too many warnings");
  for (const auto& warning : model.warnings()) require(isOneLine(warning.text), "a warning's line");
  require(!model.config().contains(""), "an empty configuration key");
}

void requireError(const Sim::ModelError& error) {
  require(isOneLine(error.what()), "an error has more than one line");
  require(error.problem().size() < 300, "an error is too long");
  require(error.line() >= 0, "an error's line is negative");
}

std::optional<Config> configOf(std::string_view xml) {
  try {
    return HB::Model::ModelUtils::configMapFromXml(xml);
  } catch (const Sim::ModelError& error) {
    requireError(error);
    return std::nullopt;
  }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view xml(reinterpret_cast<const char*>(data), size);
  const auto config = configOf(xml);
  try {
    const Sim::Model model(xml);
    requireModel(model);
    require(config == model.config(), "the configuration is read in two ways");
  } catch (const Sim::ModelError& error) {
    requireError(error);
    require(!config, "one reader refuses what the other takes");
  }
  return 0;
}
