// What clients may have at once and make in all: places for calls and for what is held, quotas.
#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <list>
#include <thread>

#include "access/access.h"
#include "access/test/refusal.h"

namespace door {
namespace {

using HB::HBValue;
using testing::HasSubstr;

TEST(Places, AreLimitedPerClientAndInAllAndGivenBack) {
  const Places places("watches", 2, 3);
  auto first = places.take(kAda);
  auto second = places.take(kAda);
  EXPECT_EQ(refusalOf([&] { (void)places.take(kAda); }),
            "This client's watches have reached the limit of 2");
  auto third = places.take(kBen);
  EXPECT_EQ(refusalOf([&] { (void)places.take(kBen); }), "The watches have reached the limit of 3");
  second.reset();
  EXPECT_EQ(refusalOf([&] { second = places.take(kBen); }), "not refused");
  first.reset();
  EXPECT_EQ(refusalOf([&] { (void)places.take(kAda); }), "not refused");
}

TEST(Places, APlaceMayBeGivenBackWhenThePlacesAreGone) {
  Places::Place place;
  { place = Places("watches", 1, 1).take(kAda); }
  place.reset();
}

class QuotaTest : public testing::Test {
 protected:
  QuotaTest() { publish(); }
  void publish() {
    fRegistration.reset();
    xo::ObjectBuilder builder;
    builder.add(xo::makeMethod<void(const std::string&)>(
        {"make", "", {}, {}, {}}, [](const std::string& name) {
          if (name == "bad") throw std::runtime_error("no such thing");
        }));
    builder.add(xo::makeMethod<void(const std::string&)>({"look", "", {}, {}, {}},
                                                         [](const std::string&) {}));
    fRegistration = fSession->registerService("Shop", std::move(builder));
  }
  std::string make(const HBValue& name, const std::string& method = "make") {
    return refusalOf([&] { fAccess.call(kAda, "Shop", method, std::span(&name, 1)); });
  }

