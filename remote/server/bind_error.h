// Why a port cannot be listened on, in words: gRPC itself only says that it could not.
#pragma once

#include "remote/client/address.h"

namespace remote {

/// Tries the address for an instant. Errors: `std::runtime_error` that names it and the reason.
void requireBindable(const Address& address);

}  // namespace remote
