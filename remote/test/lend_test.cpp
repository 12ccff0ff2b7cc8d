// Services that a client lends to the robot.
#include <gmock/gmock.h>

#include "framework/hb/hb_error.h"
#include "framework/xo/event_loop.h"
#include "remote/test/lingering.h"
#include "remote/test/raw_lender.h"
#include "remote/test/test_robot.h"

namespace remote {
namespace {

namespace v1 = tavro::v1;
using Fault = RemoteError::Fault;
using HB::HBValue;
using testing::HasSubstr;

/// A lamp that a client lends; what was asked of it is seen from outside.
class Lamp : public Lingering {
 public:
  xo::ObjectBuilder builder() {
    xo::ObjectBuilder builder;
    builder.setDescription("A lamp.");
    add<float(float)>(builder, "twice", [](float value) { return 2 * value; });
    add<int(int)>(builder, "twice", [](int value) { return 2 * value; });
    add<void(const std::vector<std::vector<float>>&)>(
        builder, "fill", [this](const std::vector<std::vector<float>>& lists) { filled = lists; });
    add<void()>(builder, "fail", [] { throw HB::HBError("the bulb is broken"); });
    add<xo::Future<HBValue>()>(builder, "fade", [this] { return later.future(); });
    addTo(builder);
    add<void(const std::function<void()>&)>(builder, "local", [](const std::function<void()>&) {});
    return builder;
  }
  ~Lamp() { isOver = true; }

  xo::Promise<HBValue> later;
  std::vector<std::vector<float>> filled;

 private:
  template <class Sig, class F>
  static void add(xo::ObjectBuilder& builder, const std::string& name, F function) {
    builder.add(xo::makeMethod<Sig>({name, "", {}, {}, {}}, std::move(function)));
  }
};

class Lend : public testing::Test {
 public:
  ~Lend() override { lamp.isOver = true; }

 protected:
  std::unique_ptr<Lending> lend(const std::string& name = "Lamp") {
    return client->lend(name, lamp.builder());
  }
  xo::Object object(const std::string& name = "Lamp") const { return robot.session->find(name); }

