// Walks the parsed text of a model and takes out what it says.
#include <tinyxml2.h>

#include <set>

#include "framework/sim/attributes.h"
#include "framework/sim/model_content.h"
#include "framework/sim/text_check.h"

namespace Sim::detail {
namespace {

using tinyxml2::XMLElement;

constexpr std::size_t kMaxWarnings = 100;

std::string tagOf(const XMLElement& element) { return "<" + std::string(element.Name()) + ">"; }

[[noreturn]] void failUnknown(const XMLElement& element, const std::string& allowed) {
  fail(element,
       "unknown element <" + std::string(element.Name()).substr(0, 60) + ">; allowed: " + allowed);
}

/// What the devices of one <led> have in common.
struct Led {
  std::string shortname;
  std::optional<Position> position;
  Shape shape;
};

class Reader {
 public:
  explicit Reader(ModelContent& content) : fContent(content) {}

  void readRobot(const XMLElement& robot) {
    if (robot.Name() != std::string_view("robot")) {
      fail(robot, "the outermost element is " + tagOf(robot).substr(0, 60) +
                      "; a model begins with <robot>");
    }
    // The two that editors use to find the schema.
    const Attributes attributes(robot,
                                {"name", "version", "xmlns:xsi", "xsi:noNamespaceSchemaLocation"});
    attributes.required("name");
    fContent.name = attributes.name("name");
    fContent.version = attributes.name("version");
    if (fContent.name.empty()) xWarn(robot, "the robot's name is empty");
    for (const XMLElement& child : childrenOf(robot)) {
      if (child.Name() == std::string_view("config")) {
        xReadConfig(child);
      } else if (child.Name() == std::string_view("leds")) {
        xReadLeds(child);
      } else {
        failUnknown(child, "<config> and <leds> inside <robot>");
      }
    }
    if (fSuppressedWarnings > 0) {
      fContent.warnings.push_back(
          {0, "and " + std::to_string(fSuppressedWarnings) + " more warnings of these kinds"});
    }
  }

 private:
  /// The child elements, for a range loop.
  struct Children {
    struct Iterator {
      const XMLElement* element;
      const XMLElement& operator*() const { return *element; }
      Iterator& operator++() {
        element = element->NextSiblingElement();
        return *this;
      }
      bool operator!=(const Iterator& other) const { return element != other.element; }
    };
    const XMLElement& parent;
    Iterator begin() const { return {parent.FirstChildElement()}; }
    Iterator end() const { return {nullptr}; }
  };
  static Children childrenOf(const XMLElement& element) { return {element}; }

  /// The groups of an element and of those around it, while it is read.
  class Groups {
   public:
    Groups(Reader& reader, const XMLElement& element, const Attributes& attributes)
        : fGroups(reader.fGroups), fOuter(fGroups.size()) {
      for (auto& group : attributes.words("groups")) fGroups.push_back(std::move(group));
      if (fGroups.size() > Model::kMaxGroupsOfLed) {
        fGroups.resize(fOuter);
        fail(element, "an LED in more than " + std::to_string(Model::kMaxGroupsOfLed) + " groups");
      }
    }
    ~Groups() { fGroups.resize(fOuter); }
    Groups(const Groups&) = delete;
    Groups& operator=(const Groups&) = delete;

   private:
    std::vector<std::string>& fGroups;
    const std::size_t fOuter;
  };

  void xWarn(const XMLElement& element, const std::string& text) {
    if (fContent.warnings.size() >= kMaxWarnings) {
      ++fSuppressedWarnings;
      return;
    }
    fContent.warnings.push_back({element.GetLineNum(), text});
  }

  void xExpectEmpty(const XMLElement& element) {
    if (const auto* child = element.FirstChildElement()) {
      failUnknown(*child, "nothing inside " + tagOf(element));
    }
  }

  void xReadConfig(const XMLElement& element) {
    const Attributes attributes(element, {"key", "value"});
    attributes.required("key");
    const std::string key = attributes.name("key");
    std::string value = attributes.required("value");
    xExpectEmpty(element);
    if (key.empty()) {
      xWarn(element, "a configuration key is empty; it is left out");
      return;
    }
    const auto [place, isNew] = fContent.config.insert_or_assign(key, std::move(value));
    if (!isNew) {
      xWarn(element,
            "configuration key " + quoted(key) + " is listed twice; the later value holds");
    }
  }

  // As deep as elements nest, which is bounded.
  void xReadLeds(const XMLElement& element) {
    const Attributes attributes(element, {"groups"});
    const Groups groups(*this, element, attributes);
    for (const XMLElement& child : childrenOf(element)) {
      if (child.Name() == std::string_view("leds")) {
        xReadLeds(child);
      } else if (child.Name() == std::string_view("led")) {
        xReadLed(child);
      } else {
        failUnknown(child, "<led> and <leds> inside <leds>");
      }
    }
  }

