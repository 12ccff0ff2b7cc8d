#include "tools/ledctl/options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>

#include "tools/ledctl/literal.h"
#include "tools/ledctl/suggest.h"
#include "tools/ledctl/usage_error.h"

namespace ledctl {

namespace {

bool isOption(const std::string& word) {
  return word.size() > 1 && word.front() == '-' && !readNumber(word);
}

void refuseOptions(const std::vector<std::string>& words) {
  for (const std::string& word : words) {
    if (!isOption(word)) continue;
    std::string text = "Unknown option '" + word + "'.";
    std::vector<std::string> names;
    for (const auto& option : optionNames()) names.emplace_back(option.name);
    const std::string suggestion = didYouMean(word, names);
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
  if (!fallbackRobot.empty()) options.robotSource = "LEDCTL_ROBOT";
  const auto dashes = std::find(arguments.begin(), arguments.end(), "--");
  double seconds = -1;

  CLI::App app;
  app.allow_extras();
  app.set_help_flag();
  app.add_flag("--help,-h", options.help);
  app.add_flag("--version", options.version);
  const auto* const robot = app.add_option("--robot", options.robot);
  app.add_flag("--tls", options.tls);
  app.add_option("--tls-ca", options.tlsCa);
  app.add_flag("--insecure", options.isInsecureAllowed);
  app.add_option("--tls-name", options.tlsName);
  app.add_option("--token-file", options.tokenFile);
  const auto* const service = app.add_option("--service", options.service);
  app.add_flag("--wait", options.wait);
  auto* const json = app.add_flag("--json", options.json);
  app.add_flag("--plain", options.plain)->excludes(json);
  app.add_option("--count", options.count)->check(CLI::PositiveNumber);
  const auto* const duration = app.add_option("--for", seconds);
  try {
    // CLI11 takes the words from the back.
    app.parse(std::vector<std::string>(std::make_reverse_iterator(dashes), arguments.rend()));
  } catch (const CLI::ParseError& error) {
    throw UsageError(error.what());
  }
  options.tls = options.tls || !options.tlsCa.empty() || !options.tlsName.empty();
  if (!robot->empty()) options.robotSource = "--robot";
  options.isServiceNamed = !service->empty();
  if (!duration->empty()) options.duration = durationOf(seconds);
  options.words = app.remaining();
  refuseOptions(options.words);
  if (dashes != arguments.end()) {
    options.words.insert(options.words.end(), dashes + 1, arguments.end());
  }
  return options;
}

}  // namespace ledctl
