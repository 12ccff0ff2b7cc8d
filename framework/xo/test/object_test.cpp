#include "framework/xo/object.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <stdexcept>
#include <thread>

#include "framework/xo/os.h"

namespace {

using HB::HBValue;

xo::MethodDoc named(const std::string& name) { return {name, "", {}, {}, {}}; }

/// Three operations under one name, as the LED service has them.
struct Painter {
  std::string last;
  void channels(const std::string&, float, float, float, float) { last = "channels"; }
  void color(const std::string&, const std::string& color, float) { last = "color " + color; }
  void code(const std::string&, int rgb, float) { last = "code " + std::to_string(rgb); }
  int count(const std::vector<int>& list) { return static_cast<int>(list.size()); }
  void fail(const std::string& text) { throw std::out_of_range(text); }
  xo::Future<void> fade() { return xo::makeReadyFuture(); }
};

class ObjectTest : public testing::Test {
 protected:
  ObjectTest() : owner(build(), &ending) {}

  xo::ObjectBuilder build() {
    xo::ObjectBuilder builder("Painter");
    builder.setDescription("Paints.");
    builder.add(xo::makeMethod(named("paint"), &painter, &Painter::channels));
    builder.add(xo::makeMethod(named("paint"), &painter, &Painter::color));
    builder.add(xo::makeMethod(named("paint"), &painter, &Painter::code));
    builder.add(xo::makeMethod(named("count"), &painter, &Painter::count));
    builder.add(xo::makeMethod(named("fail"), &painter, &Painter::fail));
    builder.add(xo::makeMethod(named("fade"), &painter, &Painter::fade));
    return builder;
  }

  void paint(std::vector<HBValue> args) { owner.object().callDynamic("paint", args); }

