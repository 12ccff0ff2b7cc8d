#include "tools/ledctl/options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <cmath>

#include "tools/ledctl/literal.h"
#include "tools/ledctl/suggest.h"
#include "tools/ledctl/usage_error.h"

namespace ledctl {

namespace {

constexpr auto kHelp = R"(ledctl drives a robot's LEDs from the command line.

  ledctl setIntensity FaceLeds 0.5              half bright
  ledctl fadeRGB FaceLeds red 1.0               to red within a second
  ledctl --wait fadeRGB FaceLeds 0x0000ff 2     to blue, and come back when it is done
  ledctl fadeListRGB FaceLeds '[0xff0000,255]' '[1,2]'
  ledctl listGroups                             names to use
  ledctl createGroup G '["FaceLeds","ChestLeds"]'
  ledctl watch 'Face/*'                         what the LEDs do now; Ctrl-C ends it
  ledctl describe fadeRGB                       all about one command
  ledctl --service HBMemory getData KEY         another service of the robot

Usage: ledctl [OPTIONS] COMMAND [ARGUMENT...]

Commands:
  METHOD [ARGUMENT...]     call a method of the service; 'ledctl methods' lists them
  call METHOD [ARGUMENT..] the same, for a method named like one of the commands below
  methods                  one line for each form of each method
  describe [METHOD]        the documentation of a method, or of the whole service
  services                 the robot's services
  watch [PATTERN]          values of the robot's memory as they change

Arguments are read as the method asks for them: numbers (also 0xff, nan, inf), true or false,
lists as JSON ('[1,2]', '["a","b"]'), else text. After -- every word is an argument: on -- -name.

Options:
  --robot ADDRESS   HOST:PORT or unix:PATH (default: LEDCTL_ROBOT, else this user's robot)
  --tls             encrypted, the robot's certificate being one that this system trusts
  --tls-ca FILE     encrypted, its certificate being one that these authorities (PEM) vouch for
  --tls-name NAME   the name in its certificate, when that is not the address's host
  --token-file FILE who you are, to robots that ask: a file of mode 0600 (default: TAVRO_TOKEN,
                    which goes over TLS and to this machine only)
  --service NAME    the service to call (default: HBLeds)
  --wait            when the method returns a future, wait for its end
  --json            print JSON
  --count N         watch: end after N updates, the first being the values at the start
  --for SECONDS     watch: end after that time
  --version, --help

Exit status: 0 done, 1 the call failed (its text on standard error), 2 wrong usage, 3 the robot was
not reached, 130 ended by Ctrl-C.
)";

const std::vector<std::string> kOptionNames{"--robot",      "--tls",     "--tls-ca",  "--tls-name",
                                            "--token-file", "--service", "--wait",    "--json",
                                            "--count",      "--for",     "--version", "--help"};

bool isOption(const std::string& word) {
  return word.size() > 1 && word.front() == '-' && !readNumber(word);
}

void refuseOptions(const std::vector<std::string>& words) {
  for (const std::string& word : words) {
    if (!isOption(word)) continue;
    std::string text = "Unknown option '" + word + "'.";
    const std::string suggestion = didYouMean(word, kOptionNames);
    text +=
        ' ' + (suggestion.empty() ? "Put -- before arguments that begin with a dash." : suggestion);
    throw UsageError(text);
  }
}

std::chrono::milliseconds durationOf(double seconds) {
  if (!(seconds >= 0 && seconds <= 1e9)) throw UsageError("--for takes seconds, 0 to 1e9");
  return std::chrono::milliseconds(std::llround(seconds * 1000));
}

}  // namespace

Options readOptions(const std::vector<std::string>& arguments, const std::string& fallbackRobot) {
  Options options;
  options.robot = fallbackRobot;
  const auto dashes = std::find(arguments.begin(), arguments.end(), "--");
  double seconds = -1;

  CLI::App app;
  app.allow_extras();
  app.set_help_flag();
  app.add_flag("--help,-h", options.help);
  app.add_flag("--version", options.version);
  app.add_option("--robot", options.robot);
  app.add_flag("--tls", options.tls);
  app.add_option("--tls-ca", options.tlsCa);
  app.add_option("--tls-name", options.tlsName);
  app.add_option("--token-file", options.tokenFile);
  const auto* const service = app.add_option("--service", options.service);
  app.add_flag("--wait", options.wait);
  app.add_flag("--json", options.json);
  app.add_option("--count", options.count)->check(CLI::PositiveNumber);
  const auto* const duration = app.add_option("--for", seconds);
  try {
    // CLI11 takes the words from the back.
    app.parse(std::vector<std::string>(std::make_reverse_iterator(dashes), arguments.rend()));
  } catch (const CLI::ParseError& error) {
    throw UsageError(error.what());
  }
  options.tls = options.tls || !options.tlsCa.empty() || !options.tlsName.empty();
  options.isServiceNamed = !service->empty();
  if (!duration->empty()) options.duration = durationOf(seconds);
  options.words = app.remaining();
  refuseOptions(options.words);
  if (dashes != arguments.end()) {
    options.words.insert(options.words.end(), dashes + 1, arguments.end());
  }
  return options;
}

std::string helpText() { return kHelp; }

}  // namespace ledctl
