#include "framework/xo/method.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "framework/xo/event_loop.h"

namespace {

using HB::HBValue;

struct Lamp {
  float level = 0;
  void set(const std::string&, float value) { level = value; }
  float get(const std::string&) const { return level; }
  xo::Future<void> fade(float) { return xo::makeReadyFuture(); }
};

TEST(Method, DerivesItsSignatureFromTheOperation) {
  Lamp lamp;
  const auto set = xo::makeMethod({"set", "", {}, {}, {}}, &lamp, &Lamp::set);
  const auto get = xo::makeMethod({"get", "", {}, {}, {}}, &lamp, &Lamp::get);
  const auto fade = xo::makeMethod({"fade", "", {}, {}, {}}, &lamp, &Lamp::fade);
  EXPECT_EQ(set.info.signature.text(), "(string, float)");
  EXPECT_EQ(get.info.signature.text(), "(string) -> float");
  EXPECT_EQ(fade.info.signature.text(), "(float) -> future<void>");
  EXPECT_TRUE(fade.info.signature.isRemote());
}

TEST(Method, IsCalledByReferenceWithoutConversion) {
  const std::vector<float> numbers{1, 2};
  const std::vector<float>* seen = nullptr;
  const auto method = xo::makeMethod<void(const std::vector<float>&)>(
      {}, [&](const std::vector<float>& given) { seen = &given; });
  const void* args[] = {&numbers};
  method.direct(args, nullptr);
  EXPECT_EQ(seen, &numbers);
}

TEST(Method, ConvertsArgumentsAndResultOfADynamicCall) {
  Lamp lamp;
  const auto set = xo::makeMethod({}, &lamp, &Lamp::set);
  const std::vector<HBValue> args{"Eye", 1};
  EXPECT_EQ(set.match(args), 1);
  EXPECT_FALSE(set.dynamic(args).value.isValid());
  EXPECT_EQ(lamp.level, 1.0f);
  const auto get = xo::makeMethod({}, &lamp, &Lamp::get);
  EXPECT_EQ(get.dynamic(std::vector<HBValue>{"Eye"}).value, HBValue(1.0f));
}

TEST(Method, HandsAFutureOnAsAFutureOfAValue) {
  Lamp lamp;
  const auto fade = xo::makeMethod({}, &lamp, &Lamp::fade);
  const auto result = fade.dynamic(std::vector<HBValue>{0.5f});
  ASSERT_TRUE(result.future);
  EXPECT_FALSE(result.future->value().isValid());
}

TEST(ToValueFuture, FreesTheTimerOfADelayWhenItIsDropped) {
  xo::ManualClock clock;
  xo::EventLoop loop("loop", 1);
  {
    const auto future = xo::toValueFuture(loop.delay(std::chrono::hours(1)));
    EXPECT_EQ(loop.pendingDelays(), 1u);
  }
  EXPECT_EQ(loop.pendingDelays(), 0u);
}

TEST(ToValueFuture, KeepsTheDelayThatItStandsFor) {
  xo::ManualClock clock;
  xo::EventLoop loop("loop", 1);
  const auto future = xo::toValueFuture(loop.delay(std::chrono::hours(1)));
  clock.advance(std::chrono::minutes(59));
  EXPECT_TRUE(future.isRunning());
  clock.advance(std::chrono::minutes(1));
  EXPECT_TRUE(future.hasValue());
}

TEST(ToValueFuture, EndsAsTheOtherDoes) {
  const xo::Promise<int> good;
  const xo::Promise<int> bad;
  const xo::Promise<int> cancelled;
  const auto ofGood = xo::toValueFuture(good.future());
  const auto ofBad = xo::toValueFuture(bad.future());
  const auto ofCancelled = xo::toValueFuture(cancelled.future());
  good.setValue(5);
  bad.setError("dark");
  ofCancelled.cancel();
  EXPECT_TRUE(cancelled.isCancelRequested());
  EXPECT_TRUE(ofCancelled.isRunning());
  cancelled.setCancelled();
  EXPECT_EQ(ofGood.value(), HBValue(5));
  EXPECT_EQ(ofBad.errorText(), "dark");
  EXPECT_TRUE(ofCancelled.isCancelled());
}

TEST(Method, WithALocalTypeIsNotForRemoteCallers) {
  const auto method =
      xo::makeMethod<void(const std::function<void()>&)>({}, [](const std::function<void()>&) {});
  EXPECT_FALSE(method.info.signature.isRemote());
  EXPECT_FALSE(method.match);
}

TEST(ValueFuture, IsOfTheSameValueThereAndBack) {
  const auto there = xo::toValueFuture(xo::makeReadyFuture(0.5f));
  EXPECT_EQ(there.value(), HBValue(0.5f));
  EXPECT_EQ(xo::fromValueFuture<float>(there).value(), 0.5f);
  EXPECT_FALSE(xo::toValueFuture(xo::makeReadyFuture()).value().isValid());
  EXPECT_TRUE(xo::fromValueFuture<void>(there).hasValue());
}

TEST(ValueFuture, PassesErrorsAndCancellationOn) {
  const auto failed = xo::toValueFuture(xo::makeFailedFuture<int>("broken"));
  EXPECT_EQ(xo::fromValueFuture<int>(failed).errorText(), "broken");
  const xo::Promise<int> promise;
  const auto cancelled = xo::fromValueFuture<int>(xo::toValueFuture(promise.future()));
  cancelled.cancel();
  EXPECT_TRUE(promise.isCancelRequested());
  promise.setCancelled();
  EXPECT_TRUE(cancelled.isCancelled());
}

TEST(ValueFuture, IsInErrorWhenTheValueIsOfAnotherType) {
  const auto text = xo::makeReadyFuture(HBValue("text"));
  EXPECT_TRUE(xo::fromValueFuture<float>(text).hasError());
}

TEST(ValueFuture, LetsGoOfItsSourceWhenItIsDropped) {
  auto state = xo::detail::makeState<float>();
  bool isAbandoned = false;
  state->setAbandonHook([&] { isAbandoned = true; });
  std::optional back = xo::fromValueFuture<float>(xo::toValueFuture(xo::Future<float>(state)));
  state.reset();
  EXPECT_FALSE(isAbandoned);
  back.reset();
  EXPECT_TRUE(isAbandoned);
}

TEST(ValueFuture, StillEndsWhenOnlyTheLastLinkIsHeld) {
  const xo::Promise<int> promise;
  const auto last = xo::fromValueFuture<int>(xo::toValueFuture(promise.future()));
  promise.setValue(7);
  EXPECT_EQ(last.value(0), 7);
}

}  // namespace
