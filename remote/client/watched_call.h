// A call that waits on its caller's thread and looks now and then whether to go on. For the
// client's own files.
#pragma once

#include "remote/client/connection.h"
#include "remote/client/started_call.h"

namespace remote {

/// As `RobotClient::call` until the method returned; kCancelled as soon as `isGivenUp`.
HB::HBValue callWatched(RobotClient::Connection& connection, const tavro::v1::CallRequest& request,
                        const IsGivenUp& isGivenUp);

}  // namespace remote
