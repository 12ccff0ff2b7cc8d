#include "access/access.h"

#include <gmock/gmock.h>

#include <thread>

#include "access/test/fake_memory.h"
#include "access/test/refusal.h"

namespace door {
namespace {

using HB::HBValue;
using testing::ElementsAre;
using testing::HasSubstr;

/// A service with a method that stays inside until it is asked to stop.
class AccessTest : public testing::Test {
 protected:
  AccessTest() {
    xo::ObjectBuilder builder;
    builder.add(xo::makeMethod<int(int)>({"twice", "", {}, {}, {}},
                                         [](const int& value) { return 2 * value; }));
    builder.add(xo::makeMethod<void()>({"fail", "", {}, {}, {}},
                                       [] { throw std::out_of_range("map::at:  key not found"); }));
    builder.add(xo::makeMethod<xo::Future<int>()>({"later", "", {}, {}, {}},
                                                  [this] { return fLater.future(); }));
    for (const char* name : {"stay", "remain"}) {
      builder.add(xo::makeMethod<void()>({name, "", {}, {}, {}}, [this] {
        ++fInside;
        while (!xo::CallScope::current()->isStopRequested()) std::this_thread::yield();
        --fInside;
      }));
    }
    builder.add(xo::makeMethod<void(const std::thread&)>({"local", "", {}, {}, {}},
                                                         [](const std::thread&) {}));
    fRegistration = fSession->registerService("Test", std::move(builder));
  }

  void awaitInside(int count) const {
    while (fInside != count) std::this_thread::yield();
  }
  std::thread stay(Access& access, const Client& client, const std::string& how = "stay") {
    return std::thread([&access, client, how] { access.call(client, "Test", how, {}); });
  }

