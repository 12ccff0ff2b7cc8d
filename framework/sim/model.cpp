#include "framework/sim/model.h"

#include "framework/sim/model_content.h"

namespace Sim {
namespace {

std::string withLine(int line, const std::string& problem) {
  return line > 0 ? "line " + std::to_string(line) + ": " + problem : problem;
}

std::string joined(const std::string& first, const std::string& second) {
  if (first.empty() || second.empty()) return first + second;
  return first + " " + second;
}

}  // namespace

ModelError::ModelError(int line, std::string problem)
    : std::runtime_error(withLine(line, problem)), fLine(line), fProblem(std::move(problem)) {}
ModelError::~ModelError() = default;

Actuator::~Actuator() = default;

LEDActuator::LEDActuator(std::string name, std::string shortname, std::vector<std::string> groups,
                         Color color, std::optional<Position> position, Shape shape)
    : Actuator(std::move(name)),
      fShortname(std::move(shortname)),
      fGroups(std::move(groups)),
      fColor(color),
      fPosition(position),
      fShape(shape) {}
LEDActuator::~LEDActuator() = default;

std::string_view colorName(LEDActuator::Color color) noexcept {
  switch (color) {
    case LEDActuator::Red:
      return "red";
    case LEDActuator::Green:
      return "green";
    case LEDActuator::Blue:
      return "blue";
    case LEDActuator::White:
      return "white";
    case LEDActuator::Amber:
      return "amber";
    case LEDActuator::Infrared:
      return "infrared";
  }
  return "unknown";
}

std::string_view shapeName(Shape::Kind kind) noexcept {
  switch (kind) {
    case Shape::Kind::kCircle:
      return "circle";
    case Shape::Kind::kRectangle:
      return "rectangle";
    case Shape::Kind::kSector:
      return "sector";
  }
  return "unknown";
}

Model::Model(std::string_view xml)
    : fContent(std::make_unique<const detail::ModelContent>(detail::readModel(xml))) {}
Model::~Model() = default;

std::vector<const LEDActuator*> Model::ledActuators(const std::string& filter) const {
  std::vector<const LEDActuator*> found;
  for (const LEDActuator& led : fContent->leds) {
    if (led.name().find(filter) != std::string::npos) found.push_back(&led);
  }
  return found;
}

std::string Model::prettyName(int detail) const {
  if (detail <= 0) return fContent->name;
  std::string name = joined(fContent->name, fContent->version);
  if (detail == 1) return name;
  const auto config = [this](const std::string& key) {
    const auto found = fContent->config.find(key);
    return found == fContent->config.end() ? std::string() : found->second;
  };
  const std::string head =
      joined(config("RobotConfig/Head/Type"), config("RobotConfig/Head/Version"));
  return head.empty() ? name : joined(name, "(head " + head + ")");
}

const std::map<std::string, std::string>& Model::config() const { return fContent->config; }

const std::vector<Warning>& Model::warnings() const { return fContent->warnings; }

}  // namespace Sim
