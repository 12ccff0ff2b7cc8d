#include "tools/ledctl/complete.h"

#include <sys/time.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <exception>
#include <memory>

#include "tools/ledctl/commands.h"
#include "tools/ledctl/completion.h"
#include "tools/ledctl/config.h"

namespace ledctl {

namespace {

constexpr std::chrono::milliseconds kDeadline{500};

extern "C" void endQuietly(int) { _exit(0); }

/// Whatever the shell's user waits for: the end of the process, unless it is done before.
void setDeadline() {
  std::signal(SIGALRM, endQuietly);
  itimerval timer{};
  timer.it_value.tv_usec = std::chrono::microseconds(kDeadline).count();
  setitimer(ITIMER_REAL, &timer, nullptr);
}

/// Connects when it is asked for the first time.
class RobotNames final : public NameSource {
 public:
  explicit RobotNames(Options options) : fOptions(std::move(options)) {}

  std::vector<std::string> services() override { return xRobot().services(); }
  xo::ObjectInfo describe(const std::string& service) override {
    return xRobot().describe(service);
  }
  std::vector<std::string> list(const std::string& service, const std::string& method,
                                const std::vector<std::string>& arguments) override {
    const std::vector<HB::HBValue> values(arguments.begin(), arguments.end());
    remote::CallOptions options;
    options.timeout = kDeadline;
    std::vector<std::string> names;
    const auto reply = xRobot().call(service, method, values, options);
    for (const auto& name : reply.value.toList()) names.push_back(name.toString());
    return names;
  }

 private:
  remote::RobotClient& xRobot() {
    if (fRobot == nullptr) fRobot = connect(fOptions, kDeadline);
    return *fRobot;
  }

  const Options fOptions;
  std::unique_ptr<remote::RobotClient> fRobot;
};

void printLines(const std::vector<std::string>& lines, std::ostream& out) {
  for (const auto& line : lines) out << line << '\n';
  out.flush();
}

}  // namespace

void complete(std::span<const std::string> words, std::ostream& out) {
  const Typed typed = readTyped(words);
  printLines(fixedCandidates(typed), out);
  if (typed.awaiting == "--robot") {
    std::vector<std::string> addresses{remote::kDefaultTcpAddress};
    if (const auto own = remote::defaultAddress().text(); own != addresses.front()) {
      addresses.push_back(own);
    }
    std::erase_if(addresses,
                  [&](const std::string& one) { return !one.starts_with(typed.current); });
    for (auto& address : addresses) address.insert(0, typed.start);
    return printLines(addresses, out);
  }
  setDeadline();
  try {
    const char* const robot = std::getenv("LEDCTL_ROBOT");
    Options options = readOptions(typed.options, robot == nullptr ? "" : robot);
    useConfig(
        readConfig(configPath([](const char* name) -> const char* { return std::getenv(name); })),
        options);
    RobotNames names(std::move(options));
    printLines(robotCandidates(typed, names), out);
  } catch (const std::exception&) {
    // No robot, or one that does not tell: nothing more to offer.
  }
}

}  // namespace ledctl