  std::shared_ptr<xo::Session> fSession = std::make_shared<xo::Session>();
  xo::Promise<int> fLater;
  std::atomic<int> fInside{0};
  std::unique_ptr<xo::Session::Registration> fRegistration;
};

TEST_F(AccessTest, ACallGivesTheMethodsValue) {
  Access access(fSession);
  const HBValue args[] = {21};
  const Outcome outcome = access.call(kAda, "Test", "twice", args);
  EXPECT_FALSE(outcome.hasFailed());
  EXPECT_EQ(outcome.value, HBValue(42));
  EXPECT_FALSE(outcome.future);
}

TEST_F(AccessTest, OneOfManyCallsOfAMethodIsToldToExpectALongOne) {
  Access access(fSession);
  static std::atomic<int> told;
  told = 0;
  const auto call = [&](const std::string& method) {
    return std::thread([&access, method] {
      access.call(
          kAda, "Test", method, {}, nullptr, +[] { ++told; });
    });
  };
  std::vector<std::thread> calls;
  for (int i = 1; i <= 5; ++i) {
    calls.push_back(call("stay"));
    awaitInside(i);
    EXPECT_EQ(told, std::max(0, i - 3)) << i;
  }
  call("twice").join();
  EXPECT_EQ(told, 2) << "another method";
  access.cancelAllBy("grpc");
  for (auto& thread : calls) thread.join();
  auto last = call("stay");
  awaitInside(1);
  EXPECT_EQ(told, 2) << "those before are over";
  access.cancelAllBy("grpc");
  last.join();
}

TEST_F(AccessTest, WhatAMethodThrowsIsAnOutcomeWithItsKindAndItsExactText) {
  Access access(fSession);
  const Outcome outcome = access.call(kAda, "Test", "fail", {});
  EXPECT_EQ(outcome.errorKind, "out_of_range");
  EXPECT_EQ(outcome.errorText, "map::at:  key not found");
}

TEST_F(AccessTest, AFutureOfTheMethodIsPartOfTheOutcome) {
  Access access(fSession);
  const Outcome outcome = access.call(kAda, "Test", "later", {});
  ASSERT_TRUE(outcome.future);
  EXPECT_TRUE(outcome.future->isRunning());
  fLater.setValue(7);
  EXPECT_EQ(outcomeOf(*outcome.future).value, HBValue(7));
}

TEST_F(AccessTest, AFinishedFutureTellsErrorAndCancellationApart) {
  const auto failed = xo::makeFailedFuture<HBValue>("no");
  EXPECT_EQ(outcomeOf(failed).errorKind, "runtime_error");
  EXPECT_EQ(outcomeOf(failed).errorText, "no");
  xo::Promise<HBValue> promise;
  promise.setCancelled();
  EXPECT_EQ(outcomeOf(promise.future()).errorKind, "cancelled");
}

TEST_F(AccessTest, AnUnknownServiceIsRefusedWithThoseThatStand) {
  Access access(fSession);
  EXPECT_EQ(refusalOf([&] { access.call(kAda, "Tset", "twice", {}); }),
            "There is no service 'Tset'; there are Test");
  fRegistration->close();
  EXPECT_EQ(refusalOf([&] { access.describe("Test"); }),
            "There is no service 'Test'; none stands now");
}

TEST_F(AccessTest, ADescriptionLeavesOutWhatCallersFromOutsideCannotUse) {
  Access access(fSession);
  std::vector<std::string> names;
  for (const auto& method : access.describe("Test").methods) names.push_back(method.doc.name);
  EXPECT_THAT(names, ElementsAre("twice", "fail", "later", "stay", "remain"));
}

TEST_F(AccessTest, EachLimitOfSizeIsRefusedWithItsNumberAndAllowedJustBelow) {
  Limits limits;
  limits.listElements = 4;
  limits.textBytes = 8;
  limits.nestedLists = 2;
  limits.values = 10;
  const auto check = [&](const HBValue& value) {
    return refusalOf([&] { requireWithinLimits(std::span(&value, 1), limits); });
  };
  EXPECT_EQ(check(HBValue(HBValue::List(4))), "not refused");
  EXPECT_EQ(check(HBValue(HBValue::List(5))), "A list has 5 elements; the limit is 4");
  EXPECT_EQ(check("12345678"), "not refused");
  EXPECT_EQ(check("123456789"), "A text has 9 bytes; the limit is 8");
  EXPECT_EQ(check(HB::Binary{std::vector<std::uint8_t>(9)}),
            "A binary has 9 bytes; the limit is 8");
  EXPECT_EQ(check(HBValue::list({HBValue::list({1})})), "not refused");
  EXPECT_EQ(check(HBValue::list({HBValue::list({HBValue::list({1})})})),
            "Lists are nested more deeply than the limit of 2");
  const HBValue three(HBValue::List(3));
  EXPECT_EQ(check(HBValue::list({three, three})), "not refused");
  EXPECT_EQ(check(HBValue::list({three, three, three})),
            "A request may hold 10 values, elements of lists included");
}

TEST_F(AccessTest, ALongNameIsRefused) {
  Access access(fSession);
  const std::string longName(257, 'x');
  EXPECT_THAT(refusalOf([&] { access.call(kAda, longName, "twice", {}); }),
              HasSubstr("has 257 bytes; the limit is 256"));
  EXPECT_THAT(refusalOf([&] { access.call(kAda, "Test", longName, {}); }),
              HasSubstr("has 257 bytes; the limit is 256"));
}

TEST_F(AccessTest, AStopFlagOfTheCallerStopsTheCall) {
  Access access(fSession);
  xo::StopFlag stop;
  std::thread caller([&] { access.call(kAda, "Test", "stay", {}, &stop); });
  awaitInside(1);
  stop.raise();
  caller.join();
  EXPECT_TRUE(access.running().empty());
}

TEST_F(AccessTest, ARunningCallIsListedAndCancelledByItsId) {
  Access access(fSession);
  auto caller = stay(access, kAda);
  awaitInside(1);
  const auto running = access.running();
  ASSERT_EQ(running.size(), 1u);
  EXPECT_EQ(running[0].client, kAda);
  EXPECT_EQ(running[0].method, "stay");
  EXPECT_FALSE(access.cancel(running[0].id + 1));
  EXPECT_TRUE(access.cancel(running[0].id));
  caller.join();
  EXPECT_FALSE(access.cancel(running[0].id));
}

TEST_F(AccessTest, AWayInThatEndsStopsItsOwnCallsAlone) {
  Access access(fSession);
  auto caller = stay(access, kAda);
  awaitInside(1);
  access.cancelAllBy("web");
  EXPECT_EQ(access.running().size(), 1u);
  access.cancelAllBy("grpc");
  caller.join();
}

TEST_F(AccessTest, RunningCallsAreLimitedPerClientAndInAllWithPlacesKeptForNewClients) {
  Limits limits;
  limits.callsPerClient = 2;
  limits.callsInAll = 2;
  limits.reservedCalls = 1;
  limits.rareCalls = 0;
  Access access(fSession, limits);
  auto first = stay(access, kAda);
  auto second = stay(access, kAda);
  awaitInside(2);
  EXPECT_THAT(refusalOf([&] { access.call(kAda, "Test", "later", {}); }),
              HasSubstr("reached the limit of 2"));
  EXPECT_FALSE(access.call(kBen, "Test", "later", {}).hasFailed());
  auto third = stay(access, kBen);
  awaitInside(3);
  const Client cid{"cid", "unix:", "grpc"};
  EXPECT_THAT(refusalOf([&] { access.call(cid, "Test", "later", {}); }),
              HasSubstr("reached the limit of 3"));
  access.cancelAllBy("grpc");
  for (auto* const thread : {&first, &second, &third}) thread->join();
  EXPECT_FALSE(access.call(kAda, "Test", "later", {}).hasFailed());
}

TEST_F(AccessTest, AClientBeyondItsLimitGetsFewOfThePlacesForRareMethods) {
  Limits limits;
  limits.callsPerClient = 1;
  limits.callsInAll = 1;
  limits.reservedCalls = 0;
  Access access(fSession, limits);
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) threads.push_back(stay(access, kAda));
  awaitInside(4);
  threads.push_back(stay(access, kAda, "remain"));
  awaitInside(5);
  EXPECT_THAT(refusalOf([&] { access.call(kAda, "Test", "later", {}); }),
              HasSubstr("reached the limit of 1"));
  EXPECT_FALSE(access.call(kBen, "Test", "later", {}).hasFailed());
  access.cancelAllBy("grpc");
  for (auto& thread : threads) thread.join();
}

TEST_F(AccessTest, PlacesForFuturesAreLimitedAndGivenBack) {
  Limits limits;
  limits.futuresPerClient = 1;
  Access access(fSession, limits);
  auto place = access.takeFuturePlace(kAda);
  EXPECT_THAT(refusalOf([&] { (void)access.takeFuturePlace(kAda); }),
              HasSubstr("reached the limit of 1"));
  EXPECT_EQ(refusalOf([&] { (void)access.takeFuturePlace(kBen); }), "not refused");
  place.reset();
  EXPECT_EQ(refusalOf([&] { (void)access.takeFuturePlace(kAda); }), "not refused");
}

TEST_F(AccessTest, TheHistoryTellsTheLastCallsOldestFirst) {
  Access access(fSession);
  const HBValue args[] = {1};
  access.call(kAda, "Test", "twice", args);
  access.call(kBen, "Test", "fail", {});
  const auto history = access.history();
  ASSERT_EQ(history.size(), 2u);
  EXPECT_LT(history[0].id, history[1].id);
  EXPECT_EQ(history[0].client, kAda);
  EXPECT_EQ(history[0].method, "twice");
  EXPECT_EQ(history[0].error, "");
  EXPECT_EQ(history[1].service, "Test");
  EXPECT_EQ(history[1].error, "map::at:  key not found");
}

TEST_F(AccessTest, TheHistoryKeepsAFixedNumberOfCalls) {
  Access access(fSession);
  const HBValue args[] = {1};
  for (std::size_t i = 0; i < Access::kHistory + 3; ++i) access.call(kAda, "Test", "twice", args);
  const auto history = access.history();
  ASSERT_EQ(history.size(), Access::kHistory);
  EXPECT_EQ(history.front().id, 4u);
  EXPECT_EQ(history.back().id, Access::kHistory + 3);
}

TEST_F(AccessTest, ReadingMemoryGivesTheValueOrTheMemorysOwnError) {
  Access access(fSession);
  EXPECT_THAT(refusalOf([&] { (void)access.readMemory(kAda, "a"); }), HasSubstr("'HBMemory'"));
  FakeMemory memory(*fSession);
  memory.insert("a", 0.5f);
  EXPECT_EQ(access.readMemory(kAda, "a").value, HBValue(0.5f));
  EXPECT_EQ(access.readMemory(kAda, "b").errorKind, "invalid_argument");
  EXPECT_EQ(access.readMemory(kAda, "b").errorText, "HBMemory: no key 'b'");
  EXPECT_THAT(refusalOf([&] { (void)access.readMemory(kAda, std::string(1025, 'k')); }),
              HasSubstr("limit is 1024"));
}

}  // namespace
}  // namespace door
