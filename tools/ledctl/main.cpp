// ledctl: any method of a robot's service as a command.
#include <cstdlib>
#include <exception>
#include <iostream>
#include <span>

#include "tools/ledctl/commands.h"
#include "tools/ledctl/complete.h"
#include "tools/ledctl/config.h"
#include "tools/ledctl/examine.h"
#include "tools/ledctl/interrupt.h"
#include "tools/ledctl/options.h"
#include "tools/ledctl/status.h"
#include "tools/ledctl/usage_error.h"

namespace {

using remote::RemoteError;

const char* variable(const char* name) { return std::getenv(name); }

std::string fallbackRobot() {
  const char* const robot = variable("LEDCTL_ROBOT");
  return robot == nullptr ? "" : robot;
}

int tell(const RemoteError& error, bool wasInterrupted) {
  if (error.fault() == RemoteError::Fault::kCancelled && wasInterrupted) {
    std::cerr << "ledctl: stopped" << std::endl;
    return ledctl::kInterrupted;
  }
  // A method's own text stands alone, unchanged.
  if (error.fault() != RemoteError::Fault::kFailed) std::cerr << "ledctl: ";
  std::cerr << error.what() << '\n';
  if (!error.advice().empty()) std::cerr << error.advice() << '\n';
  return error.isNotReached() ? ledctl::kNotReached : ledctl::kCallFailed;
}

int run(const std::vector<std::string>& arguments) {
  if (!arguments.empty() && arguments.front() == "__complete") {
    ledctl::complete(std::span(arguments).subspan(1), std::cout);
    return ledctl::kDone;
  }
  auto options = ledctl::readOptions(arguments, fallbackRobot());
  if (options.version) {
    std::cout << "ledctl " TAVRO_VERSION "\n";
    return ledctl::kDone;
  }
  if (options.words.empty()) {
    (options.help ? std::cout : std::cerr) << ledctl::helpText();
    return options.help ? ledctl::kDone : ledctl::kWrongUsage;
  }
  ledctl::useConfig(ledctl::readConfig(ledctl::configPath(variable)), options);
  ledctl::Interrupt interrupt;
  if (!options.help && options.words.front() == "doctor") {
    if (options.words.size() > 1) {
      throw ledctl::UsageError("Too many arguments.\nUsage: ledctl doctor");
    }
    return ledctl::examine(options, std::cout, std::cerr);
  }
  try {
    ledctl::Commands(options, interrupt, std::cout, std::cerr).run();
  } catch (const RemoteError& error) {
    return tell(error, interrupt.hasCome());
  }
  return ledctl::kDone;
}

}  // namespace

int main(int argc, char** argv) {
  // What the library has to say to its own developers is for nobody here; GRPC_VERBOSITY asks for
  // it.
  setenv("GRPC_VERBOSITY", "NONE", 0);
  try {
    const int status = run({argv + 1, argv + argc});
    std::cout.flush();
    return status;
  } catch (const ledctl::UsageError& error) {
    std::cerr << "ledctl: " << error.what() << std::endl;
    return ledctl::kWrongUsage;
  } catch (const std::exception& error) {
    std::cerr << "ledctl: " << error.what() << std::endl;
    return ledctl::kCallFailed;
  }
}
