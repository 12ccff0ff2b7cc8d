// Who gets into a robot, and what one client cannot do to another: real processes.
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <csignal>
#include <filesystem>
#include <iostream>
#include <list>
#include <set>
#include <thread>

#include "remote/client/robot_client.h"
#include "tests/system/robot.h"

namespace tests {
namespace {

using namespace std::chrono_literals;
using ::testing::HasSubstr;
using ::testing::StartsWith;

const std::string kVanto = "models/vanto.xml";
const std::string kTokenText = "0123456789abcdef-operator";

/// The last listener counts.
std::vector<std::string> robotAt(const std::string& listen, const std::string& socket,
                                 const std::vector<std::string>& more) {
  std::vector<std::string> command{tavroProgram(), "--model", kVanto,   "--listen", listen,
                                   "--socket",     socket,    "--page", "none"};
  command.insert(command.end(), more.begin(), more.end());
  return command;
}

TEST(Tavro, RefusesAnAddressOfOtherMachinesWithoutProtectionAndSaysWhatIsMissing) {
  const TemporaryFolder folder;
  const auto ended = run(robotAt("0.0.0.0:0", folder.file("s"), {"--log-level", "silent"}));
  EXPECT_EQ(ended.status, 1);
  EXPECT_EQ(ended.out, "");
  EXPECT_EQ(ended.err,
            "tavro: Cannot listen on 0.0.0.0:0: other machines reach this address, so it needs TLS "
            "(--tls-cert and --tls-key) and a token file (--tokens); --insecure does without\n");
}

TEST(Tavro, ListensInsecurelyWithALoudWarningWhenToldTo) {
  const TemporaryFolder folder;
  Process tavro(robotAt("0.0.0.0:0", folder.file("s"), {"--insecure"}));
  tavro.waitForLine("ready ");
  tavro.signal(SIGTERM);
  EXPECT_THAT(tavro.wait().err,
              HasSubstr("warning [remote] INSECURE: other machines reach this address, and "
                        "everybody there may drive the robot"));
}

TEST(Tavro, LetsInByTlsWhoHasATokenAndNobodyElse) {
  const TemporaryFolder folder;
  const std::string cert = folder.file("c");
  const std::string key = folder.file("k");
  ASSERT_EQ(run({"/usr/bin/openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt",
                 "ec_paramgen_curve:prime256v1", "-nodes", "-days", "2", "-subj", "/CN=robot.test",
                 "-addext", "subjectAltName=DNS:robot.test", "-keyout", key, "-out", cert})
                .status,
            0);
  const auto tokens = folder.write("tokens", "operator " + kTokenText + "\n");
  ::chmod(tokens.c_str(), 0600);
  const auto token = folder.write("token", kTokenText + "\n");
  ::chmod(token.c_str(), 0600);
  Process tavro(robotAt("0.0.0.0:0", folder.file("s"),
                        {"--tls-cert", cert, "--tls-key", key, "--tokens", tokens}));
  const std::string listening = tavro.waitForLine("listening grpc=0.0.0.0:");
  tavro.waitForLine("ready ");
  const std::string address = "127.0.0.1:" + listening.substr(0, listening.find(' '));
  const std::vector<std::string> ledctl{ledctlProgram(), "--robot",   address, "--tls-ca", cert,
                                        "--tls-name",    "robot.test"};
  const auto with = [&](std::vector<std::string> more,
                        const std::vector<std::string>& environment = {}) {
    more.insert(more.begin(), ledctl.begin(), ledctl.end());
    return run(more, environment);
  };
  EXPECT_EQ(with({"--token-file", token, "off", "FaceLeds"}).status, 0);
  EXPECT_EQ(with({"off", "FaceLeds"}, {"TAVRO_TOKEN=" + kTokenText}).status, 0);
  const auto without = with({"off", "FaceLeds"});
  EXPECT_EQ(without.status, 1);
  EXPECT_THAT(without.err, HasSubstr("This robot wants a token, and none was sent"));
  EXPECT_EQ(run({ledctlProgram(), "--robot", address, "services"}).status, 3) << "without TLS";
  EXPECT_EQ(run({ledctlProgram(), "--robot", "unix:" + folder.file("s"), "off", "FaceLeds"}).status,
            0)
      << "this user's own socket needs nothing";
}

TEST(Tavro, RemembersForWhichCallAnLedWasWritten) {
  const Robot robot;
  const auto client = remote::RobotClient::connect(robot.address(), {"painter", 5s});
  const auto keys = client->call("HBMotion", "listLEDs", {}).value;
  const HB::HBValue args[] = {keys};
  const auto origins = [&] {
    const auto listed = client->call("HBMotion", "getLEDOrigins", args).value;
    std::set<int> all;
    for (const auto& one : listed.toList()) all.insert(one.toInt());
    return all;
  };
  EXPECT_EQ(origins(), std::set<int>{0}) << "nobody has written any";
  const HB::HBValue face[] = {"FaceLeds", 0.5f};
  client->call("HBLeds", "setIntensity", face);
  const HB::HBValue fade[] = {"EarLeds", "red", 0.1f};
  client->call("HBLeds", "fadeRGB", fade);
  const auto ended = client->calls().ended;
  ASSERT_EQ(ended.size(), 2u) << "what only reads is not in the history";
  EXPECT_EQ(ended[0].method, "setIntensity");
  EXPECT_THAT(origins(), ::testing::UnorderedElementsAre(0, ended[0].id, ended[1].id));
}

TEST(Tavro, WithoutAModuleWaitsForSomebodyWhoStandsInForIt) {
  const TemporaryFolder folder;
  // The module that was left out comes last, as one of the user's.
  const auto motion =
      (std::filesystem::path(tavroProgram()).parent_path() / "../lib/tavro/libmotion.so").string();
  Process waiting(robotCommand(kVanto, folder.file("s"), {"--without", "motion"}));
  waiting.waitForLine("listening ");
  const auto services = [&] {
    return run({ledctlProgram(), "--robot", "unix:" + folder.file("s"), "services"}).out;
  };
  // What is loaded after those that wait stands.
  ASSERT_TRUE(
      eventually([&] { return services().find("HBSignsAndFeedback") != std::string::npos; }));
  EXPECT_EQ(services(), "HBMemory\nHBRobotModel\nHBSignsAndFeedback\n");
  EXPECT_EQ(waiting.outputSoFar().find("ready"), std::string::npos);
  waiting.signal(SIGTERM);
  const auto ended = waiting.wait(2s);
  EXPECT_EQ(ended.status, 0);
  EXPECT_THAT(ended.err, HasSubstr("Module motion is left out"));

  const Robot whole(kVanto, {"--without", "motion", "--module", motion});
  EXPECT_EQ(whole.readyLine(), "robot=Vanto");
  EXPECT_EQ(whole.ledctl({"setIntensity", "FaceLeds", "0.5"}).status, 0);
}

TEST(Tavro, RefusesTheGroupAfterTheThousandth) {
  const Robot robot;
  const auto client = remote::RobotClient::connect(robot.address());
  const auto create = [&](int number) {
    const HB::HBValue args[] = {"Group" + std::to_string(number),
                                HB::HBValue(std::vector<std::string>{"FaceLeds"})};
    client->call("HBLeds", "createGroup", args);
  };
  for (int i = 0; i < 1000; ++i) create(i);
  try {
    create(1000);
    FAIL() << "nothing was thrown";
  } catch (const remote::RemoteError& error) {
    EXPECT_STREQ(error.what(), "The client-made groups have reached the limit of 1000");
  }
  EXPECT_NO_THROW(create(7)) << "a group that stands may be made again";
}

/// Calls `off` many times; each must be served. Returns how long the slowest took.
std::chrono::milliseconds slowestOff(remote::RobotClient& client) {
  const HB::HBValue args[] = {"ChestLeds"};
  std::chrono::steady_clock::duration slowest{0};
  for (int i = 0; i < 200; ++i) {
    const auto start = std::chrono::steady_clock::now();
    EXPECT_NO_THROW(client.call("HBLeds", "off", args));
    slowest = std::max(slowest, std::chrono::steady_clock::now() - start);
  }
  return std::chrono::duration_cast<std::chrono::milliseconds>(slowest);
}

/// A thousand endless animations, by as many connections as told.
class Greedy {
 public:
  Greedy(const Robot& robot, int connections, const std::string& method,
         std::vector<HB::HBValue> args)
      : fArgs(std::move(args)) {
    for (int i = 0; i < connections; ++i) {
      fClients.push_back(remote::RobotClient::connect(robot.address(), {"greedy"}));
    }
    for (int i = 0; i < kCalls; ++i) {
      fThreads.emplace_back([this, i, method] {
        try {
          fClients[static_cast<std::size_t>(i) % fClients.size()]->call("HBLeds", method, fArgs,
                                                                        {{}, {}, fEnd});
        } catch (const remote::RemoteError& error) {
          if (error.fault() == remote::RemoteError::Fault::kRefused) ++fRefused;
        }
      });
    }
  }
  ~Greedy() {
    fEnd.cancel();
    for (auto& thread : fThreads) thread.join();
  }
  static constexpr int kCalls = 1000;
  int refused() const { return fRefused; }

