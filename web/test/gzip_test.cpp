#include "web/server/gzip.h"

#include <gtest/gtest.h>

#include "web/test/unpacked.h"

namespace web {
namespace {

TEST(Gzip, GivesBackWhatWasPacked) {
  std::string large;
  for (int i = 0; i < 100'000; ++i) large += std::to_string(i * 7919);
  for (const std::string& content :
       {std::string(), std::string("x"), std::string("a\0b", 3), large}) {
    EXPECT_EQ(unpacked(gzip(content)), content) << content.size() << " bytes";
  }
  EXPECT_LT(gzip(large).size(), large.size() / 2);
}

TEST(Gzip, IsSentToWhoAcceptsItOnly) {
  for (const char* header :
       {"gzip", "GZIP", "x-gzip", "gzip, deflate, br", "deflate,gzip",
        "br;q=1.0, gzip;q=0.8, *;q=0.1", "gzip;q=0.001", "gzip;q=1", "gzip;q=1.000", "gzip ; q=0.5",
        " gzip\t", "*", "*;q=0.3", "identity;q=0, gzip", "gzip;Q=1", ",,gzip,", "*;q=0, gzip"}) {
    EXPECT_TRUE(acceptsGzip(header)) << header;
  }
  for (const char* header : {"", " ", "identity", "br", "deflate", "gzip;q=0", "gzip;q=0.000",
                             "gzip;q=0.", "*;q=0", "gzip;q=0, *", "*, gzip;q=0", "gzipped", "gzi",
                             "not-gzip", "br;gzip", "identity;q=1", ";q=1", "q=1"}) {
    EXPECT_FALSE(acceptsGzip(header)) << header;
  }
}

TEST(Gzip, IsNotSentWhereTheWeightCannotBeRead) {
  for (const char* header : {"gzip;q=", "gzip;q=2", "gzip;q=1.5", "gzip;q=-1", "gzip;q=0.1234",
                             "gzip;q=x", "gzip;q", "gzip;w=1", "gzip;q=.5", "gzip;q=1;x=1"}) {
    EXPECT_FALSE(acceptsGzip(header)) << header;
  }
}

}  // namespace
}  // namespace web