  TestRobot robot;
  Lamp lamp;
  std::unique_ptr<RobotClient> client = robot.connect("lender");
};

TEST_F(Lend, MakesAServiceThatTheRobotCallsLikeItsOwn) {
  const auto lending = lend();
  EXPECT_TRUE(lending->isStanding());
  EXPECT_EQ(object().call<float>("twice", 1.5f), 3.0f);
  EXPECT_EQ(object().call<int>("twice", 2), 4);
  object().call("fill", std::vector<std::vector<float>>{{1.0f, 0.5f}, {}});
  EXPECT_EQ(lamp.filled, (std::vector<std::vector<float>>{{1.0f, 0.5f}, {}}));
}

TEST_F(Lend, ConvertsArgumentsByTheSignatureBeforeTheyLeave) {
  const auto lending = lend();
  object().callDynamic("fill", std::vector{HBValue::list({HBValue::list({1, 0.5f})})});
  EXPECT_EQ(lamp.filled, (std::vector<std::vector<float>>{{1.0f, 0.5f}}));
  EXPECT_THROW(object().call("fill", std::string("no list")), std::invalid_argument);
}

TEST_F(Lend, PublishesTheDocumentationAndLeavesLocalMethodsOut) {
  const auto lending = lend();
  const auto info = object().describe();
  EXPECT_EQ(info.description, "A lamp.");
  ASSERT_EQ(info.methods.size(), 7u);
  EXPECT_EQ(info.methods[2].signature.text(), "(list<list<float>>)");
}

TEST_F(Lend, PassesErrorsOnWithTheirOwnTypes) {
  const auto lending = lend();
  try {
    object().call("fail");
    FAIL();
  } catch (const HB::HBError& error) {
    EXPECT_STREQ(error.what(), "the bulb is broken");
  }
}

TEST_F(Lend, OtherClientsCallItToo) {
  const auto lending = lend();
  const auto other = robot.connect("other");
  const HBValue::List args{21};
  EXPECT_EQ(other->call("Lamp", "twice", args).value, HBValue(42));
}

TEST_F(Lend, WakesThoseWhoWaitForTheService) {
  auto waiting = robot.session->service("Lamp");
  EXPECT_FALSE(waiting.wait(0));
  const auto lending = lend();
  EXPECT_EQ(waiting.value(10000).call<int>("twice", 1), 2);
}

TEST_F(Lend, FuturesCrossWithTheirValue) {
  const auto lending = lend();
  const auto future = object().call<xo::Future<HBValue>>("fade");
  EXPECT_FALSE(future.wait(0));
  lamp.later.setValue(HBValue(3));
  EXPECT_EQ(future.value(10000), HBValue(3));
}

TEST_F(Lend, CancellingAFutureCrosses) {
  lamp.later.onCancel([this] { lamp.later.setCancelled(); });
  const auto lending = lend();
  const auto future = object().call<xo::Future<HBValue>>("fade");
  future.cancel();
  ASSERT_TRUE(future.wait(10000));
  EXPECT_TRUE(future.isCancelled());
}

TEST_F(Lend, DroppingAFutureCrosses) {
  xo::ObjectBuilder builder;
  std::atomic<bool> isDropped{false};
  builder.add(xo::makeMethod<xo::Future<HBValue>()>({"fade", "", {}, {}, {}}, [&] {
    const auto state = xo::detail::makeState<HBValue>();
    state->setAbandonHook([&] { isDropped = true; });
    return xo::Future<HBValue>(state);
  }));
  const auto lending = client->lend("Candle", std::move(builder));
  std::optional future = object("Candle").call<xo::Future<HBValue>>("fade");
  EXPECT_FALSE(isDropped);
  future.reset();
  EXPECT_TRUE(comesTrue([&] { return isDropped.load(); }));
}

TEST_F(Lend, PassesTheCallersStopOn) {
  const auto lending = lend();
  xo::StopFlag stop;
  std::thread caller([&] {
    const xo::CallScope scope(nullptr, &stop);
    object().call("stay");
  });
  EXPECT_TRUE(comesTrue([&] { return lamp.inside == 1; }));
  stop.raise();
  caller.join();
  EXPECT_EQ(lamp.stopped, 1);
}

TEST_F(Lend, ACallerWhoseModuleEndsIsLetGo) {
  const auto lending = lend();
  xo::Ending ending;
  std::string text;
  std::thread caller([&] {
    const xo::CallScope scope(&ending);
    try {
      object().call("insist");
    } catch (const xo::Error& error) {
      text = error.what();
    }
  });
  EXPECT_TRUE(comesTrue([&] { return lamp.inside == 1; }));
  ending.raise();
  caller.join();
  EXPECT_EQ(text, "The wait for Lamp.insist was given up");
  lamp.isOver = true;
}

TEST_F(Lend, CallsUnderWayFailWhenTheLenderGoes) {
  auto lending = lend();
  auto handle = object();
  std::string text;
  std::thread caller([&] {
    try {
      handle.call("stay");
    } catch (const std::runtime_error& error) {
      text = error.what();
    }
  });
  EXPECT_TRUE(comesTrue([&] { return lamp.inside == 1; }));
  lending.reset();
  caller.join();
  EXPECT_EQ(text, "The process that lent Lamp is gone");
  EXPECT_TRUE(comesTrue([&] { return !handle.isAlive(); }));
  EXPECT_THROW(handle.call("stay"), std::runtime_error);
}

TEST_F(Lend, FuturesFailWhenTheLenderGoes) {
  auto lending = lend();
  const auto future = object().call<xo::Future<HBValue>>("fade");
  lending.reset();
  ASSERT_TRUE(future.wait(10000));
  EXPECT_EQ(future.errorText(), "The process that lent Lamp is gone");
}

TEST_F(Lend, HandlesLiveAgainWhenTheServiceIsLentAgain) {
  auto lending = lend();
  const auto handle = object();
  lending.reset();
  EXPECT_TRUE(comesTrue([&] { return !handle.isAlive(); }));
  EXPECT_TRUE(comesTrue([&] {
    try {
      lending = lend();
      return true;
    } catch (const RemoteError&) {  // the name is free when its last caller has left
      return false;
    }
  }));
  EXPECT_TRUE(handle.isAlive());
  EXPECT_EQ(handle.call<int>("twice", 4), 8);
}

TEST_F(Lend, ATakenNameIsRefused) {
  const auto lending = lend();
  try {
    (void)lend();
    FAIL();
  } catch (const RemoteError& error) {
    EXPECT_EQ(error.fault(), Fault::kRefused);
    EXPECT_STREQ(error.what(), "A service named Lamp is registered already");
  }
  EXPECT_EQ(object().call<int>("twice", 4), 8);
}

TEST_F(Lend, ANameOfTheRobotsOwnIsFreeWhenTheRobotIsReadyAndHasNoSuchService) {
  EXPECT_THROW((void)lend("HBReserved"), RemoteError);
  robot.server->setReady("Tester");
  const auto lending = lend("HBReserved");
  EXPECT_TRUE(object("HBReserved").isAlive());
}

TEST_F(Lend, MoreServicesThanTheLimitAreRefused) {
  std::vector<std::unique_ptr<Lending>> lent;
  for (int i = 0; i < 16; ++i) lent.push_back(lend("Lamp" + std::to_string(i)));
  try {
    (void)lend("OneMore");
    FAIL();
  } catch (const RemoteError& error) {
    EXPECT_STREQ(error.what(), "This client's lent services have reached the limit of 16");
  }
  lent.clear();
  EXPECT_TRUE(comesTrue([&] { return robot.session->services().size() == 2; }));
}

TEST_F(Lend, EndsWhenTheRobotGoes) {
  const auto lending = lend();
  robot.server->stop();
  EXPECT_TRUE(lending->waitUntilLost(10000));
  EXPECT_FALSE(lending->isStanding());
  EXPECT_NE(lending->loss(), "");
  EXPECT_FALSE(object().isAlive());
}

TEST_F(Lend, BlocksNoThreadOfTheRobotWhileManyCallersWait) {
  const auto lending = lend();
  std::vector<std::thread> callers;
  for (int i = 0; i < 20; ++i) {
    callers.emplace_back([&] {
      xo::StopFlag stop;
      const xo::CallScope scope(nullptr, &stop);
      object().call("insist");
    });
  }
  EXPECT_TRUE(comesTrue([&] { return lamp.inside == 20; }));
  const HBValue::List args{1};
  EXPECT_EQ(client->call("Lamp", "twice", args).value, HBValue(2));
  lamp.isOver = true;
  for (auto& caller : callers) caller.join();
}

TEST_F(Lend, ALenderThatDoesNotAnswerIsGoneWithinTwoSeconds) {
  RawLender raw(robot);
  raw.offer(goodOffer());
  ASSERT_TRUE(comesTrue([&] { return object("Raw").isAlive(); }));
  const auto handle = object("Raw");
  try {
    handle.call<int>("go", 1);
    FAIL();
  } catch (const std::runtime_error& error) {
    EXPECT_STREQ(error.what(), "The process that lent Raw does not answer any more");
  }
  EXPECT_TRUE(comesTrue([&] { return !handle.isAlive(); }));
}

TEST_F(Lend, EventLoopThreadsThatWaitForALenderDoNotKeepItAlive) {
  RawLender raw(robot);
  raw.offer(goodOffer());
  ASSERT_TRUE(comesTrue([&] { return object("Raw").isAlive(); }));
  std::vector<xo::Future<void>> calls;
  for (int i = 0; i < 4; ++i) {
    calls.push_back(xo::getEventLoop().async([this] { object("Raw").call<int>("go", 1); }));
  }
  for (const auto& call : calls) {
    ASSERT_TRUE(call.wait(10000));
    EXPECT_TRUE(call.hasError());
  }
}

TEST_F(Lend, ALenderThatReadsNothingIsRefusedMoreCallsThanTheLimit) {
  RawLender raw(robot);
  auto offer = goodOffer();
  offer.mutable_methods(0)->mutable_signature()->mutable_params(0)->set_kind(v1::Type::KIND_STRING);
  raw.offer(offer);
  ASSERT_TRUE(comesTrue([&] { return object("Raw").isAlive(); }));
  const std::string text(1 << 20, 'x');
  std::atomic<int> refused{0};
  std::vector<std::thread> callers;
  for (int i = 0; i < 8; ++i) {
    callers.emplace_back([&] {
      try {
        object("Raw").call<int>("go", text);
      } catch (const std::runtime_error& error) {
        if (std::string(error.what()).find("the limit of both is") != std::string::npos) ++refused;
      }
    });
  }
  for (auto& caller : callers) caller.join();
  EXPECT_GE(refused, 4);
}

TEST_F(Lend, AResultOfAnotherTypeIsAnErrorOfTheCall) {
  RawLender raw(robot);
  raw.offer(goodOffer());
  std::thread lender([&] {
    v1::LendReply reply;
    while (raw.stream->Read(&reply)) {
      v1::LendRequest request;
      if (reply.has_call()) {
        request.mutable_returned()->set_call(reply.call().call());
        request.mutable_returned()->mutable_value()->set_text("no number");
      } else if (reply.has_ping()) {
        request.mutable_pong()->set_number(reply.ping());
      } else {
        continue;
      }
      raw.stream->Write(request);
    }
  });
  ASSERT_TRUE(comesTrue([&] { return object("Raw").isAlive(); }));
  try {
    object("Raw").call<int>("go", 1);
    ADD_FAILURE();
  } catch (const std::runtime_error& error) {
    EXPECT_THAT(error.what(), HasSubstr("is no int"));
  }
  raw.context.TryCancel();
  lender.join();
}

TEST_F(Lend, ALenderThatAnswersItsPingsStays) {
  const auto lending = lend();
  // Pings go by the real clock and tell nobody; one unanswered would end it after 1.9 s at most.
  std::this_thread::sleep_for(std::chrono::milliseconds(2500));
  EXPECT_TRUE(lending->isStanding());
}

TEST_F(Lend, AnswersToCallsThatWereNeverMadeAreIgnored) {
  RawLender raw(robot);
  raw.offer(goodOffer());
  ASSERT_TRUE(comesTrue([&] { return object("Raw").isAlive(); }));
  v1::LendRequest request;
  request.mutable_returned()->set_call(99);
  raw.stream->Write(request);
  request.mutable_finished()->set_call(99);
  raw.stream->Write(request);
  EXPECT_TRUE(object("Raw").isAlive());
}

}  // namespace
}  // namespace remote
