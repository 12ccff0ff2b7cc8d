// Whether anybody listens at an address at all: tells "nobody there" from "somebody else there".
#pragma once

#include <string>

#include "remote/client/address.h"

namespace remote {

/// "" when a connection is accepted, else the reason in words. Waits a second at most.
std::string whyNobodyListens(const Address& address);

/// What a robot says that turns connections away ("The connections have reached the limit of
/// 1024"), or "" when nothing of that kind is said there. The library keeps those words to itself.
/// Takes at most a second or two.
std::string whyTurnedAway(const Address& address);

}  // namespace remote
