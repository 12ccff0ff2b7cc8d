// What the command line of the host asks for.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "framework/xo/log.h"

namespace tavro {

/// The robot's own modules in the order in which they start; each may use those before it.
inline constexpr std::array kRobotModules{"memory", "robotmodel", "motion", "leds",
                                          "signsandfeedback"};

struct Options {
  std::string model;
  std::string listen;                // HOST:PORT; port 0 picks a free one
  std::string page;                  // HOST:PORT of the page, as `listen`; "" for none
  std::string pageFolder;            // where the page's files lie; "" when they were not found
  std::string tlsCertificate;        // PEM file for TLS on both; "" for none
  std::string tlsKey;                // its key
  std::string tokens;                // file of the tokens that let clients in; "" for none
  bool isInsecureAllowed = false;    // other machines may be let in without TLS or tokens
  std::string socket;                // path of a Unix socket to serve as well; "" for none
  bool isSocketOptional = true;      // whether another robot may keep that path for itself
  std::string moduleDirectory;       // where the robot's own modules lie
  std::vector<std::string> modules;  // files of further modules, in order
  std::vector<std::string> without;  // of kRobotModules: those that somebody else stands in for
  xo::log::Level logLevel = xo::log::Level::kInfo;
};

/// Either options to run with, or texts to print and a status to end with.
struct CommandLine {
  std::optional<Options> options;
  std::string output;  // for standard output
  std::string error;   // for standard error
  int status = 0;
};

/// Reads the command line. `executableFolder` is where the robot's files are looked for when no
/// option names them. Errors are told in the result: status 2.
CommandLine readCommandLine(const std::vector<std::string>& arguments,
                            const std::string& executableFolder);

/// The folder of the running program.
std::string executableFolder();

}  // namespace tavro
