#include "framework/xo/call.h"

#include <gtest/gtest.h>

#include <thread>

#include "framework/xo/os.h"

namespace {

TEST(CallScope, IsTheInnermostOfItsThread) {
  EXPECT_EQ(xo::CallScope::current(), nullptr);
  xo::CallScope outer(nullptr);
  EXPECT_EQ(xo::CallScope::current(), &outer);
  {
    xo::CallScope inner(nullptr);
    EXPECT_EQ(xo::CallScope::current(), &inner);
    std::thread([] { EXPECT_EQ(xo::CallScope::current(), nullptr); }).join();
  }
  EXPECT_EQ(xo::CallScope::current(), &outer);
}

TEST(CallScope, HasOneIdOfItsOwn) {
  xo::CallScope outer(nullptr);
  xo::CallScope inner(nullptr);
  EXPECT_GT(outer.id(), 0);
  EXPECT_EQ(outer.id(), outer.id());
  EXPECT_NE(outer.id(), inner.id());
}

TEST(CallScope, SeesAStopAskedForByIdFromAnotherThread) {
  xo::CallScope scope(nullptr);
  const int id = scope.id();
  EXPECT_FALSE(xo::CallScope::isStopRequested(id));
  std::thread([id] {
    EXPECT_TRUE(xo::CallScope::requestStop(id));
    EXPECT_TRUE(xo::CallScope::isStopRequested(id));
  }).join();
  EXPECT_TRUE(xo::CallScope::isStopRequested(id));
  EXPECT_TRUE(scope.isStopRequested());
}

TEST(CallScope, ItsIdIsForgottenAtItsEnd) {
  int id = 0;
  {
    xo::CallScope scope(nullptr);
    id = scope.id();
  }
  EXPECT_FALSE(xo::CallScope::requestStop(id));
  EXPECT_FALSE(xo::CallScope::isStopRequested(id));
  EXPECT_FALSE(xo::CallScope::isStopRequested(0));
}

TEST(CallScope, InheritsTheStopOfTheCallItIsPartOf) {
  xo::StopFlag client;
  xo::CallScope outer(nullptr, &client);
  xo::CallScope inner(nullptr);
  const int id = inner.id();
  EXPECT_FALSE(xo::CallScope::isStopRequested(id));
  client.raise();
  EXPECT_TRUE(xo::CallScope::isStopRequested(id));
}

TEST(CallScope, AStopOfTheInnerCallLeavesTheOuterRunning) {
  xo::CallScope outer(nullptr);
  const int outerId = outer.id();
  xo::CallScope inner(nullptr);
  xo::CallScope::requestStop(inner.id());
  EXPECT_TRUE(inner.isStopRequested());
  EXPECT_FALSE(xo::CallScope::isStopRequested(outerId));
}

TEST(CallScope, WorksInTheNameOfTheInnermostOwner) {
  EXPECT_EQ(xo::CallScope::currentEnding(), nullptr);
  xo::Ending first;
  xo::Ending second;
  xo::CallScope outer(&first);
  EXPECT_EQ(xo::CallScope::currentEnding(), &first);
  {
    xo::CallScope inherits(nullptr);
    EXPECT_EQ(xo::CallScope::currentEnding(), &first);
    xo::CallScope other(&second);
    EXPECT_EQ(xo::CallScope::currentEnding(), &second);
  }
  EXPECT_EQ(xo::CallScope::currentEnding(), &first);
}

TEST(CallScope, TellsTheOriginOfTheInnermostCallThatHasOne) {
  EXPECT_EQ(xo::CallScope::currentOrigin(), 0u);
  {
    xo::CallScope outer(nullptr, nullptr, 7);
    EXPECT_EQ(xo::CallScope::currentOrigin(), 7u);
    xo::CallScope inherits(nullptr);
    EXPECT_EQ(xo::CallScope::currentOrigin(), 7u);
    {
      xo::CallScope other(nullptr, nullptr, 8);
      EXPECT_EQ(xo::CallScope::currentOrigin(), 8u);
    }
    EXPECT_EQ(xo::CallScope::currentOrigin(), 7u);
    std::thread([] { EXPECT_EQ(xo::CallScope::currentOrigin(), 0u); }).join();
  }
  EXPECT_EQ(xo::CallScope::currentOrigin(), 0u);
}

TEST(CallScope, SeesAStopWhenItsOwnerEnds) {
  xo::Ending ending;
  xo::CallScope scope(&ending);
  EXPECT_FALSE(scope.isStopRequested());
  ending.raise();
  EXPECT_TRUE(scope.isStopRequested());
}

TEST(Ending, EndsASleepOfADayAtOnce) {
  xo::Ending ending;
  std::thread sleeper([&] {
    xo::CallScope scope(&ending);
    xo::os::msleep(24 * 3600 * 1000);
  });
  ending.raise();
  sleeper.join();  // hangs without the feature
  EXPECT_TRUE(ending.isRaised());
}

TEST(Ending, RunsItsCallbacksOnceAndLateOnesAtOnce) {
  xo::Ending ending;
  int early = 0;
  int late = 0;
  ending.onRaise([&] { ++early; });
  ending.raise();
  ending.raise();
  EXPECT_EQ(early, 1);
  ending.onRaise([&] { ++late; });
  EXPECT_EQ(late, 1);
}

TEST(Ending, ForgetsARemovedCallback) {
  xo::Ending ending;
  int runs = 0;
  ending.removeCallback(ending.onRaise([&] { ++runs; }));
  ending.raise();
  EXPECT_EQ(runs, 0);
}

TEST(Ending, IsRaisedByItsDestruction) {
  int runs = 0;
  {
    xo::Ending ending;
    ending.onRaise([&] { ++runs; });
  }
  EXPECT_EQ(runs, 1);
}

}  // namespace
