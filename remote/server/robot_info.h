// What the robot tells about itself, its limits and its calls, in the wire's words.
#pragma once

#include "access/access.h"
#include "tavro/v1/robot.pb.h"

namespace remote {

void fillLimits(const door::Limits& limits, tavro::v1::GetInfoReply* reply);

/// The running calls in the order of their beginning, and the history.
void fillCalls(const door::Access& access, tavro::v1::ListCallsReply* reply);

}  // namespace remote
