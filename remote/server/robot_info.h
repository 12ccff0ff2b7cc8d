// What the robot tells about its calls, in the wire's words.
#pragma once

#include "access/access.h"
#include "tavro/v1/robot.pb.h"

namespace remote {

/// The running calls in the order of their beginning, and the history.
void fillCalls(const door::Access& access, tavro::v1::ListCallsReply* reply);

}  // namespace remote
