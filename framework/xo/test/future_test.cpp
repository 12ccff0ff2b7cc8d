#include "framework/xo/future.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "framework/xo/call.h"
#include "framework/xo/event_loop.h"
#include "framework/xo/log.h"

namespace {

using std::chrono::milliseconds;
using xo::Future;
using xo::FutureState;
using xo::Promise;
using xo::Run;

TEST(Future, OfNothingIsInError) {
  const Future<int> future;
  EXPECT_TRUE(future.hasError());
  EXPECT_EQ(future.errorText(), "This future holds nothing");
}

TEST(Future, GetsTheFirstAnswerOnly) {
  const Promise<int> promise;
  const Future<int> future = promise.future();
  EXPECT_TRUE(future.isRunning());
  EXPECT_TRUE(promise.setValue(7));
  EXPECT_FALSE(promise.setValue(8));
  EXPECT_FALSE(promise.setError("late"));
  EXPECT_FALSE(promise.setCancelled());
  EXPECT_EQ(future.state(), FutureState::kValue);
  EXPECT_EQ(future.value(), 7);
  EXPECT_EQ(future.error(), nullptr);
  EXPECT_EQ(future.errorText(), "");
}

TEST(Future, ThrowsThePromisedError) {
  const Promise<std::string> promise;
  promise.setError(std::make_exception_ptr(std::invalid_argument("bad colour")));
  EXPECT_TRUE(promise.future().hasError());
  EXPECT_EQ(promise.future().errorText(), "bad colour");
  EXPECT_THROW(promise.future().value(), std::invalid_argument);
  EXPECT_THROW(xo::makeFailedFuture<void>("text").value(), std::runtime_error);
}

TEST(Future, GivesEachThatAsksAnErrorOfItsOwn) {
  const auto future = xo::makeFailedFuture<int>("text");
  EXPECT_NE(future.error(), future.error());
}

TEST(Future, IsReadyFromTheStartWhenMadeSo) {
  EXPECT_TRUE(xo::makeReadyFuture().hasValue());
  EXPECT_EQ(xo::makeReadyFuture(std::string("a")).value(), "a");
}

TEST(FutureCancelled, IsAStateAndNotAnErrorText) {
  const Promise<int> promise;
  const Future<int> future = promise.future();
  promise.setCancelled();
  EXPECT_TRUE(future.isCancelled());
  EXPECT_FALSE(future.hasError());
  EXPECT_EQ(future.errorText(), "");
  EXPECT_THROW(future.value(), xo::CancelledError);
}

TEST(FutureCancel, IsARequestThatTheProducerSees) {
  const Promise<int> promise;
  int asked = 0;
  promise.onCancel([&] { ++asked; });
  promise.future().cancel();
  promise.future().cancel();
  EXPECT_EQ(asked, 1);
  EXPECT_TRUE(promise.isCancelRequested());
  EXPECT_TRUE(promise.future().isRunning());
  promise.onCancel([&] { ++asked; });  // at once: it was asked for before
  EXPECT_EQ(asked, 2);
  EXPECT_TRUE(promise.setValue(3));
  EXPECT_EQ(promise.future().value(), 3);
}

TEST(FutureCancel, DoesNothingOnceFinished) {
  const Promise<void> promise;
  int asked = 0;
  promise.setValue();
  promise.future().cancel();
  promise.onCancel([&] { ++asked; });
  EXPECT_FALSE(promise.isCancelRequested());
  EXPECT_EQ(asked, 0);
}

TEST(PromiseDropped, EndsItsFutureInError) {
  Future<int> future;
  {
    const Promise<int> promise;
    const Promise<int> copy = promise;
    future = promise.future();
  }
  EXPECT_TRUE(future.hasError());
  EXPECT_EQ(future.errorText(), "The promise was dropped without an answer");
}

TEST(PromiseDropped, LetsNobodyWaitForEver) {
  auto promise = std::make_unique<Promise<void>>();
  std::thread waiting([future = promise->future()] {
    EXPECT_TRUE(future.wait());
    EXPECT_TRUE(future.hasError());
  });
  promise.reset();
  waiting.join();
}

TEST(FutureWait, EndsAfterItsTimeOut) {
  xo::ManualClock clock;
  const Promise<int> promise;
  std::atomic<bool> isOver{false};
  std::thread waiting([&, future = promise.future()] {
    EXPECT_FALSE(future.wait(100));
    EXPECT_THROW(future.value(0), xo::TimeoutError);
    isOver = true;
  });
  clock.awaitSleepers(1);
  clock.advance(milliseconds(99));
  EXPECT_FALSE(isOver);
  clock.advance(milliseconds(1));
  EXPECT_TRUE(isOver);
  waiting.join();
}

TEST(FutureWait, ReturnsAtOnceForZeroAndLess) {
  const xo::ManualClock clock;
  const Promise<void> promise;
  EXPECT_FALSE(promise.future().wait(0));
  EXPECT_FALSE(promise.future().wait(-1));
  promise.setValue();
  EXPECT_TRUE(promise.future().wait(0));
}

TEST(FutureWait, EndsWithTheAnswer) {
  xo::ManualClock clock;
  const Promise<int> promise;
  std::thread waiting([future = promise.future()] { EXPECT_EQ(future.value(1000), 5); });
  clock.awaitSleepers(1);
  promise.setValue(5);
  waiting.join();
}

TEST(FutureWait, TellsTheModuleInWhoseNameItBlocks) {
  xo::ManualClock clock;
  xo::Ending ending;
  const Promise<void> promise;
  std::thread waiting([&, future = promise.future()] {
    const xo::CallScope scope(&ending);
    EXPECT_TRUE(xo::makeReadyFuture().wait());
    future.wait(1000);
    EXPECT_FALSE(ending.isWaiting());
  });
  clock.awaitSleepers(1);
  EXPECT_TRUE(ending.isWaiting());
  promise.setValue();
  waiting.join();
  EXPECT_FALSE(ending.isWaiting());
}

TEST(FutureOnFinished, RunsOnceWhateverTheOutcome) {
  std::vector<FutureState> seen;
  const auto note = [&](const Future<int>& future) { seen.push_back(future.state()); };
  const Promise<int> value;
  value.future().onFinished(note);
  value.setValue(1);
  const Promise<int> error;
  error.future().onFinished(note);
  error.setError("x");
  const Promise<int> cancelled;
  cancelled.setCancelled();
  cancelled.future().onFinished(note);  // at once
  EXPECT_EQ(seen, (std::vector<FutureState>{FutureState::kValue, FutureState::kError,
                                            FutureState::kCancelled}));
}

TEST(FutureOnFinished, IsReleasedWhenItHasRunAndMayUseTheFuture) {
  const auto token = std::make_shared<int>(1);
  const Promise<int> promise;
  promise.future().onFinished([token](const Future<int>& future) {
    EXPECT_EQ(future.value(), 4);  // no lock is held
    future.onFinished([](const Future<int>&) {});
  });
  promise.onCancel([token] {});
  EXPECT_EQ(token.use_count(), 3);
  promise.setValue(4);
  EXPECT_EQ(token.use_count(), 1);
}

TEST(FutureOnFinished, IsLoggedWhenItThrowsAndTheOthersRun) {
  std::string text;
  const xo::log::Listener listener(xo::log::Level::kError, [&](const xo::log::Message& message) {
    text = std::string(message.category) + ": " + std::string(message.text);
  });
  const Promise<void> promise;
  bool hasRun = false;
  promise.future().onFinished([](const Future<void>&) { throw std::runtime_error("boom"); });
  promise.future().onFinished([&](const Future<void>&) { hasRun = true; });
  EXPECT_TRUE(promise.setValue());
  EXPECT_TRUE(hasRun);
  EXPECT_EQ(text, "Future: A callback of a future threw: boom");
}

TEST(FutureAndThen, RunsOnSuccessWithTheValue) {
  const Promise<int> promise;
  const auto text =
      promise.future().andThen([](int value) { return value + 1; }).andThen([](int value) {
        return std::to_string(value);
      });
  promise.setValue(41);
  EXPECT_EQ(text.value(), "42");
}

TEST(FutureAndThen, CarriesTypesOfItsOwn) {
  using Parameters = std::tuple<int, int, int, float>;
  const auto future =
      xo::makeReadyFuture(Parameters(1, 2, 3, 0.5f)).andThen([](const Parameters& parameters) {
        return parameters;
      });
  EXPECT_EQ(std::get<3>(future.value()), 0.5f);
}

TEST(FutureAndThen, PassesErrorAndCancellationOn) {
  bool hasRun = false;
  const auto next = [&](int) { hasRun = true; };
  const Promise<int> failing;
  const auto failed = failing.future().andThen(next).andThen([] { return 1; });
  failing.setError("reason");
  EXPECT_TRUE(failed.wait());
  EXPECT_EQ(failed.errorText(), "reason");
  const Promise<int> cancelling;
  const auto cancelled = cancelling.future().andThen(next).andThen([] { return 1; });
  cancelling.setCancelled();
  EXPECT_TRUE(cancelled.wait());
  EXPECT_TRUE(cancelled.isCancelled());
  EXPECT_FALSE(hasRun);
}

TEST(FutureAndThen, TurnsWhatItThrowsIntoItsError) {
  const auto future = xo::makeReadyFuture(1).andThen(
      [](int) -> int { throw std::invalid_argument("no such LED"); });
  EXPECT_TRUE(future.wait());
  EXPECT_EQ(future.errorText(), "no such LED");
  EXPECT_THROW(future.value(), std::invalid_argument);
}

TEST(FutureAndThen, BecomesWhatAReturnedFutureBecomes) {
  const Promise<int> inner;
  const auto outer =
      xo::makeReadyFuture().andThen([future = inner.future()] { return future; }, Run::kInline);
  EXPECT_TRUE(outer.isRunning());
  inner.setValue(9);
  EXPECT_EQ(outer.value(), 9);
}

TEST(FutureChain, CancelledInTheMiddleAsksTheFirstAndRunsNoFurtherStep) {
  const Promise<int> promise;
  promise.onCancel([weak = std::weak_ptr(promise.future().sharedState())] {
    if (const auto state = weak.lock()) state->finishCancelled();
  });
  std::atomic<int> steps{0};
  const auto middle = promise.future().andThen([&](int value) {
    ++steps;
    return value;
  });
  const auto last = middle.andThen([&](int) { ++steps; });
  middle.cancel();
  EXPECT_TRUE(last.wait());
  EXPECT_TRUE(promise.future().isCancelled());
  EXPECT_TRUE(middle.isCancelled());
  EXPECT_TRUE(last.isCancelled());
  EXPECT_EQ(steps, 0);
}

TEST(FutureChain, CancelledLastReachesTheFirstThroughAllSteps) {
  const Promise<int> promise;
  const auto last =
      promise.future().andThen([](int value) { return value; }).andThen([](int) {}).andThen([] {});
  last.cancel();
  EXPECT_TRUE(promise.isCancelRequested());
}

TEST(FutureChain, CancelledBeforeAStepSkipsItAlthoughTheFirstSucceeds) {
  const Promise<int> promise;
  bool hasRun = false;
  const auto next = promise.future().andThen([&](int) { hasRun = true; }, Run::kInline);
  next.cancel();
  promise.setValue(1);
  EXPECT_TRUE(next.isCancelled());
  EXPECT_FALSE(hasRun);
}

TEST(FutureChain, CancelReachesTheFutureThatAStepReturned) {
  const Promise<void> inner;
  const auto outer =
      xo::makeReadyFuture().andThen([future = inner.future()] { return future; }, Run::kInline);
  outer.cancel();
  EXPECT_TRUE(inner.isCancelRequested());
  inner.setCancelled();
  EXPECT_TRUE(outer.isCancelled());
}

TEST(FutureSync, DestructionWaitsForTheEnd) {
  xo::ManualClock clock;
  Promise<void> promise;
  std::atomic<bool> isFinished{false};
  std::thread holder([&, future = promise.future()] {
    {
      const xo::FutureSync<void> sync(future);
      EXPECT_FALSE(sync.wait(10));
    }
    EXPECT_TRUE(isFinished);
  });
  clock.awaitSleepers(1);
  clock.advance(milliseconds(10));
  isFinished = true;
  promise.setValue();
  holder.join();
}

TEST(FutureAbandonHook, RunsWhenTheLastCopyGoes) {
  int abandoned = 0;
  auto state = xo::detail::makeState<int>();
  state->setAbandonHook([&] { ++abandoned; });
  {
    const Future<int> future(state);
    state.reset();
    EXPECT_EQ(abandoned, 0);
  }
  EXPECT_EQ(abandoned, 1);
}

TEST(Future, StandsAThousandAtOnce) {
  constexpr std::size_t kCount = 1000;
  std::vector<Promise<int>> promises(kCount);
  std::vector<Future<int>> doubled;
  for (const auto& promise : promises) {
    doubled.push_back(promise.future().andThen([](int value) { return 2 * value; }));
  }
  std::vector<std::thread> threads;
  for (std::size_t part = 0; part < 4; ++part) {
    threads.emplace_back([&, part] {
      for (std::size_t i = part; i < kCount; i += 4) promises[i].setValue(static_cast<int>(i));
    });
  }
  for (std::size_t i = 0; i < kCount; ++i) EXPECT_EQ(doubled[i].value(), 2 * static_cast<int>(i));
  for (auto& thread : threads) thread.join();
}

TEST(Future, HasOneOutcomeWhenAnswersRace) {
  for (int round = 0; round < 200; ++round) {
    const Promise<int> promise;
    std::atomic<int> accepted{0};
    std::atomic<int> heard{0};
    promise.future().onFinished([&](const Future<int>&) { ++heard; });
    std::vector<std::thread> threads;
    threads.emplace_back([&] { accepted += promise.setValue(1); });
    threads.emplace_back([&] { accepted += promise.setError("x"); });
    threads.emplace_back([&] {
      promise.future().cancel();
      accepted += promise.setCancelled();
    });
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(accepted, 1);
    EXPECT_EQ(heard, 1);
  }
}

}  // namespace