  std::shared_ptr<xo::Session> fSession = std::make_shared<xo::Session>();
  Access fAccess{fSession, {}, {{"Shop", "make", 2, "things made"}}};
  std::unique_ptr<xo::Session::Registration> fRegistration;
  const std::string kRefusal = "The things made have reached the limit of 2";
};

TEST_F(QuotaTest, OneMoreNameThanAllowedIsRefusedWithTheLimit) {
  EXPECT_EQ(make("a"), "not refused");
  EXPECT_EQ(make("b"), "not refused");
  EXPECT_EQ(make("c"), kRefusal);
  EXPECT_EQ(make("c", "look"), "not refused") << "another method is not counted";
}

TEST_F(QuotaTest, ANameThatStandsMayBeMadeAgain) {
  for (const char* name : {"a", "b", "a", "b"}) EXPECT_EQ(make(name), "not refused") << name;
  EXPECT_EQ(make("c"), kRefusal);
}

TEST_F(QuotaTest, ACallThatFailedOrHasNoNameDoesNotCount) {
  EXPECT_EQ(make("bad"), "not refused");
  EXPECT_EQ(make(7), "not refused");
  make("a");
  EXPECT_EQ(make("bad"), "not refused");
  EXPECT_EQ(make("b"), "not refused");
  EXPECT_EQ(make("bad"), kRefusal);
}

TEST_F(QuotaTest, AServiceThatIsPublishedAnewBeginsToCountAnew) {
  make("a");
  make("b");
  EXPECT_EQ(make("c"), kRefusal);
  publish();
  EXPECT_EQ(make("c"), "not refused");
  EXPECT_EQ(make("d"), "not refused");
  EXPECT_EQ(make("a"), kRefusal);
}

TEST_F(QuotaTest, ManyThreadsTogetherMakeNoMoreThanAllowed) {
  std::atomic<int> made{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([this, &made, i] {
      for (int j = 0; j < 50; ++j) {
        if (make(std::to_string(i) + "." + std::to_string(j)) == "not refused") ++made;
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(made, 2);
}

/// A service with methods that stay inside until they are asked to stop, and one that does not.
class BusyRobot : public testing::Test {
 protected:
  BusyRobot() {
    xo::ObjectBuilder builder;
    for (const char* name : {"stay", "linger"}) {
      builder.add(xo::makeMethod<void()>({name, "", {}, {}, {}}, [this] {
        ++fInside;
        while (!xo::CallScope::current()->isStopRequested()) std::this_thread::yield();
        --fInside;
      }));
    }
    builder.add(xo::makeMethod<void()>({"off", "", {}, {}, {}}, [] {}));
    fRegistration = fSession->registerService("Test", std::move(builder));
  }
  ~BusyRobot() override {
    fAccess.cancelAllBy("grpc");
    for (auto& thread : fThreads) thread.join();
  }
  void fill(const Client& client, int calls, const std::string& method = "stay") {
    const int wanted = fInside + calls;
    for (int i = 0; i < calls; ++i) {
      fThreads.emplace_back([this, client, method] { fAccess.call(client, "Test", method, {}); });
    }
    while (fInside != wanted) std::this_thread::yield();
  }
  std::string call(const Client& client, const std::string& method) {
    return refusalOf([&] { fAccess.call(client, "Test", method, {}); });
  }

  std::shared_ptr<xo::Session> fSession = std::make_shared<xo::Session>();
  std::atomic<int> fInside{0};
  std::unique_ptr<xo::Session::Registration> fRegistration;
  Access fAccess{fSession};
  std::list<std::thread> fThreads;
};

TEST_F(BusyRobot, AClientThatHoldsAllItsCallsStillCallsWhatHardlyRuns) {
  fill(kAda, 32);
  EXPECT_EQ(call(kAda, "stay"),
            "This client's calls that run at once have reached the limit of 32");
  EXPECT_EQ(call(kAda, "off"), "not refused");
  EXPECT_EQ(call(kBen, "off"), "not refused");
}

TEST_F(BusyRobot, EndlessCallsOverAnyNumberOfConnectionsLeaveOtherMethodsToOthers) {
  for (int i = 0; i < 80; ++i) fill({"ada", "ipv4:127.0.0.1:" + std::to_string(i), "grpc"}, 1);
  EXPECT_EQ(call(kBen, "stay"), "The calls that run at once have reached the limit of 80");
  EXPECT_EQ(call(kBen, "off"), "not refused");
  fill(kBen, 4, "linger");
  EXPECT_THAT(call(kBen, "linger"), HasSubstr("reached the limit of 64"));
  EXPECT_EQ(call({"ada", "ipv4:127.0.0.1:1", "grpc"}, "off"), "not refused");
}

TEST(ListLimits, NamesEachLimitOnceWithItsNumber) {
  const Access access(std::make_shared<xo::Session>(), {}, {{"Shop", "make", 7, "things made"}});
  const auto limits = access.listLimits();
  const auto most = [&](const std::string& name) {
    EXPECT_EQ(std::ranges::count(limits, name, &NamedLimit::name), 1) << name;
    return std::ranges::find(limits, name, &NamedLimit::name)->most;
  };
  EXPECT_EQ(most("list elements"), 4096u);
  EXPECT_EQ(most("text bytes"), 65536u);
  EXPECT_EQ(most("message bytes"), 1048576u);
  EXPECT_EQ(most("calls that run at once, of one client"), 32u);
  EXPECT_EQ(most("calls that run at once, of all clients"), 96u);
  EXPECT_EQ(most("watches, of one client"), 64u);
  EXPECT_EQ(most("lent services, of all clients"), 64u);
  EXPECT_EQ(most("connections, by each way in"), 1024u);
  EXPECT_EQ(most("things made"), 7u);
}

}  // namespace
}  // namespace door