  Painter painter;
  xo::Ending ending;
  xo::ObjectOwner owner;
};

TEST_F(ObjectTest, CallsTheOverloadWithTheSameTypes) {
  const auto object = owner.object();
  object.call("paint", "Eye", 1.0f, 0.0f, 0.0f, 2.0f);
  EXPECT_EQ(painter.last, "channels");
  object.call("paint", std::string("Eye"), "red", 1.0);
  EXPECT_EQ(painter.last, "color red");
  object.call("paint", "Eye", 255, 1.0f);
  EXPECT_EQ(painter.last, "code 255");
}

TEST_F(ObjectTest, ConvertsWhenTheTypesDiffer) {
  const auto object = owner.object();
  object.call("paint", "Eye", 255, 1);
  EXPECT_EQ(painter.last, "code 255");
  object.call("paint", "Eye", 255.0f, 1);
  EXPECT_EQ(painter.last, "code 255");
  object.call("paint", "Eye", 1, 0, 0, 2);
  EXPECT_EQ(painter.last, "channels");
  EXPECT_EQ(object.call<float>("count", std::vector<float>{1, 2}), 2.0f);
}

TEST_F(ObjectTest, PrefersTheExactMatchThenTheClosest) {
  paint({"Eye", 255, 1.0f});
  EXPECT_EQ(painter.last, "code 255");
  paint({"Eye", "red", 1});
  EXPECT_EQ(painter.last, "color red");
  paint({"Eye", 16.0f, 1.0f});
  EXPECT_EQ(painter.last, "code 16");
}

TEST_F(ObjectTest, AnUnfitCallNamesTheArgumentsAndEveryCandidate) {
  try {
    paint({"Eye", 0.5f, 1.0f});
    FAIL() << "no error";
  } catch (const std::invalid_argument& error) {
    EXPECT_STREQ(error.what(),
                 "Painter: paint cannot be called with (\"Eye\", 0.5, 1.0); candidates: "
                 "paint(string, float, float, float, float), paint(string, string, float), "
                 "paint(string, int, float)");
  }
  EXPECT_EQ(painter.last, "");
}

TEST_F(ObjectTest, AnUnknownMethodIsNamed) {
  try {
    owner.object().call("pant");
    FAIL() << "no error";
  } catch (const std::invalid_argument& error) {
    EXPECT_STREQ(error.what(), "Painter has no method 'pant'");
  }
}

TEST_F(ObjectTest, PassesErrorsOnWithTypeAndText) {
  try {
    owner.object().call("fail", "map::at:  key not found");
    FAIL() << "no error";
  } catch (const std::out_of_range& error) {
    EXPECT_STREQ(error.what(), "map::at:  key not found");
  }
}

TEST_F(ObjectTest, HandsFuturesOut) {
  EXPECT_TRUE(owner.object().call<xo::Future<void>>("fade").hasValue());
  EXPECT_TRUE(owner.object().call<xo::Future<HBValue>>("fade").hasValue());
  owner.object().call("fade");
}

TEST_F(ObjectTest, DescribesItsTableInOrder) {
  const auto info = owner.object().describe();
  EXPECT_EQ(info.description, "Paints.");
  ASSERT_EQ(info.methods.size(), 6u);
  EXPECT_EQ(info.methods[1].doc.name, "paint");
  EXPECT_EQ(info.methods[1].signature.text(), "(string, string, float)");
  EXPECT_EQ(info.methods[5].doc.name, "fade");
}

TEST(Object, OfNothingIsNull) {
  const xo::Object nothing;
  EXPECT_FALSE(nothing);
  EXPECT_FALSE(nothing.isAlive());
  EXPECT_TRUE(nothing.describe().methods.empty());
  try {
    nothing.call("paint");
    FAIL() << "no error";
  } catch (const std::runtime_error& error) {
    EXPECT_STREQ(error.what(), "This object is null");
  }
}

TEST_F(ObjectTest, AHandleWhoseServiceWentIsDeadAndSaysSo) {
  const auto object = owner.object();
  EXPECT_TRUE(object.isAlive());
  owner.close();
  EXPECT_TRUE(static_cast<bool>(object));
  EXPECT_FALSE(object.isAlive());
  EXPECT_THROW(object.call("fade"), std::runtime_error);
}

TEST(Object, EachServiceThatStandsAtAHandleIsAnotherGeneration) {
  EXPECT_EQ(xo::Object().generation(), 0u);
  const auto core = xo::detail::makeObjectCore();
  const xo::Object handle(core);
  EXPECT_EQ(handle.generation(), 0u);
  { const xo::ObjectOwner first(xo::ObjectBuilder("First"), nullptr, core); }
  const auto before = handle.generation();
  EXPECT_GT(before, 0u);
  const xo::ObjectOwner second(xo::ObjectBuilder("Second"), nullptr, core);
  EXPECT_GT(handle.generation(), before);
}

TEST_F(ObjectTest, CallsRunInTheNameOfTheOwner) {
  xo::ObjectBuilder builder;
  builder.add(xo::makeMethod<bool()>(named("mine"),
                                     [this] { return xo::CallScope::currentEnding() == &ending; }));
  xo::ObjectOwner other(std::move(builder), &ending);
  EXPECT_TRUE(other.object().call<bool>("mine"));
}

TEST_F(ObjectTest, ClosingStopsACallThatSleepsAndWaitsForIt) {
  std::promise<void> entered;
  std::atomic<bool> left{false};
  xo::Ending sleepers;
  xo::ObjectBuilder builder;
  builder.add(xo::makeMethod<void()>(named("doze"), [&] {
    entered.set_value();
    while (!xo::CallScope::current()->isStopRequested()) xo::os::msleep(3600 * 1000);
    left = true;
  }));
  xo::ObjectOwner dozing(std::move(builder), &sleepers);
  std::thread caller([object = dozing.object()] { object.call("doze"); });
  entered.get_future().wait();
  dozing.close();
  EXPECT_TRUE(left);
  caller.join();
}

TEST_F(ObjectTest, ManyThreadsCallWhileItCloses) {
  std::atomic<int> done{0};
  std::atomic<bool> begun{false};
  xo::ObjectBuilder builder;
  builder.add(xo::makeMethod<void()>(named("count"), [&] {
    ++done;
    begun = true;
  }));
  xo::Ending none;
  xo::ObjectOwner counted(std::move(builder), &none);
  std::vector<std::thread> callers;
  for (int i = 0; i < 4; ++i) {
    callers.emplace_back([object = counted.object()] {
      try {
        for (;;) object.call("count");
      } catch (const std::runtime_error&) {
      }
    });
  }
  while (!begun) std::this_thread::yield();
  counted.close();
  const int atClose = done;
  for (auto& caller : callers) caller.join();
  EXPECT_EQ(done, atClose);
}

}  // namespace
