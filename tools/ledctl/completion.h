// What the last word of a command line may become, for the shell's completion. Pure functions over
// what has been typed; whatever a robot knows is asked through `NameSource`.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "framework/xo/method.h"

namespace ledctl {

/// A robot, as far as completion asks it. What it throws ends the completion.
class NameSource {
 public:
  virtual ~NameSource() = default;
  virtual std::vector<std::string> services() = 0;
  virtual xo::ObjectInfo describe(const std::string& service) = 0;
  /// What a method that returns a list of texts returns.
  virtual std::vector<std::string> list(const std::string& service, const std::string& method,
                                        const std::vector<std::string>& arguments) = 0;
};

/// A command line up to the cursor.
struct Typed {
  std::string current;               // the word at the cursor, "" for a new one, without quotes
  std::vector<std::string> words;    // the command and its arguments before it
  std::vector<std::string> options;  // options before it, with their values, as readOptions takes
  std::string awaiting;              // the option whose value the current word is, or ""
  std::string start;                 // what of the current word stands before what is completed
  std::string service = "HBLeds";
  bool isAfterDashes = false;  // "--" was typed: no options any more
};

/// `words`: those after the program's name as the shell shows them, quotes and backslashes
/// included; the last is the one at the cursor.
Typed readTyped(std::span<const std::string> words);

/// What no robot is needed for: options and commands. Ascending.
std::vector<std::string> fixedCandidates(const Typed& typed);

/// What the robot knows: services, methods, and what an argument may be: true or false, words that
/// the parameter's text quotes, or the names that a method of the same service lists ("listGroups"
/// for a parameter that speaks of a group). Ascending; those that begin with the current word.
std::vector<std::string> robotCandidates(const Typed& typed, NameSource& robot);

}  // namespace ledctl
