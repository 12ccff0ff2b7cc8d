#include "services/signsandfeedback/src/signs_and_feedback.h"

#include <gtest/gtest.h>

#include "framework/hb/module_factory.h"

namespace {

/// A robot with this service and a service "HBLeds" that records the names of the calls it gets.
class SignsTest : public testing::Test {
 protected:
  SignsTest() { HB::createModule<HB::HBSignsAndFeedback>(broker); }
  ~SignsTest() override { broker->removeModule("HBSignsAndFeedback"); }

  void addLeds() {
    xo::ObjectBuilder builder;
    for (const std::string name :
         {"_blinkWithShadow", "_startEyesRotationASR", "_startEarsRotationASR",
          "_stopEyesRotationASR", "_stopEarsRotationASR"}) {
      builder.add(
          xo::makeMethod<void()>({name, "", {}, {}, {}}, [this, name] { calls.push_back(name); }));
    }
    leds = session->registerService("HBLeds", std::move(builder));
  }
  void trigger(const std::string& bit) {
    session->find("HBSignsAndFeedback").call("triggerBit", bit);
  }

  std::vector<std::string> calls;
  std::shared_ptr<xo::Session> session = std::make_shared<xo::Session>();
  std::shared_ptr<HB::HBBroker> broker = HB::HBBroker::create(session);
  std::unique_ptr<xo::Session::Registration> leds;
};

TEST_F(SignsTest, DrawsTheShadowBlinkThroughTheMethodThatDoesNotCallBack) {
  addLeds();
  trigger("BlinkWithShadow");
  EXPECT_EQ(calls, (std::vector<std::string>{"_blinkWithShadow"}));
}

TEST_F(SignsTest, StartsAndStopsBothRotationsForListening) {
  addLeds();
  trigger("ListeningOn");
  trigger("ListeningOff");
  EXPECT_EQ(calls, (std::vector<std::string>{"_startEyesRotationASR", "_startEarsRotationASR",
                                             "_stopEyesRotationASR", "_stopEarsRotationASR"}));
}

TEST_F(SignsTest, RefusesAnUnknownBitAndListsTheKnownOnes) {
  addLeds();
  try {
    trigger("blinkwithshadow");
    FAIL() << "no error";
  } catch (const std::invalid_argument& error) {
    EXPECT_STREQ(error.what(),
                 "HBSignsAndFeedback: triggerBit: unknown bit 'blinkwithshadow'; known are: "
                 "BlinkWithShadow, ListeningOff, ListeningOn");
  }
  EXPECT_TRUE(calls.empty());
}

TEST_F(SignsTest, WithoutTheLedServiceSaysWhatIsMissing) {
  try {
    trigger("ListeningOn");
    FAIL() << "no error";
  } catch (const HB::HBError& error) {
    EXPECT_STREQ(error.what(), "The service HBLeds is not there");
  }
}

TEST_F(SignsTest, ListsItsBits) {
  EXPECT_EQ(session->find("HBSignsAndFeedback").call<std::vector<std::string>>("listBits"),
            (std::vector<std::string>{"BlinkWithShadow", "ListeningOff", "ListeningOn"}));
}

}  // namespace
