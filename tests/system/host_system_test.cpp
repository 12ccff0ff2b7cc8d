// The host process from outside: what it prints, how it ends, what it refuses.
#include <gmock/gmock.h>

#include <csignal>

#include "tests/system/robot.h"

namespace tests {
namespace {

using namespace std::chrono_literals;
using ::testing::AllOf;
using ::testing::ContainsRegex;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::Not;
using ::testing::StartsWith;

const std::string kVanto = "models/vanto.xml";

long linesOf(const std::string& text) { return std::ranges::count(text, '\n'); }

/// How many long calls of the test module have begun.
std::string begunCalls(const Robot& robot) {
  return robot.ledctl({"--service", "Standing", "begun"}).out;
}

TEST(Tavro, PrintsWhereItListensAndThatItIsReady) {
  Robot robot;
  robot.process().signal(SIGTERM);
  const auto ended = robot.process().wait();
  EXPECT_THAT(ended.out, MatchesRegex("listening grpc=127\\.0\\.0\\.1:[0-9]+ unix=.*/robot\\.sock\n"
                                      "ready robot=Vanto\n"));
}

TEST(Tavro, TellsWhereItsPageIs) {
  Robot robot(kVanto, {"--page", "127.0.0.1:0"});
  robot.process().signal(SIGTERM);
  const auto ended = robot.process().wait();
  EXPECT_EQ(ended.status, 0);
  EXPECT_THAT(ended.out, MatchesRegex("listening grpc=127\\.0\\.0\\.1:[0-9]+ unix=.*/robot\\.sock "
                                      "page=http://127\\.0\\.0\\.1:[0-9]+\n"
                                      "ready robot=Vanto page=http://127\\.0\\.0\\.1:[0-9]+\n"));
}

TEST(Tavro, SaysThatThePortOfItsPageIsTaken) {
  const Robot first(kVanto, {"--page", "127.0.0.1:0"});
  const std::string ready = first.readyLine();
  const std::string page = ready.substr(ready.rfind('/') + 1);
  const TemporaryFolder folder;
  const auto ended =
      run(robotCommand(kVanto, folder.file("s"), {"--page", page, "--log-level", "silent"}));
  EXPECT_EQ(ended.status, 1);
  EXPECT_EQ(ended.err, "tavro: Cannot serve the page at " + page +
                           ": Address already in use (--page names another address, or 'none')\n");
  EXPECT_EQ(ended.out, "");
}

TEST(Tavro, RefusesAddressesOfItsPageThatItCannotServe) {
  const TemporaryFolder folder;
  for (const char* page : {"0.0.0.0:0", "192.0.2.1:0", "[::]:0", "nonsense", "unix:there"}) {
    const auto ended =
        run(robotCommand(kVanto, folder.file("s"), {"--page", page, "--log-level", "silent"}));
    EXPECT_EQ(ended.status, 1) << page;
    EXPECT_THAT(ended.err, AllOf(StartsWith("tavro: "), HasSubstr(page), HasSubstr("--page")));
    EXPECT_EQ(linesOf(ended.err), 1);
  }
}

TEST(Tavro, SaysThatTheAddressOfItsPageIsOfNumbers) {
  const TemporaryFolder folder;
  for (const std::string host : {"robot.example", "nowhere", "1.2.3", "1.2.3.4.5", "127.0.0.1x"}) {
    const std::string page = host + ":0";
    const auto ended = run(robotCommand(kVanto, folder.file("s"),
                                        {"--page", page, "--insecure", "--log-level", "silent"}));
    EXPECT_EQ(ended.status, 1) << page;
    EXPECT_EQ(ended.err, "tavro: Cannot serve the page at " + page + " (--page): the host '" +
                             host +
                             "' is neither an address of numbers, such as 127.0.0.1 or [::1], nor "
                             "localhost\n");
  }
}

TEST(Tavro, EndsOnEitherSignalWithinTwoSecondsAndStatusZero) {
  for (const int signal : {SIGINT, SIGTERM}) {
    Robot robot;
    robot.process().signal(signal);
    EXPECT_EQ(robot.process().wait(2s).status, 0);
  }
}

TEST(Tavro, EndsWithinTwoSecondsWhileAModuleWaitsForAService) {
  const TemporaryFolder folder;
  Process tavro(robotCommand(kVanto, folder.file("s"), {"--module", testModule("waiting_module")}));
  tavro.waitForLine("listening ");
  ASSERT_TRUE(eventually([&] {
    const auto listed = run({ledctlProgram(), "--robot", "unix:" + folder.file("s"), "services"});
    return listed.out.find("HBLeds") != std::string::npos;
  }));
  tavro.signal(SIGTERM);
  const auto ended = tavro.wait(2s);
  EXPECT_EQ(ended.status, 0);
  EXPECT_THAT(ended.out, Not(HasSubstr("ready")));
}

TEST(Tavro, EndsWithinTwoSecondsInTheMiddleOfItsStart) {
  const TemporaryFolder folder;
  for (const auto delay : {0ms, 2ms, 5ms, 10ms, 20ms}) {
    Process tavro(robotCommand(kVanto, folder.file("s")));
    tavro.waitForLine("listening ");
    // Only spreads the signal over the start, where nothing tells how far it is; any moment must
    // do.
    std::this_thread::sleep_for(delay);
    tavro.signal(SIGINT);
    EXPECT_EQ(tavro.wait(2s).status, 0);
  }
}

TEST(Tavro, EndsWithinTwoSecondsWhileACallSleepsForAnHour) {
  Robot robot(kVanto, {"--module", testModule("standing_module")});
  Process caller(robot.ledctlCommand({"--service", "Standing", "nap", "3600"}));
  ASSERT_TRUE(eventually([&] { return begunCalls(robot) == "1\n"; }));
  robot.process().signal(SIGTERM);
  EXPECT_EQ(robot.process().wait(2s).status, 0);
  EXPECT_NE(caller.wait().status, 0);
}

TEST(Tavro, EndsAtOnceOnTheSecondSignal) {
  Robot robot(kVanto, {"--module", testModule("standing_module")});
  const Process caller(robot.ledctlCommand({"--service", "Standing", "hang", "3600"}));
  ASSERT_TRUE(eventually([&] { return begunCalls(robot) == "1\n"; }));
  robot.process().signal(SIGINT);
  EXPECT_THROW(robot.process().wait(1s), std::runtime_error);
  robot.process().signal(SIGINT);
  EXPECT_EQ(robot.process().wait(1s).status, 130);
}

TEST(Tavro, EndsWithinTwoSecondsWithClientsThatWatch) {
  Robot robot;
  Process watcher(robot.ledctlCommand({"watch", "Face/*"}));
  watcher.waitForLine("Device/");
  robot.process().signal(SIGTERM);
  EXPECT_EQ(robot.process().wait(2s).status, 0);
  EXPECT_EQ(watcher.wait().status, 3);
}

TEST(Tavro, LeavesNoSocketBehind) {
  const TemporaryFolder folder;
  Process tavro(robotCommand(kVanto, folder.file("s")));
  tavro.waitForLine("ready ");
  ASSERT_EQ(run({"/usr/bin/test", "-S", folder.file("s")}).status, 0);
  tavro.signal(SIGTERM);
  tavro.wait();
  EXPECT_NE(run({"/usr/bin/test", "-e", folder.file("s")}).status, 0);
}

TEST(Tavro, LogsToStandardErrorWithoutColoursWhenThatIsNoTerminal) {
  Robot robot;
  robot.process().signal(SIGTERM);
  const auto ended = robot.process().wait();
  EXPECT_THAT(ended.err, ContainsRegex("....-..-.. ..:..:..\\.... info    \\[HBLeds\\] Waiting for "
                                       "HBRobotModel\\.\\.\\.\n"));
  EXPECT_THAT(ended.err, Not(HasSubstr("\x1b")));
}

TEST(Tavro, LogsNothingWhenToldToBeSilent) {
  Robot robot(kVanto, {"--log-level", "silent"});
  robot.process().signal(SIGTERM);
  EXPECT_EQ(robot.process().wait().err, "");
}

TEST(Tavro, NamesAModuleThatCannotStart) {
  const TemporaryFolder folder;
  const auto ended =
      run(robotCommand(kVanto, folder.file("s"),
                       {"--log-level", "silent", "--module", testModule("throwing_module")}));
  EXPECT_EQ(ended.status, 1);
  EXPECT_EQ(ended.err, "tavro: module throwing_module cannot start: the wheel came off\n");
}

TEST(Tavro, TellsWhatAModulePrintedThatCouldNotStart) {
  const TemporaryFolder folder;
  const auto ended =
      run(robotCommand(kVanto, folder.file("s"), {"--module", testModule("printing_module")}));
  EXPECT_EQ(ended.status, 1);
  EXPECT_THAT(ended.err, EndsWith("tavro: module printing_module cannot start: printing : error "
                                  "while trying to create module Printing: no ink\n"));
}

std::string ledModel(const std::string& leds) {
  return "<robot name=\"T\" version=\"1\">\n<leds groups=\"AllLeds\">\n" + leds +
         "</leds>\n</robot>\n";
}

TEST(Tavro, RefusesABrokenModelInOneLine) {
  struct Case {
    std::string name;
    std::string content;
    std::string complaint;  // after the file's name
  };
  const std::string device = R"(<device name="A/Led/Red" color="red"/>)";
  std::string nested = "<led short=\"A\">" + device + "</led>";
  for (int depth = 0; depth < 65; ++depth) nested = "<leds groups=\"G\">" + nested + "</leds>";
  const std::vector<Case> cases{
      {"empty.xml", "", ""},
      {"text.xml", "a robot, please", ""},
      {"cut.xml", "<robot name=\"x\"><led", ""},
      {"doctype.xml", "<!DOCTYPE x [<!ENTITY a \"b\">]><robot name=\"x\"/>", ":1: "},
      {"binary.xml", std::string("\0\x01\xff\xfe", 4), ""},
      {"nan.xml", ledModel("<led short=\"A\" x=\"nan\" y=\"0\">" + device + "</led>"),
       ":3: x=\"nan\""},
      {"colour.xml", ledModel(R"(<led short="A"><device name="A" color="pink"/></led>)"),
       ":3: color=\"pink\" is unknown; allowed: red, green, blue"},
      {"nested.xml", ledModel(nested), ":3: elements are nested deeper than 64"},
  };
  const TemporaryFolder folder;
  for (const auto& [name, content, complaint] : cases) {
    const auto file = folder.write(name, content);
    const auto ended = run(robotCommand(file, folder.file("s"), {"--log-level", "silent"}));
    EXPECT_EQ(ended.status, 1) << name;
    EXPECT_THAT(ended.err,
                StartsWith("tavro: module robotmodel cannot start: " + file + complaint));
    EXPECT_EQ(linesOf(ended.err), 1) << ended.err;
    EXPECT_THAT(ended.out, Not(HasSubstr("ready")));
  }
}

TEST(Tavro, EndsARobotWithoutLedsWithTheLedServicesOwnText) {
  const TemporaryFolder folder;
  const auto file = folder.write("none.xml", ledModel(""));
  const auto ended = run(robotCommand(file, folder.file("s"), {"--log-level", "silent"}));
  EXPECT_EQ(ended.status, 1);
  EXPECT_THAT(ended.err, StartsWith("tavro: module leds cannot start: HBLeds could not be started: "
                                    "No LED defined for this robot model: "));
}

TEST(Tavro, RefusesAModelThatIsNotThere) {
  const TemporaryFolder folder;
  const auto ended =
      run(robotCommand(folder.file("missing.xml"), folder.file("s"), {"--log-level", "silent"}));
  EXPECT_EQ(ended.status, 1);
  EXPECT_THAT(ended.err, AllOf(StartsWith("tavro: "), HasSubstr("missing.xml")));
  EXPECT_EQ(linesOf(ended.err), 1);
}

TEST(Tavro, RunsTwiceAtOnceOnTwoPorts) {
  const Robot one;
  const Robot two("models/lirae.xml");
  EXPECT_NE(one.address(), two.address());
  EXPECT_EQ(one.ledctl({"listGroups"}).status, 0);
  EXPECT_EQ(two.ledctl({"listGroups"}).status, 0);
  EXPECT_EQ(one.readyLine(), "robot=Vanto");
  EXPECT_EQ(two.readyLine(), "robot=Lirae");
}

TEST(Tavro, SaysThatItsPortIsTaken) {
  const Robot first;
  const TemporaryFolder folder;
  const auto ended = run({tavroProgram(), "--model", kVanto, "--listen", first.address(),
                          "--socket", folder.file("s"), "--page", "none", "--log-level", "silent"});
  EXPECT_EQ(ended.status, 1);
  EXPECT_THAT(ended.err, AllOf(StartsWith("tavro: "), HasSubstr(first.address())));
  EXPECT_EQ(linesOf(ended.err), 1);
  EXPECT_EQ(ended.out, "");
}

TEST(Tavro, SaysThatItsSocketIsTaken) {
  const Robot first;
  const auto ended = run(robotCommand(kVanto, first.socket(), {"--log-level", "silent"}));
  EXPECT_EQ(ended.status, 1);
  EXPECT_THAT(ended.err, HasSubstr(first.socket()));
  EXPECT_EQ(first.ledctl({"services"}).status, 0);
}

TEST(Tavro, RefusesAddressesThatAreNotOfThisMachine) {
  const TemporaryFolder folder;
  for (const char* address : {"0.0.0.0:0", "192.0.2.1:0", "[::]:0", "nonsense"}) {
    const auto ended = run({tavroProgram(), "--model", kVanto, "--listen", address, "--socket",
                            folder.file("s"), "--page", "none"});
    EXPECT_EQ(ended.status, 1) << address;
    EXPECT_THAT(ended.err, HasSubstr(address));
  }
}

TEST(Tavro, SaysWhatIsWrongWithItsCommandLine) {
  const auto ended = run({tavroProgram(), "--modle", kVanto});
  EXPECT_EQ(ended.status, 2);
  EXPECT_THAT(ended.err, AllOf(StartsWith("tavro: "), HasSubstr("--modle"), HasSubstr("--help")));
}

TEST(Tavro, TellsItsVersionAndItsOptions) {
  EXPECT_THAT(run({tavroProgram(), "--version"}).out, MatchesRegex("tavro [0-9.]+\n"));
  EXPECT_THAT(run({tavroProgram(), "--help"}).out, HasSubstr("--listen"));
}

}  // namespace
}  // namespace tests
