#include "tools/ledctl/commands.h"

#include <unistd.h>

#include <algorithm>

#include "tools/ledctl/bench.h"
#include "tools/ledctl/manual.h"
#include "tools/ledctl/overload.h"
#include "tools/ledctl/print.h"
#include "tools/ledctl/progress.h"
#include "tools/ledctl/suggest.h"
#include "tools/ledctl/usage_error.h"

namespace ledctl {

namespace {

using Words = std::vector<std::string>;

void requireAtMost(std::size_t most, const Words& words, const std::string& form) {
  if (words.size() > most) throw UsageError("Too many arguments.\nUsage: ledctl " + form);
}

/// What progress shows of a call.
std::string inWords(const Words& words) {
  std::string text;
  for (const auto& word : words) text += (text.empty() ? "" : " ") + word;
  constexpr std::size_t kMost = 40;
  return harmless(text.size() > kMost ? text.substr(0, kMost) + "..." : text);
}

std::unique_ptr<remote::RobotClient> connectInSight(const Options& options, bool isShown,
                                                    std::ostream& hints) {
  const Progress progress(hints, isShown, "Reaching " + harmless(addressOf(options)));
  return connect(options, std::chrono::seconds(5));
}

std::vector<const xo::MethodInfo*> allRows(const xo::ObjectInfo& table) {
  std::vector<const xo::MethodInfo*> rows;
  for (const auto& method : table.methods) rows.push_back(&method);
  return rows;
}

}  // namespace

std::string addressOf(const Options& options) {
  return options.robot.empty() ? remote::defaultAddress().text() : options.robot;
}

std::unique_ptr<remote::RobotClient> connect(const Options& options,
                                             std::chrono::milliseconds timeout) {
  const std::string address = addressOf(options);
  remote::RobotClient::Options how{.clientName = "ledctl", .timeout = timeout};
  how.isInsecureAllowed = options.isInsecureAllowed;
  if (options.tls) how.tls = remote::Tls{options.tlsCa, options.tlsName};
  try {
    how.token = options.tokenFile.empty()
                    ? remote::tokenOfEnvironment(remote::parseAddress(address), how.tls)
                    : remote::readTokenFile(options.tokenFile);
    if (how.token.empty() && !options.lastTokenFile.empty()) {
      how.token = remote::readTokenFile(options.lastTokenFile);
    }
    return remote::RobotClient::connect(address, how);
  } catch (const std::invalid_argument& error) {
    throw UsageError(error.what());
  }
}

Commands::Commands(const Options& options, Interrupt& interrupt, std::ostream& out,
                   std::ostream& hints)
    : fOptions(options),
      fInterrupt(interrupt),
      fOut(out),
      fHints(hints),
      fTerminal(thisTerminal(options.plain)),
      fRobot(connectInSight(options, fTerminal.canProgress, hints)) {}

void Commands::run() {
  const std::string& command = fOptions.words.front();
  const Words rest(fOptions.words.begin() + 1, fOptions.words.end());
  if (fOptions.help) return xDescribe({command == "call" && !rest.empty() ? rest[0] : command});
  if (command == "services") {
    requireAtMost(0, rest, "services");
    return xServices();
  }
  if (command == "methods") {
    requireAtMost(0, rest, "methods");
    return xMethods();
  }
  if (command == "describe") return xDescribe(rest);
  if (command == "watch") return xWatch(rest);
  if (command == "bench") return xBench(rest);
  if (command != "call") return xCall(fOptions.words);
  if (rest.empty()) throw UsageError("Which method?\nUsage: ledctl call METHOD [ARGUMENT...]");
  xCall(rest);
}

xo::ObjectInfo Commands::xTable() {
  const auto services = fRobot->services();
  if (std::ranges::find(services, fOptions.service) == services.end()) {
    std::string text = "The robot has no service '" + fOptions.service + "'";
    if (!fOptions.isServiceNamed) {
      throw remote::RemoteError(remote::RemoteError::Fault::kRefused,
                                text + " yet. It may still be starting.");
    }
    const std::string suggestion = didYouMean(fOptions.service, services);
    text += ". " + (suggestion.empty() ? "'ledctl services' lists them." : suggestion);
    throw UsageError(text);
  }
  return fRobot->describe(fOptions.service);
}

void Commands::xPrint(const HB::HBValue& value) {
  const std::string text = fOptions.json ? jsonText(value) : plainText(value);
  if (text.empty() && value.getType() != HB::HBValue::TypeString) return;
  fOut << (isatty(STDOUT_FILENO) != 0 ? harmless(text) : text) << '\n';
}

void Commands::xServices() {
  const auto names = fRobot->services();
  xPrint(HB::HBValue(names));
}

void Commands::xMethods() {
  const auto table = xTable();
  fOut << (fOptions.json ? methodsJson(allRows(table)) + '\n' : methodList(table));
}

void Commands::xDescribe(const Words& words) {
  requireAtMost(1, words, "describe [METHOD]");
  const auto table = xTable();
  const auto rows = words.empty() ? allRows(table) : rowsOf(fOptions.service, table, words[0]);
  if (fOptions.json) {
    fOut << methodsJson(rows) << '\n';
  } else {
    fOut << (words.empty() ? serviceManual(fOptions.service, table) : methodManual(rows));
  }
}

void Commands::xCall(const Words& words) {
  const auto table = xTable();
  const auto choice =
      chooseMethod(fOptions.service, table, words.front(), Words(words.begin() + 1, words.end()));
  remote::CallOptions options;
  options.completion =
      fOptions.wait ? remote::Completion::kFinished : remote::Completion::kReturned;
  options.cancel = fInterrupt.token();
  fInterrupt.begin();
  HB::HBValue value;
  {
    const Progress progress(fHints, fTerminal.canProgress, inWords(words));
    value = fRobot->call(fOptions.service, words.front(), choice.args, options).value;
  }
  xPrint(value);
}

void Commands::xBench(const Words& words) {
  constexpr int kMost = 1000000;
  if (fOptions.count > kMost) throw UsageError("bench takes --count 1 to 1000000");
  const int count = fOptions.count == 0 ? 1000 : fOptions.count;
  BenchResult result{fOptions.service, "", {}};
  std::vector<HB::HBValue> arguments;
  if (words.empty() && !fOptions.isServiceNamed) {
    result.service = "HBRobotModel";
    result.method = "getRobotName";
  } else {
    if (words.empty()) throw UsageError("Which method?\nUsage: ledctl bench METHOD [ARGUMENT...]");
    result.method = words.front();
    arguments = chooseMethod(fOptions.service, xTable(), words.front(),
                             Words(words.begin() + 1, words.end()))
                    .args;
  }
  remote::CallOptions options;
  options.cancel = fInterrupt.token();
  fInterrupt.begin();
  const auto call = [&] { fRobot->call(result.service, result.method, arguments, options); };
  {
    const Progress progress(fHints, fTerminal.canProgress,
                            "Calling " + result.method + ' ' + std::to_string(count) + " times");
    // The first calls also pay for what is made once.
    constexpr int kWarmUp = 10;
    for (int i = 0; i < kWarmUp; ++i) call();
    result.times.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
      const auto start = std::chrono::steady_clock::now();
      call();
      result.times.push_back(std::chrono::steady_clock::now() - start);
    }
  }
  fOut << (fOptions.json ? benchJson(result) + '\n' : benchText(result));
}

}  // namespace ledctl