 private:
  std::vector<HB::HBValue> fArgs;
  std::vector<std::unique_ptr<remote::RobotClient>> fClients;
  remote::CancelToken fEnd;
  std::atomic<int> fRefused{0};
  std::list<std::thread> fThreads;
};

const std::vector<HB::HBValue> kEndless{0x00ff00, 1.0f, 80000.0f};

TEST(Tavro, AThousandEndlessAnimationsOfOneClientLeaveAnothersOffAlone) {
  for (const int connections : {1, 100}) {
    SCOPED_TRACE(connections);
    const Robot robot;
    const auto other = remote::RobotClient::connect(robot.address(), {"other"});
    const Greedy greedy(robot, connections, "rotateEyes", kEndless);
    const auto meanwhile = slowestOff(*other);
    ASSERT_TRUE(eventually([&] { return greedy.refused() >= Greedy::kCalls - 96; }));
    EXPECT_LT(greedy.refused(), Greedy::kCalls) << "none runs";
    const auto later = slowestOff(*other);
    std::cout << connections << " connections: the slowest off took " << meanwhile.count()
              << " ms while they came, " << later.count() << " ms then\n";
  }
}

TEST(Tavro, CallsThatWaitForTheLockOfAnAnimationLeaveAnothersOffAlone) {
  const Robot robot;
  const auto other = remote::RobotClient::connect(robot.address(), {"other"});
  const Greedy animating(robot, 1, "rotateEyes", kEndless);
  ASSERT_TRUE(eventually([&] { return animating.refused() > 0; }));
  const Greedy waiting(robot, 100, "createGroup",
                       {"G", HB::HBValue(std::vector<std::string>{"FaceLeds"})});
  ASSERT_TRUE(eventually([&] { return waiting.refused() > 0; }));
  std::cout << "the slowest off took " << slowestOff(*other).count() << " ms\n";
}

}  // namespace
}  // namespace tests
