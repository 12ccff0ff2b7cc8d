#include "framework/xo/session.h"

#include <gtest/gtest.h>

#include <optional>
#include <thread>

#include "framework/xo/event_loop.h"

namespace {

using namespace std::chrono_literals;

xo::ObjectBuilder answering(int answer) {
  xo::ObjectBuilder builder;
  builder.add(xo::makeMethod<int()>({"answer", "", {}, {}, {}}, [answer] { return answer; }));
  return builder;
}

TEST(Session, ListsServicesInOrder) {
  xo::Session session;
  const auto b = session.registerService("B", answering(1));
  const auto a = session.registerService("A", answering(2));
  EXPECT_EQ(session.services(), (std::vector<std::string>{"A", "B"}));
  EXPECT_EQ(session.find("A").call<int>("answer"), 2);
  EXPECT_FALSE(session.find("C"));
}

TEST(Session, RefusesAnEmptyNameAndATakenOne) {
  xo::Session session;
  const auto a = session.registerService("A", answering(1));
  EXPECT_THROW((void)session.registerService("", answering(2)), std::invalid_argument);
  EXPECT_THROW((void)session.registerService("A", answering(2)), xo::Error);
  EXPECT_EQ(session.find("A").call<int>("answer"), 1);
}

TEST(Session, TellsEachComingAndGoingAndCountsThePublications) {
  xo::Session session;
  int changes = 0;
  auto subscription = session.onChange([&] { ++changes; });
  auto a = session.registerService("A", answering(1));
  EXPECT_EQ(changes, 1);
  ASSERT_EQ(session.standing().size(), 1u);
  EXPECT_EQ(session.standing()[0].name, "A");
  const auto first = session.standing()[0].generation;
  a.reset();
  EXPECT_EQ(changes, 2);
  EXPECT_TRUE(session.standing().empty());
  a = session.registerService("A", answering(2));
  EXPECT_GT(session.standing()[0].generation, first);
  subscription.reset();
  a.reset();
  EXPECT_EQ(changes, 3);
}

TEST(Session, AHandleLivesAgainThoughItsServiceIsNotKnownMeanwhile) {
  xo::Session session;
  auto a = session.registerService("A", answering(1));
  const auto handle = session.find("A");
  a.reset();
  EXPECT_FALSE(session.find("A"));
  a = session.registerService("A", answering(2));
  EXPECT_EQ(handle.call<int>("answer"), 2);
}

TEST(WaitForService, IsOverWhenTheServiceStands) {
  xo::Session session;
  const auto a = session.registerService("A", answering(1));
  EXPECT_TRUE(session.waitForService("A").future().hasValue());
}

TEST(WaitForService, EndsWhenTheServiceComes) {
  xo::Session session;
  const auto wait = session.waitForService("A");
  EXPECT_TRUE(wait.future().isRunning());
  const auto other = session.registerService("B", answering(1));
  EXPECT_TRUE(wait.future().isRunning());
  const auto a = session.registerService("A", answering(1));
  EXPECT_TRUE(wait.wait());
  EXPECT_TRUE(wait.future().hasValue());
}

TEST(WaitForService, ItsDestructionWaits) {
  xo::Session session;
  std::unique_ptr<xo::Session::Registration> registration;
  std::thread late([&] { registration = session.registerService("A", answering(1)); });
  { const auto wait = session.waitForService("A"); }
  EXPECT_TRUE(session.find("A"));
  late.join();
}

TEST(WaitForService, CanBeCancelled) {
  xo::Session session;
  const auto wait = session.waitForService("A");
  wait.cancel();
  EXPECT_TRUE(wait.future().isCancelled());
}

TEST(WaitForService, EndsWithItsModule) {
  xo::Session session;
  xo::Ending ending;
  const xo::CallScope scope(&ending);
  const auto wait = session.waitForService("A");
  ending.raise();
  EXPECT_EQ(wait.future().errorText(), "The wait for the service A was given up");
}

TEST(WaitForService, MadeForAnEndedModuleFailsAtOnce) {
  xo::Session session;
  xo::Ending ending;
  ending.raise();
  const xo::CallScope scope(&ending);
  EXPECT_TRUE(session.waitForService("A").future().hasError());
}

TEST(WaitForService, EndsWithTheSession) {
  xo::Future<void> wait;
  {
    xo::Session session;
    // The destructor of this future would wait: keep the plain one.
    auto sync = std::make_unique<xo::FutureSync<void>>(session.waitForService("A"));
    wait = sync->future();
    sync->cancel();
  }
  EXPECT_TRUE(wait.isFinished());
}

TEST(WaitForService, TellsTheLoaderThatItsModuleWaits) {
  xo::Session session;
  xo::Ending ending;
  std::thread module([&] {
    const xo::CallScope scope(&ending);
    session.waitForService("A").wait();
  });
  while (!ending.isWaiting()) std::this_thread::yield();
  ending.raise();
  module.join();
  EXPECT_FALSE(ending.isWaiting());
}

TEST(Service, ComesWithItsObject) {
  xo::Session session;
  auto object = session.service("A");
  EXPECT_TRUE(object.isRunning());
  const auto a = session.registerService("A", answering(7));
  EXPECT_EQ(object.value().call<int>("answer"), 7);
}

TEST(Service, ThatDoesNotComeInTimeIsATimeout) {
  xo::ManualClock clock;
  {
    xo::Session session;
    const auto object = session.service("A", "", 60000);
    clock.advance(59999ms);
    EXPECT_TRUE(object.isRunning());
    clock.advance(1ms);
    EXPECT_THROW((void)object.value(), xo::TimeoutError);
    EXPECT_EQ(object.errorText(), "The service A did not come within the time allowed");
  }
}

TEST(Service, LeavesNoTimerBehindHoweverTheWaitEnds) {
  xo::ManualClock clock;
  const auto before = xo::getEventLoop().pendingDelays();
  xo::Ending ending;
  auto session = std::make_unique<xo::Session>();
  std::optional<xo::Future<xo::Object>> ofModule;
  {
    const xo::CallScope scope(&ending);
    ofModule = session->service("A", "", 3'600'000);
  }
  const auto cancelled = session->service("A", "", 3'600'000);
  const auto orphan = session->service("A", "", 3'600'000);
  const auto answered = session->service("B", "", 3'600'000);
  EXPECT_EQ(xo::getEventLoop().pendingDelays(), before + 4);
  ending.raise();
  EXPECT_TRUE(ofModule->hasError());
  EXPECT_EQ(xo::getEventLoop().pendingDelays(), before + 3);
  cancelled.cancel();
  EXPECT_EQ(xo::getEventLoop().pendingDelays(), before + 2);
  const auto b = session->registerService("B", answering(1));
  EXPECT_TRUE(answered.hasValue());
  EXPECT_EQ(xo::getEventLoop().pendingDelays(), before + 1);
  session.reset();
  EXPECT_TRUE(orphan.hasError());
  EXPECT_EQ(xo::getEventLoop().pendingDelays(), before);
  {
    const xo::CallScope scope(&ending);  // over before it begins
    EXPECT_TRUE(xo::Session().service("A", "", 3'600'000).hasError());
  }
  EXPECT_EQ(xo::getEventLoop().pendingDelays(), before);
}

TEST(Service, RefusesAnUnknownProtocol) {
  xo::Session session;
  EXPECT_EQ(session.service("A", "smoke").errorText(),
            "Unknown protocol 'smoke'; only '' is known");
}

TEST(AnnouncedService, WakesWaitersAndDeliversItsObjectLater) {
  xo::Session session;
  const auto wait = session.waitForService("A");
  xo::Promise<xo::Object> promise;
  const auto a = session.announceService("A", promise.future());
  EXPECT_TRUE(wait.future().hasValue());
  const auto object = session.service("A");
  EXPECT_TRUE(object.isRunning());
  EXPECT_FALSE(session.find("A"));
  xo::ObjectOwner owner(answering(3), nullptr);
  promise.setValue(owner.object());
  EXPECT_EQ(object.value().call<int>("answer"), 3);
  EXPECT_EQ(session.find("A").call<int>("answer"), 3);
}

TEST(Registration, ItsEndMakesHandlesDeadAndItsReturnRevivesThem) {
  xo::Session session;
  auto registration = session.registerService("A", answering(1));
  const auto handle = session.find("A");
  registration.reset();
  EXPECT_FALSE(handle.isAlive());
  EXPECT_TRUE(session.services().empty());
  EXPECT_FALSE(session.find("A"));
  registration = session.registerService("A", answering(2));
  EXPECT_TRUE(handle.isAlive());
  EXPECT_EQ(handle.call<int>("answer"), 2);
}

TEST(Session, AThousandWaitersWakeAtOnce) {
  xo::Session session;
  std::vector<xo::Future<xo::Object>> waits;
  for (int i = 0; i < 1000; ++i) waits.push_back(session.service("A", "", 60000));
  const auto a = session.registerService("A", answering(1));
  for (const auto& wait : waits) EXPECT_TRUE(wait.hasValue());
}

}  // namespace
