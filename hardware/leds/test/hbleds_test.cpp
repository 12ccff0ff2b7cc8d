// Making and unmaking the module: the order of its start, and each way in which a start fails.
#include "hardware/leds/src/hbleds.h"

#include <gmock/gmock.h>

#include "framework/sim/model.h"
#include "framework/xo/call.h"
#include "framework/xo/event_loop.h"
#include "hardware/leds/test/support/errors.h"
#include "hardware/leds/test/support/leds_access.h"
#include "hardware/leds/test/support/robot.h"
#include "hardware/leds/test/support/session_refusal.h"
#include "hardware/leds/test/support/threads.h"

namespace HB::test {
namespace {

using std::chrono::milliseconds;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;
using xo::log::Level;

/// Makes the module as a loader does, on a thread of its own and in the name of `ending`.
Beside makeBeside(Surroundings& around, xo::Ending& ending) {
  return Beside([&] {
    const xo::CallScope scope(&ending);
    const auto leds = std::make_shared<HBLeds>(around.broker);
  });
}

TEST(HBLedsConstruction, LogsItsTwoWaitsAndNothingElse) {
  const auto around = Surroundings::complete();
  const auto leds = std::make_shared<HBLeds>(around->broker);
  EXPECT_THAT(around->log.lines(),
              ElementsAre(LogLine{"HBLeds", Level::kInfo, "Waiting for HBMotion..."},
                          LogLine{"HBLeds", Level::kInfo, "Waiting for HBRobotModel..."}));
}

TEST(HBLedsConstruction, ReadsTheModelAfterBothWaits) {
  const auto around = Surroundings::complete();
  const auto leds = std::make_shared<HBLeds>(around->broker);
  EXPECT_THAT(around->journal.lines(),
              ElementsAre("HBLeds info: Waiting for HBMotion...",
                          "HBLeds info: Waiting for HBRobotModel...", "model: getConfig"));
}

TEST(HBLedsConstruction, SetsItsMembersAndDrivesNothing) {
  Robot robot;
  LedsAccess in(robot.leds());
  EXPECT_EQ(robot.leds().getName(), "HBLeds");
  EXPECT_EQ(in.fDevicePrefix(), "Device/SubDeviceList/");
  EXPECT_FALSE(in.fLedsCommanded());
  EXPECT_TRUE(in.fMotion().isAlive());
  EXPECT_TRUE(in.fPassiveBlinking());
  EXPECT_TRUE(in.fMemoryProxy());
  EXPECT_EQ(in.fMemoryProxy()->name(), "HBMemory");
  EXPECT_EQ(LedsAccess::paused(*in.fPassiveBlinking()), 0);
  EXPECT_EQ(LedsAccess::earLedPrefix(), "EarLed");
  EXPECT_EQ(LedsAccess::signsAndFeedback(), "HBSignsAndFeedback");
  EXPECT_EQ(LedsAccess::log().name(), "HBLeds");
  EXPECT_THAT(robot.motion().writes(), IsEmpty());
}

TEST(HBLedsConstruction, WritesNothingToTheMotionService) {
  const auto around = Surroundings::complete();
  const auto leds = std::make_shared<HBLeds>(around->broker);
  EXPECT_THAT(around->motion->writes(), IsEmpty());
}

TEST(HBLedsConstruction, FailsWithALogLineWithoutMemory) {
  Surroundings around;
  around.addMotion();
  around.addModel(RobotXml::small());
  const auto text = textThrown<HBError>([&] { HBLeds leds(around.broker); });
  EXPECT_THAT(text, HasSubstr("HBMemory"));
  EXPECT_THAT(around.log.lines(), ElementsAre(LogLine{"HBLeds", Level::kError,
                                                      "Could not connect to HBMemory: " + text}));
}

TEST(HBLedsConstruction, BlamesTheMemoryWhenTheBrokerHasNoSession) {
  Surroundings around;
  const auto broker = HBBroker::create(nullptr);
  const auto text = textThrown<HBError>([&] { HBLeds leds(broker); });
  EXPECT_THAT(around.log.lines(), ElementsAre(LogLine{"HBLeds", Level::kError,
                                                      "Could not connect to HBMemory: " + text}));
}

TEST(HBLedsConstruction, FailsWithALogLineWhenTheSessionIsRefused) {
  const auto around = Surroundings::complete();
  const SessionRefusal refusal("no session today");
  EXPECT_EQ(textThrown<HBError>([&] { HBLeds leds(around->broker); }), "no session today");
  EXPECT_THAT(around->log.lines(),
              ElementsAre(LogLine{"HBLeds", Level::kError,
                                  "Error at session initialization, got: no session today"}));
}

TEST(HBLedsConstruction, BlocksSilentlyUntilTheMotionServiceIsRegistered) {
  Surroundings around;
  around.addMemory();
  around.addModel(RobotXml::small());
  xo::Ending ending;
  auto made = makeBeside(around, ending);
  ASSERT_TRUE(becomesTrue([&] { return ending.isWaiting(); }));
  EXPECT_THAT(around.log.lines(), IsEmpty());
  around.addMotion();
  ASSERT_TRUE(made.ends());
  EXPECT_NO_THROW(made.get());
  EXPECT_THAT(around.log.texts("HBLeds"),
              ElementsAre("Waiting for HBMotion...", "Waiting for HBRobotModel..."));
}

TEST(HBLedsConstruction, FailsWithTheWaitForTheMotionService) {
  Surroundings around;
  around.addMemory();
  around.addModel(RobotXml::small());
  xo::Ending ending;
  auto made = makeBeside(around, ending);
  ASSERT_TRUE(becomesTrue([&] { return ending.isWaiting(); }));
  ending.raise();
  ASSERT_TRUE(made.ends());
  EXPECT_THAT(textThrown<xo::Error>([&] { made.get(); }), HasSubstr("HBMotion"));
  EXPECT_THAT(around.log.lines(), IsEmpty());
}

TEST(HBLedsConstruction, WaitsOneMinuteForTheMotionObjectAndThenStartsWithoutIt) {
  Surroundings around;
  around.addMemory();
  around.addModel(RobotXml::small());
  xo::ManualClock clock;
  xo::Promise<xo::Object> never;
  const auto announced = around.session->announceService("HBMotion", never.future());
  const auto delays = xo::getEventLoop().pendingDelays();
  bool hasMotion = true;
  Beside made([&] {
    const auto leds = std::make_shared<HBLeds>(around.broker);
    hasMotion = static_cast<bool>(LedsAccess(*leds).fMotion());
  });
  ASSERT_TRUE(becomesTrue([&] { return xo::getEventLoop().pendingDelays() > delays; }));
  clock.advance(milliseconds(59999));
  EXPECT_THAT(around.log.texts("HBLeds"), ElementsAre("Waiting for HBMotion..."));
  clock.advance(milliseconds(1));
  ASSERT_TRUE(made.ends());
  EXPECT_NO_THROW(made.get());
  EXPECT_FALSE(hasMotion);
  EXPECT_THAT(around.log.texts("HBLeds"),
              ElementsAre("Waiting for HBMotion...", "Waiting for HBRobotModel..."));
}

TEST(HBLedsConstruction, StartsWithoutTheMotionObjectWhenItCannotBeHad) {
  Surroundings around;
  around.addMemory();
  around.addModel(RobotXml::small());
  const auto announced = around.session->announceService(
      "HBMotion", xo::makeFailedFuture<xo::Object>("the motor is cold"));
  HBLeds leds(around.broker);
  EXPECT_FALSE(LedsAccess(leds).fMotion());
  EXPECT_THAT(around.log.lines(),
              ElementsAre(LogLine{"HBLeds", Level::kInfo, "Waiting for HBMotion..."},
                          LogLine{"HBLeds", Level::kInfo, "Waiting for HBRobotModel..."}));
}

TEST(HBLedsConstruction, BlocksUntilTheRobotModelIsRegistered) {
  Surroundings around;
  around.addMemory();
  around.addMotion();
  xo::Ending ending;
  auto made = makeBeside(around, ending);
  ASSERT_TRUE(becomesTrue([&] { return ending.isWaiting(); }));
  EXPECT_THAT(around.log.texts("HBLeds"),
              ElementsAre("Waiting for HBMotion...", "Waiting for HBRobotModel..."));
  around.addModel(RobotXml::small());
  ASSERT_TRUE(made.ends());
  EXPECT_NO_THROW(made.get());
}

TEST(HBLedsConstruction, FailsWithTheWaitForTheRobotModel) {
  Surroundings around;
  around.addMemory();
  around.addMotion();
  xo::Ending ending;
  auto made = makeBeside(around, ending);
  ASSERT_TRUE(becomesTrue([&] { return ending.isWaiting(); }));
  ending.raise();
  ASSERT_TRUE(made.ends());
  EXPECT_THAT(textThrown<xo::Error>([&] { made.get(); }), HasSubstr("HBRobotModel"));
}

TEST(HBLedsConstruction, FailsWithTheErrorOfTheRobotModel) {
  Surroundings around;
  around.addMemory();
  around.addMotion();
  around.model = FakeRobotModel::failing(*around.session, around.journal, "model lost");
  EXPECT_EQ(runtimeError([&] { HBLeds leds(around.broker); }), "model lost");
}

TEST(HBLedsConstruction, FailsWhenTheRobotModelIsAnnouncedButNotThere) {
  Surroundings around;
  around.addMemory();
  around.addMotion();
  xo::Promise<xo::Object> never;
  const auto announced = around.session->announceService("HBRobotModel", never.future());
  EXPECT_THAT(textThrown<HBError>([&] { HBLeds leds(around.broker); }), HasSubstr("HBRobotModel"));
}

TEST(HBLedsConstruction, FailsForAModelWithoutLeds) {
  const auto xml = RobotXml("Bare").head("Vanto", "4.1.0");
  const auto around = Surroundings::complete(xml);
  EXPECT_EQ(runtimeError([&] { HBLeds leds(around->broker); }),
            "HBLeds could not be started: No LED defined for this robot model: " +
                Sim::Model(xml.text()).prettyName(2));
}

TEST(HBLedsConstruction, FailsForAModelThatCannotBeRead) {
  Surroundings around;
  around.addMemory();
  around.addMotion();
  around.model =
      std::make_unique<FakeRobotModel>(*around.session, around.journal, "<robot name=\"half");
  EXPECT_THROW(HBLeds leds(around.broker), Sim::ModelError);
}

TEST(HBLedsConstruction, CountsEarPositionsUpToTheFirstGap) {
  RobotXml xml;
  xml.led("A", "EarLed1", {{"Ears/Led/A", "blue"}})
      .led("B", "EarLed2", {{"Ears/Led/B", "blue"}})
      .led("C", "EarLed4", {{"Ears/Led/C", "blue"}});
  Robot robot(xml);
  EXPECT_EQ(LedsAccess(robot.leds()).fEarLedCount(), 2);
}

TEST(HBLedsConstruction, CountsNoEarPositionWhenTheFirstIsMissing) {
  RobotXml xml;
  xml.led("B", "EarLed2 EarLed0", {{"Ears/Led/B", "blue"}});
  Robot robot(xml);
  EXPECT_EQ(LedsAccess(robot.leds()).fEarLedCount(), 0);
}

TEST(HBLedsConstruction, CountsEarPositionsPastNine) {
  RobotXml xml;
  for (int n = 1; n <= 12; ++n) {
    const auto number = std::to_string(n);
    xml.led("E" + number, "EarLed" + number, {{"Ears/Led/" + number, "blue"}});
  }
  Robot robot(xml);
  EXPECT_EQ(LedsAccess(robot.leds()).fEarLedCount(), 12);
}

TEST(HBLedsConstruction, CountsNoEarPositionOnARobotWithoutEars) {
  Robot robot(RobotXml().rgbLed("Eye0", "FaceLeds", "Face/Led/%"));
  EXPECT_EQ(LedsAccess(robot.leds()).fEarLedCount(), 0);
}

TEST(HBLedsDestruction, LeavesADeadServiceAndAFutureThatStillEnds) {
  xo::ManualClock clock;
  auto robot = std::make_unique<Robot>();
  auto service = robot->service();
  const auto session = robot->surroundings().session;
  const auto faded = service.call<xo::Future<void>>("fade", std::string("Eye0"), 1.0F, 2.0F);
  robot.reset();
  EXPECT_FALSE(service.isAlive());
  EXPECT_EQ(runtimeError([&] { service.call("on", std::string("Eye0")); }), "This object is null");
  EXPECT_TRUE(faded.isRunning());
  clock.advance(std::chrono::seconds(2));
  EXPECT_TRUE(faded.hasValue());
}

TEST(HBLedsDestruction, LogsNothing) {
  const auto around = Surroundings::complete();
  auto leds = std::make_shared<HBLeds>(around->broker);
  around->log.clear();
  leds.reset();
  EXPECT_THAT(around->log.lines(), IsEmpty());
}

}  // namespace
}  // namespace HB::test
