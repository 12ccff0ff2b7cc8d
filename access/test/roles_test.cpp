// What a viewer may not do, and is told.
#include <gmock/gmock.h>

#include "access/access.h"
#include "access/memory_watch.h"
#include "access/test/fake_memory.h"

namespace door {
namespace {

const Client kOwner{"ada", "ipv4:192.0.2.1:1", "grpc", Role::kOperator};
const Client kGuest{"ben", "ipv4:192.0.2.1:2", "grpc", Role::kViewer};

class RolesTest : public testing::Test {
 protected:
  RolesTest() {
    xo::ObjectBuilder builder;
    for (const char* name : {"off", "look", "lookAway"}) {
      builder.add(xo::makeMethod<void()>({name, "", {}, {}, {}}, [this] { ++fCalls; }));
    }
    fRegistration = fSession->registerService("Test", std::move(builder));
  }

  std::shared_ptr<xo::Session> fSession = std::make_shared<xo::Session>();
  FakeMemory fMemory{*fSession};
  int fCalls = 0;
  std::unique_ptr<xo::Session::Registration> fRegistration;
  Access fAccess{fSession, {}, {}, {{"Test", "look"}, {"Other", "off"}}};
};

template <class F>
std::string notAllowed(F&& f) {
  try {
    f();
  } catch (const Refused& refused) {
    EXPECT_EQ(refused.why(), Refused::Why::kNotAllowed);
    return refused.what();
  }
  return "allowed";
}

TEST_F(RolesTest, OnlyAnOperatorCallsMethods) {
  EXPECT_EQ(notAllowed([&] { fAccess.call(kGuest, "Test", "off", {}); }),
            "Calling methods needs the role operator; yours is viewer");
  EXPECT_EQ(fCalls, 0);
  EXPECT_EQ(notAllowed([&] { fAccess.call(kOwner, "Test", "off", {}); }), "allowed");
  EXPECT_EQ(fCalls, 1);
}

TEST_F(RolesTest, AViewerCallsReadingsAndNothingElse) {
  EXPECT_EQ(notAllowed([&] { fAccess.call(kGuest, "Test", "look", {}); }), "allowed");
  EXPECT_EQ(fCalls, 1);
  for (const char* method : {"off", "lookAway", "Look", "loo"}) {
    EXPECT_EQ(notAllowed([&] { fAccess.call(kGuest, "Test", method, {}); }),
              "Calling methods needs the role operator; yours is viewer")
        << method;
  }
  EXPECT_EQ(fCalls, 1);
}

TEST_F(RolesTest, OnlyAnOperatorStopsCallsAndLendsServices) {
  EXPECT_EQ(notAllowed([&] { fAccess.cancel(kGuest, 1); }),
            "Stopping a call needs the role operator; yours is viewer");
  EXPECT_EQ(notAllowed([&] { (void)fAccess.takeLendPlace(kGuest); }),
            "Lending a service needs the role operator; yours is viewer");
  EXPECT_EQ(notAllowed([&] { EXPECT_FALSE(fAccess.cancel(kOwner, 1)); }), "allowed");
  EXPECT_EQ(notAllowed([&] { EXPECT_TRUE(fAccess.takeLendPlace(kOwner) != nullptr); }), "allowed");
}

TEST_F(RolesTest, AViewerTakesAPlaceForAWatch) {
  EXPECT_EQ(notAllowed([&] { EXPECT_TRUE(fAccess.takeWatchPlace(kGuest) != nullptr); }), "allowed");
}

TEST(Role, HasANameForPeople) {
  EXPECT_STREQ(nameOf(Role::kViewer), "viewer");
  EXPECT_STREQ(nameOf(Role::kOperator), "operator");
}

}  // namespace
}  // namespace door
