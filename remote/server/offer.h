// What a client may lend: the check of its offer.
#pragma once

#include "access/limits.h"
#include "framework/xo/method.h"
#include "tavro/v1/robot.pb.h"

namespace remote {

inline constexpr std::size_t kLentMethods = 1024;   ///< of one service
inline constexpr std::size_t kLentParams = 64;      ///< of one method
inline constexpr std::size_t kLentNestedTypes = 8;  ///< lists of lists, futures included

/// The service that `offer` describes. Errors: Refused that names what is wrong: a name that is
/// empty, too long or not printable, a type that callers cannot use, a method offered twice, a
/// limit.
xo::ObjectInfo readOffer(const tavro::v1::DescribeServiceReply& offer, const door::Limits& limits);

}  // namespace remote
