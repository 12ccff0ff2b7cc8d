// What a robot does with arguments of wrong types: every method of the LED service, every argument
// of each, every type that it is not. Prints what it measured.
#include <gmock/gmock.h>

#include <algorithm>
#include <iostream>
#include <map>

#include "framework/xo/type.h"
#include "tavro/test/every_command.h"
#include "tests/system/harmed_robot.h"

namespace tests {
namespace {

using HB::HBValue;
using remote::RemoteError;

/// One of each type, and lists of each.
std::vector<HBValue> everyType() {
  std::vector<HBValue> all{HBValue(), true, 7, 0.5F, "a text", HB::Binary{{1, 2, 3}}};
  const std::size_t plain = all.size();
  all.push_back(HBValue(HBValue::List{}));
  for (std::size_t i = 0; i < plain; ++i) all.push_back(HBValue::list({all[i]}));
  all.push_back(HBValue::list({"a text", 7}));
  all.push_back(HBValue::list({HBValue::list({HBValue::list({0.5F})})}));
  return all;
}

/// All values of the memory but the neighbour's and the clocks'.
std::map<std::string, std::string> lights(remote::RobotClient& client) {
  std::map<std::string, std::string> all;
  client.watch("Device/*", [&](const remote::WatchBatch& batch) {
    for (const auto& [key, value] : batch.items) {
      if (key.find("Head/Led") == std::string::npos) all[key] = value.toText();
    }
    return false;
  });
  return all;
}

class WrongTypes {
 public:
  explicit WrongTypes(remote::RobotClient& client)
      : fClient(client), fInfo(client.describe("HBLeds")) {}

  /// Whether some row of that name takes them.
  bool fits(const std::string& method, const HBValue::List& args) const {
    return std::ranges::any_of(fInfo.methods, [&](const xo::MethodInfo& row) {
      const auto& params = row.signature.params;
      if (row.doc.name != method || params.size() != args.size()) return false;
      for (std::size_t i = 0; i < params.size(); ++i) {
        if (xo::matchType(params[i], args[i]) == xo::Match::kNone) return false;
      }
      return true;
    });
  }
  void expectRefused(const std::string& method, const HBValue::List& args) {
    if (fits(method, args)) return;
    const auto start = std::chrono::steady_clock::now();
    try {
      fClient.call("HBLeds", method, args);
      ADD_FAILURE() << method << HBValue(args).toText() << " was taken";
    } catch (const RemoteError& error) {
      EXPECT_EQ(error.fault(), RemoteError::Fault::kFailed) << method << ": " << error.what();
      EXPECT_EQ(error.kind(), "invalid_argument") << method << ": " << error.what();
      EXPECT_NE(std::string(error.what()).find(method), std::string::npos) << error.what();
    }
    const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - start;
    fLongest = std::max(fLongest, took.count());
    ++fCalls;
  }
  std::size_t rows() const { return fInfo.methods.size(); }
  int calls() const { return fCalls; }
  double longest() const { return fLongest; }

 private:
  remote::RobotClient& fClient;
  const xo::ObjectInfo fInfo;
  int fCalls = 0;
  double fLongest = 0;
};

TEST(ClientThatSendsWrongTypes, IsRefusedWithWordsAndNothingMoves) {
  HarmedRobot robot;
  const std::vector<HBValue> face{"FaceLeds", 0.5F};
  robot.client().call("HBLeds", "setIntensity", face);
  robot.begin();
  const auto before = lights(robot.client());
  ASSERT_GT(before.size(), 50u);
  WrongTypes wrong(robot.client());
  const auto commands = tavro::everyCommand();
  ASSERT_EQ(wrong.rows(), commands.size());
  for (int round = 0; round < faultRounds(); ++round) {
    for (const auto& command : commands) {
      for (std::size_t i = 0; i < command.args.size(); ++i) {
        for (const HBValue& value : everyType()) {
          HBValue::List args = command.args;
          args[i] = value;
          wrong.expectRefused(command.method, args);
        }
      }
      HBValue::List tooMany = command.args;
      tooMany.insert(tooMany.end(), {1, 2, 3});
      wrong.expectRefused(command.method, tooMany);
      if (command.args.empty()) continue;
      wrong.expectRefused(command.method, {command.args.begin(), command.args.end() - 1});
    }
  }
  EXPECT_EQ(lights(robot.client()), before);
  std::cout << "measured: wrong types: " << wrong.calls() << " calls of " << wrong.rows()
            << " methods, each refused after " << wrong.longest() << " ms at most\n";
  robot.expectUnharmed("wrong types", 4 * 1024);
}

}  // namespace
}  // namespace tests
