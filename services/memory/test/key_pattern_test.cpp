#include "services/memory/src/key_pattern.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace HB {
namespace {

struct Case {
  std::string pattern;
  std::string key;
  bool matches;
};

class KeyPatternTable : public testing::TestWithParam<Case> {};

TEST_P(KeyPatternTable, DecidesEachRow) {
  const Case& row = GetParam();
  EXPECT_EQ(KeyPattern(row.pattern).matches(row.key), row.matches)
      << "'" << row.pattern << "' on '" << row.key << "'";
}

INSTANTIATE_TEST_SUITE_P(Rows, KeyPatternTable,
                         testing::ValuesIn(std::vector<Case>{
                             // Everything.
                             {"", "a", true},
                             {"", "", true},
                             {"*", "Device/Face", true},
                             {"***", "Device/Face", true},
                             // The whole key, or the rest of it from the start of a component.
                             {"Device/Face", "Device/Face", true},
                             {"Face", "Device/Face", true},
                             {"Face", "Device/Face/Led", false},
                             {"Face", "Device/Surface", false},
                             {"ace", "Device/Face", false},
                             {"Device", "Device/Face", false},
                             {"Head/Type", "RobotConfig/Head/Type", true},
                             {"Face/*",
                              "Device/SubDeviceList/Face/Led/Red/Left/0Deg/Actuator/Value", true},
                             {"Face/*", "Face/", true},
                             {"Face/*", "Face", false},
                             {"Face/*", "Surface/Led", false},
                             // A leading star: anywhere.
                             {"*ace", "Device/Surface", true},
                             {"*ace", "Device/Surfaces", false},
                             {"*Red*", "Face/Led/Red/Left", true},
                             {"*Red*", "Face/Led/Green/Left", false},
                             // Stars inside span "/" and may be empty.
                             {"Face/*/Left/*", "Device/Face/Led/Red/Left/0Deg", true},
                             {"Face/*/Left/*", "Device/Face/Led/Red/Right/0Deg", false},
                             {"Fa*ce", "Face", true},
                             {"Face**", "Face", true},
                             {"a*b*c", "aXbYbZc", true},
                             {"a*b*c", "aXcYb", false},
                             {"a*aab", "aaaaab", true},
                             // Nothing else has a meaning.
                             {"Face?", "Faces", false},
                             {"[ab]", "a", false},
                             {".", "a", false},
                             {"face", "Face", false},
                             {"a//b", "a//b", true},
                             {"/b", "a//b", true},
                             {"b", "a//b", true},
                             {"\xc3\xa4*", "x/\xc3\xa4ther", true},
                         }));

TEST(KeyPattern, EndsSoonOnTextsMadeToBeSlow) {
  std::string pattern;
  for (int i = 0; i < 200; ++i) pattern += "a*";
  EXPECT_FALSE(KeyPattern(pattern + "b").matches(std::string(2000, 'a')));
}

}  // namespace
}  // namespace HB
