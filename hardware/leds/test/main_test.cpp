// The library's entry point, linked in; module_test.cpp loads it as the host does.
#include <gmock/gmock.h>

#include "hardware/leds/test/support/errors.h"
#include "hardware/leds/test/support/robot.h"

extern "C" int _createModule(std::shared_ptr<HB::HBBroker> broker);

namespace HB::test {
namespace {

using ::testing::internal::CaptureStdout;
using ::testing::internal::GetCapturedStdout;

TEST(CreateModule, PublishesTheServiceAndReturnsZeroSilently) {
  const auto around = Surroundings::complete();
  CaptureStdout();
  EXPECT_EQ(_createModule(around->broker), 0);
  EXPECT_EQ(GetCapturedStdout(), "");
  EXPECT_TRUE(around->session->find("HBLeds").isAlive());
  ASSERT_TRUE(around->broker->findModule("HBLeds"));
  around->broker->removeModule("HBLeds");
  EXPECT_FALSE(around->session->find("HBLeds").isAlive());
}

TEST(CreateModule, PrintsAnHBErrorAndReturnsZero) {
  Surroundings around;
  const auto text = textThrown<HBError>([&] { around.broker->getProxy("HBMemory"); });
  CaptureStdout();
  EXPECT_EQ(_createModule(around.broker), 0);
  EXPECT_EQ(GetCapturedStdout(),
            "leds : error while trying to create module HBLeds: " + text + "\n");
  EXPECT_FALSE(around.session->find("HBLeds"));
  EXPECT_FALSE(around.broker->findModule("HBLeds"));
}

TEST(CreateModule, LetsEveryOtherExceptionThrough) {
  const auto around = Surroundings::complete(RobotXml("Bare"));
  CaptureStdout();
  EXPECT_NE(runtimeError([&] { _createModule(around->broker); }), "");
  EXPECT_EQ(GetCapturedStdout(), "");
  EXPECT_FALSE(around->broker->findModule("HBLeds"));
}

TEST(CreateModule, PrintsThatASecondModuleOfTheNameIsRefused) {
  const auto around = Surroundings::complete();
  EXPECT_EQ(_createModule(around->broker), 0);
  CaptureStdout();
  EXPECT_EQ(_createModule(around->broker), 0);
  const auto printed = GetCapturedStdout();
  EXPECT_EQ(printed.rfind("leds : error while trying to create module HBLeds: ", 0), 0u);
  EXPECT_EQ(printed.find('\n'), printed.size() - 1);
  EXPECT_TRUE(around->session->find("HBLeds").isAlive());
  around->broker->removeModule("HBLeds");
}

}  // namespace
}  // namespace HB::test
