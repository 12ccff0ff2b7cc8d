// The published table, word for word.
#include <gmock/gmock.h>

#include <map>
#include <regex>

#include "hardware/leds/test/support/method_rows.h"
#include "hardware/leds/test/support/robot.h"

namespace HB::test {
namespace {

using ::testing::HasSubstr;

TEST(MethodTable, DescribesTheModuleInFourLines) {
  Robot robot;
  EXPECT_EQ(
      robot.service().describe().description,
      "This module allows you to control VANTO's LEDs. It provides simple ways of setting or "
      "fading the intensity of single LEDs and groups of LEDs. \n"
      "Groups of LEDs typically include face LEDs, ear LEDs etc. It is also possible to control "
      "each LED separately (for example, each of the 8 LEDs in one VANTO's eyes).\n"
      "There are three primary colors of LEDs available - red, green and blue, so it is possible "
      "to combine them to obtain different colors. The ears contain blue LEDs only.\n"
      "It is possible to control the LED's intensity (between 0 and 100%).");
}

TEST(MethodTable, ListsItsMethodsInOrder) {
  Robot robot;
  std::vector<std::string> names;
  std::vector<std::string> expected;
  for (const auto& method : robot.service().describe().methods) names.push_back(method.doc.name);
  for (const auto& row : expectedRows()) expected.push_back(row.name);
  EXPECT_EQ(names, expected);
}

TEST(MethodTable, HasThirtyFiveRows) {
  Robot robot;
  EXPECT_EQ(robot.service().describe().methods.size(), 35u);
}

TEST(MethodTable, HasEveryTextAndSignatureAsWritten) {
  Robot robot;
  const auto methods = robot.service().describe().methods;
  const auto rows = expectedRows();
  ASSERT_EQ(methods.size(), rows.size());
  for (std::size_t i = 0; i < rows.size(); ++i) {
    SCOPED_TRACE(rows[i].name + rows[i].signature);
    EXPECT_EQ(methods[i].doc.name, rows[i].name);
    EXPECT_EQ(methods[i].doc.description, rows[i].description);
    EXPECT_EQ(methods[i].signature.text(), rows[i].signature);
    EXPECT_EQ(methods[i].doc.returns.has_value(), rows[i].returns.has_value());
    if (methods[i].doc.returns && rows[i].returns) {
      EXPECT_EQ(methods[i].doc.returns->name, rows[i].returns->name);
      EXPECT_EQ(methods[i].doc.returns->text, rows[i].returns->text);
    }
    ASSERT_EQ(methods[i].doc.params.size(), rows[i].params.size());
    for (std::size_t p = 0; p < rows[i].params.size(); ++p) {
      EXPECT_EQ(methods[i].doc.params[p].name, rows[i].params[p].name);
      EXPECT_EQ(methods[i].doc.params[p].text, rows[i].params[p].text);
    }
  }
}

TEST(MethodTable, HasAPythonAndACppExampleWhereItHasAny) {
  Robot robot;
  const auto methods = robot.service().describe().methods;
  const auto rows = expectedRows();
  ASSERT_EQ(methods.size(), rows.size());
  for (std::size_t i = 0; i < rows.size(); ++i) {
    SCOPED_TRACE(rows[i].name);
    const auto& examples = methods[i].doc.examples;
    ASSERT_EQ(examples.size(), rows[i].hasExamples ? 2u : 0u);
    if (examples.empty()) continue;
    EXPECT_EQ(examples[0].name, "python");
    EXPECT_EQ(examples[1].name, "c++");
    EXPECT_TRUE(std::regex_search(examples[0].text, std::regex("^# Example showing [^\n]+\n.")));
    EXPECT_TRUE(std::regex_search(examples[1].text, std::regex("^// Example showing [^\n]+\n.")));
    for (const auto& example : examples) {
      EXPECT_EQ(example.text.back(), '\n');
    }
    EXPECT_THAT(examples[0].text, HasSubstr("proxy." + rows[i].name + "("));
    EXPECT_THAT(examples[1].text, HasSubstr("proxy.call"));
    EXPECT_THAT(examples[1].text, HasSubstr("(\"" + rows[i].name + "\""));
  }
}

TEST(MethodTable, ShowsInItsExamplesTheNamesAndValuesThatTheyAreAbout) {
  Robot robot;
  std::map<std::string, xo::MethodDoc> docs;
  for (const auto& method : robot.service().describe().methods) {
    if (!method.doc.examples.empty()) docs[method.doc.name] = method.doc;
  }
  const auto example = [&](const std::string& name, std::size_t which) {
    return docs.at(name).examples.at(which).text;
  };
  for (const std::size_t language : {0u, 1u}) {
    EXPECT_THAT(example("fade", language), HasSubstr("\"LeftEye\""));
    EXPECT_THAT(example("listGroup", language), HasSubstr("AllLeds"));
    EXPECT_THAT(example("off", language), HasSubstr("FaceLeds"));
    EXPECT_THAT(example("on", language), HasSubstr("FaceLeds"));
  }
  EXPECT_THAT(example("fade", 0), HasSubstr("proxy.fade(name, intensity, duration)"));
  EXPECT_THAT(example("fade", 1), HasSubstr("(\"fade\", name, intensity, duration)"));
  EXPECT_THAT(example("fade", 0), HasSubstr("0.5"));
  EXPECT_THAT(example("fade", 0), HasSubstr("1.0"));
  EXPECT_THAT(example("fade", 1), HasSubstr("float intensity = 0.5f;"));
  EXPECT_THAT(example("fade", 1), HasSubstr("float duration = 1.0f;"));
  EXPECT_THAT(example("rasta", 0), HasSubstr("duration = 1.0\n"));
  EXPECT_THAT(example("rasta", 0), HasSubstr("proxy.rasta(duration)"));
  EXPECT_THAT(example("rasta", 1), HasSubstr("float duration = 1.0f;"));
  EXPECT_THAT(example("rasta", 1), HasSubstr("(\"rasta\", duration)"));
  EXPECT_THAT(example("listGroup", 0), HasSubstr("print"));
  EXPECT_THAT(example("listGroups", 0), HasSubstr("print"));
  EXPECT_THAT(example("listGroup", 1), HasSubstr("std::vector<std::string>"));
  EXPECT_THAT(example("listGroups", 1), HasSubstr("std::vector<std::string>"));
}

}  // namespace
}  // namespace HB::test
