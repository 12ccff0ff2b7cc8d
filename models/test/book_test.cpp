// What docs/robot-model.md shows is what happens.
#include <gmock/gmock.h>

#include "framework/sim/model.h"
#include "models/test/content.h"

namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

std::string book() { return contentOf("docs/robot-model.md"); }

/// Every whole model that stands in the book.
std::vector<std::string> examples() {
  const std::string text = book();
  const std::string begin = "```xml\n<?xml";
  std::vector<std::string> found;
  for (auto at = text.find(begin); at != std::string::npos; at = text.find(begin, at + 1)) {
    const auto first = text.find('\n', at) + 1;
    found.push_back(text.substr(first, text.find("```", first) - first));
  }
  return found;
}

std::string changed(std::string text, const std::string& from, const std::string& to) {
  const auto at = text.find(from);
  EXPECT_NE(at, std::string::npos) << from;
  return text.replace(at, from.size(), to);
}

/// The line that a robot started with `xml` prints.
std::string lineFor(const std::string& xml) {
  try {
    const Sim::Model model(xml);
    return "accepted";
  } catch (const Sim::ModelError& error) {
    return "\nmy.xml:" + std::to_string(error.line()) + ": " + error.problem() + "\n";
  }
}

TEST(Book, ShowsTheMinimalModelAsItIs) {
  ASSERT_THAT(examples(), SizeIs(2));
  EXPECT_EQ(examples()[0], contentOf("models/minimal.xml"));
}

TEST(Book, ShowsAWorkedExampleThatIsReadWithoutAWarning) {
  const Sim::Model model(examples().at(1));
  EXPECT_THAT(model.warnings(), IsEmpty());
  EXPECT_THAT(model.ledActuators(), SizeIs(4));
  EXPECT_EQ(model.prettyName(0), "Walker");
}

TEST(Book, ShowsErrorsAsTheyLook) {
  const std::string good = contentOf("models/minimal.xml");
  for (const std::string& bad : {
           changed(good, "\"green\"", "\"purple\""),
           changed(good, "color=\"red\"", "colour=\"red\""),
           changed(changed(good, "<led ", "<ledz "), "</led>", "</ledz>"),
           changed(good, "x=\"0\"", "x=\"nan\""),
           changed(good, " y=\"0\"", ""),
           good.substr(0, good.find("</led>")),
           changed(good, "  </leds>\n", ""),
           std::string("LEDs: 3"),
           changed(good, "<robot", "<!DOCTYPE robot>\n<robot"),
       }) {
    EXPECT_THAT(book(), HasSubstr(lineFor(bad)));
  }
}

TEST(Book, NamesEveryColourAndLimit) {
  for (int color = 0; color <= Sim::LEDActuator::Infrared; ++color) {
    const std::string name(Sim::colorName(static_cast<Sim::LEDActuator::Color>(color)));
    EXPECT_THAT(book(), HasSubstr("`" + name + "`"));
  }
  static_assert(Sim::Model::kMaxBytes == 64u << 20);
  EXPECT_THAT(book(), HasSubstr("| the file | 64 MB "));
  static_assert(Sim::Model::kMaxLeds == 200000);
  EXPECT_THAT(book(), HasSubstr("| `<device>` elements | 200,000 |"));
  static_assert(Sim::Model::kMaxDepth == 64);
  EXPECT_THAT(book(), HasSubstr("| elements inside each other | 64 |"));
  static_assert(Sim::Model::kMaxGroupsOfLed == 64);
  EXPECT_THAT(book(), HasSubstr("those around it included | 64 |"));
  static_assert(Sim::Model::kMaxMemberships == 2000000);
  EXPECT_THAT(book(), HasSubstr("| groups of all channels together | 2,000,000 |"));
  static_assert(Sim::Model::kMaxNameBytes == 200);
  EXPECT_THAT(book(), HasSubstr("| a name | 200 bytes"));
}

}  // namespace
