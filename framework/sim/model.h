// The robot as its model file describes it: its LEDs and its configuration. Plain data, read once.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Sim {

/// A model text that cannot be used. `what()` is one line: "line 12: " and the problem.
class ModelError : public std::runtime_error {
 public:
  ModelError(int line, std::string problem);
  ~ModelError() override;
  /// Line in the text, from 1; 0 when no line is to blame.
  int line() const { return fLine; }
  /// What is wrong and what is allowed, without the line.
  const std::string& problem() const { return fProblem; }

 private:
  int fLine;
  std::string fProblem;
};

/// Where an LED is drawn: front view as one faces the robot, millimetres, x to the viewer's right,
/// y up.
struct Position {
  double x = 0;
  double y = 0;
};

/// What an LED looks like.
struct Shape {
  /// A sector is a piece of a ring: `width` along the ring, `height` across it.
  enum class Kind { kCircle, kRectangle, kSector };
  Kind kind = Kind::kCircle;
  double width = 6;   // mm; a circle's diameter
  double height = 6;  // mm
  double angle = 0;   // degrees by which it is turned, counter-clockwise
};

/// Anything the model drives.
class Actuator {
 public:
  explicit Actuator(std::string name) : fName(std::move(name)) {}
  virtual const std::string& name() const { return fName; }
  virtual ~Actuator();

 private:
  std::string fName;
};

/// One single-colour LED channel.
class LEDActuator final : public Actuator {
 public:
  /// The published colours. The first three are the channels of an RGB LED.
  enum Color { Red = 0, Green = 1, Blue = 2, White = 3, Amber = 4, Infrared = 5 };

  LEDActuator(std::string name, std::string shortname, std::vector<std::string> groups, Color color,
              std::optional<Position> position, Shape shape);
  ~LEDActuator() override;

  /// The name that aliases the channels of one physical LED.
  const std::string& shortname() const { return fShortname; }
  /// In the order of the file; may hold duplicates.
  const std::vector<std::string>& groups() const { return fGroups; }
  Color color() const { return fColor; }
  const std::optional<Position>& position() const { return fPosition; }
  const Shape& shape() const { return fShape; }

 private:
  std::string fShortname;
  std::vector<std::string> fGroups;
  Color fColor;
  std::optional<Position> fPosition;
  Shape fShape;
};

/// "red", "green", ...
std::string_view colorName(LEDActuator::Color color) noexcept;
/// "circle", ...
std::string_view shapeName(Shape::Kind kind) noexcept;

/// Something odd in a model text that is accepted.
struct Warning {
  int line = 0;      // from 1; 0 when it is about no line
  std::string text;  // one line
  bool operator==(const Warning&) const = default;
};

namespace detail {
struct ModelContent;
}

/// A parsed model. Immutable. The actuators that it hands out live as long as it does.
class Model {
 public:
  /// Limits on what is accepted.
  static constexpr std::size_t kMaxBytes = 64u << 20;
  static constexpr int kMaxLeds = 200000;          // channels, each a <device>
  static constexpr int kMaxDepth = 64;             // elements inside each other
  static constexpr int kMaxGroupsOfLed = 64;       // those of the elements around it included
  static constexpr int kMaxMemberships = 2000000;  // groups of an LED, over all LEDs
  static constexpr std::size_t kMaxNameBytes = 200;
  static constexpr double kMaxMillimetres = 10000;  // of a position or size

  /// Parses `xml` (docs/robot-model.md). Errors: ModelError.
  explicit Model(std::string_view xml);
  ~Model();
  Model(const Model&) = delete;
  Model& operator=(const Model&) = delete;

  /// LED channels in the order of the file whose actuator name contains `filter`; "" is all.
  std::vector<const LEDActuator*> ledActuators(const std::string& filter = "") const;
  /// The robot's name, for people: 0 the name ("Vanto"), 1 name and version ("Vanto 1.2"), 2 the
  /// same and the head's type and version where the configuration has them.
  std::string prettyName(int detail) const;
  /// Configuration keys and values, as `configMapFromXml`.
  const std::map<std::string, std::string>& config() const;
  /// Oddities that are accepted (a device listed twice, an empty name); at most a hundred, then one
  /// that tells how many more.
  const std::vector<Warning>& warnings() const;

 private:
  std::unique_ptr<const detail::ModelContent> fContent;
};

}  // namespace Sim