  void xReadLed(const XMLElement& element) {
    const Attributes attributes(element,
                                {"short", "groups", "x", "y", "shape", "width", "height", "angle"});
    const Groups groups(*this, element, attributes);
    const Led led{attributes.name("short"), xPosition(element, attributes), xShape(attributes)};
    if (element.FirstChildElement() == nullptr) {
      xWarn(element, "<led> " + quoted(led.shortname) + " has no <device>; nothing drives it");
    }
    for (const XMLElement& child : childrenOf(element)) {
      if (child.Name() != std::string_view("device")) {
        failUnknown(child, "<device> inside <led>");
      }
      xReadDevice(child, led);
    }
  }

  static std::optional<Position> xPosition(const XMLElement& element,
                                           const Attributes& attributes) {
    constexpr double kMost = Model::kMaxMillimetres;
    if (attributes.has("x") != attributes.has("y")) {
      fail(element, "<led> has one of x and y; a position has both");
    }
    if (!attributes.has("x")) return std::nullopt;
    return Position{attributes.number("x", 0, -kMost, kMost),
                    attributes.number("y", 0, -kMost, kMost)};
  }

  static Shape xShape(const Attributes& attributes) {
    Shape shape;
    if (attributes.has("shape")) {
      shape.kind = static_cast<Shape::Kind>(attributes.choice(
          "shape", {shapeName(Shape::Kind::kCircle), shapeName(Shape::Kind::kRectangle),
                    shapeName(Shape::Kind::kSector)}));
    }
    shape.width = attributes.number("width", shape.width, 0, Model::kMaxMillimetres);
    shape.height = attributes.number("height", shape.width, 0, Model::kMaxMillimetres);
    shape.angle = attributes.number("angle", shape.angle, -360, 360);
    return shape;
  }

  static LEDActuator::Color xColor(const Attributes& attributes) {
    std::vector<std::string_view> names;
    for (int color = LEDActuator::Red; color <= LEDActuator::Infrared; ++color) {
      names.push_back(colorName(static_cast<LEDActuator::Color>(color)));
    }
    return static_cast<LEDActuator::Color>(attributes.choice("color", names));
  }

  void xReadDevice(const XMLElement& element, const Led& led) {
    const Attributes attributes(element, {"name", "color", "short", "groups"});
    const Groups groups(*this, element, attributes);
    attributes.required("name");
    std::string name = attributes.name("name");
    std::string shortname = attributes.has("short") ? attributes.name("short") : led.shortname;
    const auto color = xColor(attributes);
    xExpectEmpty(element);
    xCount(element);
    if (name.empty()) xWarn(element, "the name of a device is empty");
    if (shortname.empty()) xWarn(element, "the short name of device " + quoted(name) + " is empty");
    if (!fNames.insert(name).second) {
      xWarn(element, "device " + quoted(name) + " is listed twice");
    }
    fContent.leds.emplace_back(std::move(name), std::move(shortname), fGroups, color, led.position,
                               led.shape);
  }

  void xCount(const XMLElement& element) {
    if (fContent.leds.size() == Model::kMaxLeds) {
      fail(element, "more than " + std::to_string(Model::kMaxLeds) + " LEDs");
    }
    fMemberships += fGroups.size();
    if (fMemberships > Model::kMaxMemberships) {
      fail(element, "more than " + std::to_string(Model::kMaxMemberships) +
                        " memberships of LEDs in groups");
    }
  }

  ModelContent& fContent;
  std::vector<std::string> fGroups;  // of the elements that are open now
  std::set<std::string> fNames;
  std::size_t fMemberships = 0;
  std::size_t fSuppressedWarnings = 0;
};

/// What the parser says about a text whose tags are in order.
[[noreturn]] void failParsing(const tinyxml2::XMLDocument& document) {
  const int line = document.ErrorLineNum();
  switch (document.ErrorID()) {
    case tinyxml2::XML_ERROR_PARSING_ATTRIBUTE:
    case tinyxml2::XML_ERROR_PARSING_ELEMENT:
      throw ModelError(line, "a broken attribute; each is written once, as name=\"value\"");
    case tinyxml2::XML_ERROR_PARSING_DECLARATION:
      throw ModelError(line, "a declaration (\"<?\") stands only at the beginning");
    default:
      throw ModelError(line, std::string("not well-formed XML (") + document.ErrorName() + ")");
  }
}

}  // namespace

std::string quoted(std::string_view text) {
  constexpr std::size_t kMost = 60;
  std::string shown = "\"";
  for (const char c : text.substr(0, kMost)) {
    shown += static_cast<unsigned char>(c) < 0x20 ? ' ' : c;
  }
  if (text.size() <= kMost) return shown + "\"";
  // Not within the bytes of one character.
  while ((static_cast<unsigned char>(shown.back()) & 0xC0) == 0x80) shown.pop_back();
  if (static_cast<unsigned char>(shown.back()) >= 0xC0) shown.pop_back();
  return shown + "...\"";
}

ModelContent readModel(std::string_view xml) {
  checkText(xml);
  tinyxml2::XMLDocument document;
  if (document.Parse(xml.data(), xml.size()) != tinyxml2::XML_SUCCESS) failParsing(document);
  ModelContent content;
  Reader(content).readRobot(*document.RootElement());
  return content;
}

}  // namespace Sim::detail
