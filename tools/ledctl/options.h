// What the command line of ledctl asks for, before a robot is asked anything.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace ledctl {

struct Options {
  std::string robot;      // address; "" for this user's robot, wherever it is
  bool tls = false;       // with what this system trusts, or tlsCa alone
  std::string tlsCa;      // PEM file of authorities; "" for the system's
  std::string tlsName;    // of the robot's certificate; "" for the address's host
  std::string tokenFile;  // "" for the environment's TAVRO_TOKEN, if any
  std::string service = "HBLeds";
  bool isServiceNamed = false;
  bool wait = false;
  bool json = false;
  bool help = false;
  bool version = false;
  int count = 0;  // of watch: ends after so many updates; 0 for never
  std::optional<std::chrono::milliseconds> duration;  // of watch: ends after this
  std::vector<std::string> words;                     // the command and its arguments
};

/// Options may stand anywhere before "--"; words that begin with "-" and are numbers are words.
/// `fallbackRobot` is used when no --robot is given. Errors: UsageError.
Options readOptions(const std::vector<std::string>& arguments, const std::string& fallbackRobot);

/// What --help prints, examples first.
std::string helpText();

}  // namespace ledctl
