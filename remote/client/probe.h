// Whether anybody listens at an address at all: tells "nobody there" from "somebody else there".
#pragma once

#include <string>

#include "remote/client/address.h"

namespace remote {

/// "" when a connection is accepted, else the reason in words. Waits a second at most.
std::string whyNobodyListens(const Address& address);

}  // namespace remote
