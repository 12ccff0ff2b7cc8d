// What the command line of ledctl asks for, before a robot is asked anything.
#pragma once

#include <chrono>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace ledctl {

struct Options {
  std::string robot;               // address; "" for this user's robot, wherever it is
  std::string robotSource;         // what says so: "--robot", ...; "" when nothing does
  bool tls = false;                // with what this system trusts, or tlsCa alone
  std::string tlsCa;               // PEM file of authorities; "" for the system's
  bool isInsecureAllowed = false;  // a token may travel where others can read it
  std::string tlsName;             // of the robot's certificate; "" for the address's host
  std::string tokenFile;           // "" for the environment's TAVRO_TOKEN, if any
  std::string lastTokenFile;       // of the configuration: when there is no other token
  std::string service = "HBLeds";
  bool isServiceNamed = false;
  bool wait = false;
  bool json = false;
  bool plain = false;  // lines of text alone
  bool help = false;
  bool version = false;
  int count = 0;  // of watch: ends after so many updates; of bench: calls; 0 when not given
  std::optional<std::chrono::milliseconds> duration;  // of watch: ends after this
  std::vector<std::string> words;                     // the command and its arguments
};

/// Options may stand anywhere before "--"; words that begin with "-" and are numbers are words.
/// `fallbackRobot` is used when no --robot is given. Errors: UsageError.
Options readOptions(const std::vector<std::string>& arguments, const std::string& fallbackRobot);

/// An option as it is typed.
struct OptionName {
  std::string_view name;
  bool takesValue = false;
};
std::span<const OptionName> optionNames();

/// The commands that are no method's name. Ascending.
std::span<const std::string_view> commandNames();

/// What --help prints, examples first.
std::string helpText();

}  // namespace ledctl
