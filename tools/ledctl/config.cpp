#include "tools/ledctl/config.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "tools/ledctl/suggest.h"
#include "tools/ledctl/usage_error.h"

namespace ledctl {

namespace {

namespace fs = std::filesystem;

const std::vector<std::string> kKeys{"address", "tls", "tls-ca", "tls-name", "token-file"};

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\r";
  const auto first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

/// One line of the file.
class Line {
 public:
  Line(const std::string& file, int number, std::string_view text)
      : fFile(file), fNumber(number), fText(text) {}

  void putInto(Config& config) const {
    const auto equals = fText.find('=');
    if (equals == std::string_view::npos) xFail("expected KEY = VALUE");
    const std::string key(trimmed(fText.substr(0, equals)));
    const std::string value(trimmed(fText.substr(equals + 1)));
    if (value.empty()) xFail("'" + key + "' has no value");
    if (key == "address") {
      config.address = value;
    } else if (key == "tls") {
      if (value != "yes" && value != "no") xFail("'tls' is yes or no, not '" + value + "'");
      config.tls = value == "yes";
    } else if (key == "tls-ca") {
      config.tlsCa = xFileNamed(value);
    } else if (key == "tls-name") {
      config.tlsName = value;
    } else if (key == "token-file") {
      config.tokenFile = xFileNamed(value);
    } else {
      const std::string suggestion = didYouMean(key, kKeys);
      xFail("unknown key '" + key + "'. " +
            (suggestion.empty() ? "There are address, tls, tls-ca, tls-name and token-file."
                                : suggestion));
    }
  }

 private:
  std::string xFileNamed(const std::string& value) const {
    return (fs::path(fFile).parent_path() / value).lexically_normal().string();
  }
  [[noreturn]] void xFail(const std::string& problem) const {
    throw UsageError(fFile + ':' + std::to_string(fNumber) + ": " + problem);
  }

  const std::string& fFile;
  const int fNumber;
  const std::string_view fText;
};

}  // namespace

Config parseConfig(const std::string& file, std::string_view text) {
  Config config;
  int number = 0;
  while (!text.empty()) {
    const auto end = std::min(text.find('\n'), text.size());
    const auto line = trimmed(text.substr(0, end));
    ++number;
    if (!line.empty() && line.front() != '#') Line(file, number, line).putInto(config);
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  config.tls = config.tls || !config.tlsCa.empty() || !config.tlsName.empty();
  return config;
}

std::string configPath(const std::function<const char*(const char*)>& variable) {
  const char* const folder = variable("XDG_CONFIG_HOME");
  if (folder != nullptr && *folder != '\0') return std::string(folder) + "/ledctl/config";
  const char* const home = variable("HOME");
  if (home == nullptr || *home == '\0') return "";
  return std::string(home) + "/.config/ledctl/config";
}

Config readConfig(const std::string& file) {
  std::error_code ignored;
  if (file.empty() || !fs::exists(file, ignored)) return {};
  if (!fs::is_regular_file(file)) throw UsageError(file + ": this is no file");
  std::ifstream stream(file);
  if (!stream) throw UsageError(file + ": cannot be read: " + std::strerror(errno));
  const std::string text{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
  return parseConfig(file, text);
}

void useConfig(const Config& config, Options& options) {
  if (!options.robot.empty() && options.robot != config.address) return;
  if (options.robot.empty() && !config.address.empty()) {
    options.robot = config.address;
    options.robotSource = "the configuration";
  }
  options.lastTokenFile = config.tokenFile;
  // An option about encryption says all about it.
  if (options.tls) return;
  options.tls = config.tls;
  options.tlsCa = config.tlsCa;
  options.tlsName = config.tlsName;
}

}  // namespace ledctl
