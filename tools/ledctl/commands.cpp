#include "tools/ledctl/commands.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>

#include "tools/ledctl/manual.h"
#include "tools/ledctl/overload.h"
#include "tools/ledctl/print.h"
#include "tools/ledctl/suggest.h"
#include "tools/ledctl/usage_error.h"
#include "tools/ledctl/watch_view.h"

namespace ledctl {

namespace {

using Words = std::vector<std::string>;

std::unique_ptr<remote::RobotClient> connect(const Options& options) {
  const std::string address =
      options.robot.empty() ? remote::defaultAddress().text() : options.robot;
  remote::RobotClient::Options how{.clientName = "ledctl"};
  if (options.tls) how.tls = remote::Tls{options.tlsCa, options.tlsName};
  try {
    how.token = options.tokenFile.empty()
                    ? remote::tokenOfEnvironment(remote::parseAddress(address), how.tls)
                    : remote::readTokenFile(options.tokenFile);
    return remote::RobotClient::connect(address, how);
  } catch (const std::invalid_argument& error) {
    throw UsageError(error.what());
  }
}

void requireAtMost(std::size_t most, const Words& words, const std::string& form) {
  if (words.size() > most) throw UsageError("Too many arguments.\nUsage: ledctl " + form);
}

ScreenView::Size terminalSize() {
  winsize size{};
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_row == 0) return {24, 80};
  return {size.ws_row, size.ws_col};
}

std::unique_ptr<WatchView> makeView(std::ostream& out, bool json) {
  if (json || isatty(STDOUT_FILENO) == 0 || std::getenv("NO_COLOR") != nullptr) {
    return std::make_unique<LineView>(out, json);
  }
  return std::make_unique<ScreenView>(out, terminalSize);
}

std::vector<const xo::MethodInfo*> allRows(const xo::ObjectInfo& table) {
  std::vector<const xo::MethodInfo*> rows;
  for (const auto& method : table.methods) rows.push_back(&method);
  return rows;
}

}  // namespace

Commands::Commands(const Options& options, Interrupt& interrupt, std::ostream& out,
                   std::ostream& hints)
    : fOptions(options),
      fInterrupt(interrupt),
      fOut(out),
      fHints(hints),
      fRobot(connect(options)) {}

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
  xPrint(fRobot->call(fOptions.service, words.front(), choice.args, options).value);
}

void Commands::xWatch(const Words& words) {
  requireAtMost(1, words, "watch [PATTERN]");
  const std::string pattern = words.empty() ? "*" : words[0];
  const auto view = makeView(fOut, fOptions.json);
  fInterrupt.begin();
  const Countdown countdown(fInterrupt.token(), fOptions.duration);
  int updates = 0;
  bool isEnough = false;
  try {
    fRobot->watch(
        pattern,
        [&](const remote::WatchBatch& batch) {
          if (batch.isSnapshot && batch.items.empty()) {
            fHints << "ledctl: nothing matches '" << pattern << "' yet" << std::endl;
          }
          view->show(batch);
          isEnough = ++updates == fOptions.count;
          return !isEnough;
        },
        fInterrupt.token());
  } catch (const remote::RemoteError& error) {
    if (error.fault() != remote::RemoteError::Fault::kCancelled) throw;
  }
  // Ctrl-C, the countdown and the count are how a watch ends; the robot's end is not.
  if (isEnough || fInterrupt.token().isCancelled()) return;
  throw remote::RemoteError(remote::RemoteError::Fault::kUnreachable,
                            "The robot at " + fRobot->address().text() + " ended the watch");
}

}  // namespace ledctl
