// The file that says which robot is meant when nothing else does, and how it is reached.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "tools/ledctl/options.h"

namespace ledctl {

struct Config {
  std::string address;    // "" when it says none
  std::string tlsCa;      // PEM file
  std::string tlsName;    // of the robot's certificate
  std::string tokenFile;  // of mode 0600
  bool tls = false;
  bool operator==(const Config&) const = default;
};

/// Lines "KEY = VALUE"; empty ones and those that begin with "#" are passed over. Keys: address,
/// tls (yes or no), tls-ca, tls-name, token-file. Names of files are relative to the folder of
/// `file`. Errors: UsageError that begins with "FILE:LINE:".
Config parseConfig(const std::string& file, std::string_view text);

/// "$XDG_CONFIG_HOME/ledctl/config", else "$HOME/.config/ledctl/config"; "" when neither is set.
/// `variable` gives the value of an environment variable or null.
std::string configPath(const std::function<const char*(const char*)>& variable);

/// Empty when there is no such file. Errors: UsageError when it cannot be read, and parseConfig's.
Config readConfig(const std::string& file);

/// Fills in what neither an option nor a variable has said. When they name a robot other than the
/// file's, nothing of it is used: a token is for the robot that it was given for.
void useConfig(const Config& config, Options& options);

}  // namespace ledctl
