#include "tools/ledctl/manual.h"

#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

#include "tools/ledctl/test/tables.h"

namespace ledctl {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

std::vector<const xo::MethodInfo*> rows(const xo::ObjectInfo& table, const std::string& name) {
  std::vector<const xo::MethodInfo*> made;
  for (const auto& method : table.methods) {
    if (name.empty() || method.doc.name == name) made.push_back(&method);
  }
  return made;
}

TEST(MethodManual, ShowsFormTextTypesResultAndExamples) {
  auto method = testing::method("fade", {{"name", testing::kString}, {"duration", testing::kFloat}},
                                testing::futureOf(testing::kVoid));
  method.doc.returns = xo::NamedText{"end", "When it ends."};
  method.doc.examples = {{"python", "# Example\nproxy.fade()\n"}};
  const std::vector<const xo::MethodInfo*> one{&method};
  EXPECT_EQ(methodManual(one),
            "fade NAME DURATION\n"
            "    About fade.\n"
            "    NAME      string  The name.\n"
            "    DURATION  float   The duration.\n"
            "    Returns a future of nothing (--wait waits for it). end: When it ends.\n"
            "\n"
            "Example (python):\n"
            "    # Example\n"
            "    proxy.fade()\n");
}

TEST(MethodManual, ShowsEveryOverload) {
  const auto table = testing::ledTable();
  const auto text = methodManual(rows(table, "fadeRGB"));
  EXPECT_THAT(text, HasSubstr("fadeRGB NAME RED GREEN BLUE DURATION\n"));
  EXPECT_THAT(text, HasSubstr("fadeRGB NAME COLORNAME DURATION\n"));
  EXPECT_THAT(text, HasSubstr("fadeRGB NAME RGB DURATION\n"));
}

TEST(MethodManual, TellsOfAParameterThatIsDocumentedButDoesNotExist) {
  auto method = testing::method("_blinkWithShadow", {});
  method.doc.params = {{"eyeShadow", "The color."}};
  const std::vector<const xo::MethodInfo*> one{&method};
  EXPECT_THAT(methodManual(one), HasSubstr("_blinkWithShadow\n"));
  EXPECT_THAT(methodManual(one), HasSubstr("(eyeShadow: The color. Documented only"));
}

TEST(MethodList, HasOneLineARow) {
  const auto table = testing::ledTable();
  const auto text = methodList(table);
  EXPECT_EQ(static_cast<std::size_t>(std::ranges::count(text, '\n')), table.methods.size());
  EXPECT_THAT(text, HasSubstr("setIntensity NAME INTENSITY"));
}

TEST(ServiceManual, BeginsWithTheServicesDescription) {
  const auto text = serviceManual("HBLeds", testing::ledTable());
  EXPECT_THAT(text, ::testing::StartsWith("HBLeds\n\nLights.\n\ncreateGroup"));
  EXPECT_THAT(text, Not(HasSubstr("\x1b")));
}

TEST(MethodsJson, HasOneElementARowInTheTablesOrder) {
  const auto table = testing::ledTable();
  const auto json = nlohmann::json::parse(methodsJson(rows(table, "")));
  ASSERT_EQ(json.size(), table.methods.size());
  EXPECT_EQ(json[0]["name"], "createGroup");
  EXPECT_EQ(json[3]["signature"], "(string, string, float) -> future<void>");
  EXPECT_EQ(
      json[3]["parameters"][1],
      (nlohmann::json{{"name", "colorName"}, {"type", "string"}, {"text", "The colorName."}}));
  EXPECT_EQ(json[7]["parameters"][0]["name"], "");
  EXPECT_EQ(json[7]["documented"].size(), 0U);
}

}  // namespace
}  // namespace ledctl
