#include "framework/xo/version.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

using xo::version::compare;

TEST(VersionCompare, ComparesComponentsAsNumbers) {
  EXPECT_GT(compare("4.10.0", "4.9.0"), 0);
  EXPECT_LT(compare("4.9.0", "4.10.0"), 0);
  EXPECT_LT(compare("0.5.9", "0.6.0"), 0);
  EXPECT_GT(compare("2", "1.99.99"), 0);
  EXPECT_EQ(compare("1.2.3", "1.2.3"), 0);
}

TEST(VersionCompare, CountsAMissingComponentAsZero) {
  EXPECT_EQ(compare("4.1", "4.1.0"), 0);
  EXPECT_EQ(compare("4.1.0.0", "4.1"), 0);
  EXPECT_LT(compare("4.1", "4.1.0.1"), 0);
  EXPECT_GT(compare("4.1.1", "4.1"), 0);
}

TEST(VersionCompare, IgnoresLeadingZerosAndKnowsNoLargestNumber) {
  EXPECT_EQ(compare("1.007", "1.7"), 0);
  EXPECT_EQ(compare("0000", "0"), 0);
  EXPECT_LT(compare("1.99999999999999999998", "1.99999999999999999999"), 0);
  EXPECT_GT(compare("1.100000000000000000000", "1.99999999999999999999"), 0);
}

TEST(VersionCompare, RefusesWhatIsNoVersion) {
  for (const char* text :
       {"", ".", "1.", ".1", "1..2", "1.x", "v1", "1. 2", "-1", "1,2", "1.2\n"}) {
    EXPECT_THROW(compare(text, "1.0"), std::invalid_argument) << text;
    EXPECT_THROW(compare("9.0", text), std::invalid_argument) << text;
  }
  try {
    compare("1.0", "2.beta");
    FAIL() << "nothing thrown";
  } catch (const std::invalid_argument& error) {
    EXPECT_STREQ(error.what(),
                 "\"2.beta\" is not a version: decimal numbers separated by dots expected");
  }
}

}  // namespace
