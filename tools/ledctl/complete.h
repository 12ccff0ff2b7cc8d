// The completion of a command line, with the robot that the line itself names.
#pragma once

#include <ostream>
#include <span>
#include <string>

namespace ledctl {

/// Prints what the last of `words` may become, one candidate a line. Says nothing of any error.
/// The process ends, with 0, when that takes longer than half a second: what needs no robot has
/// been printed then.
void complete(std::span<const std::string> words, std::ostream& out);

}  // namespace ledctl
