// What pages are told, as JSON. Pure functions.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "access/access.h"
#include "web/server/json.h"
#include "web/server/log_tail.h"

namespace web {

/// The outcomes that stand for a request that was refused, or went wrong otherwise.
door::Outcome refusal(const door::Refused& refused);
door::Outcome failure(const std::string& kind, const std::string& text);

/// {"id":...,"error":{...}}
std::string errorReply(std::uint64_t id, const std::string& kind, const std::string& text);
/// Value or error of a request, and how long it took unless that is negative.
std::string replyOf(std::uint64_t id, const door::Outcome& outcome, double milliseconds = -1);

/// A service's description. Parameters are as many as signatures have, and named by position.
/// Errors: Refused.
Json describe(const std::string& name, const door::Access& access);
Json limitsOf(const std::vector<door::NamedLimit>& limits);
Json runningOf(const door::Access& access);
/// The latest calls, and those of the history that failed, newest last.
Json latestOf(const door::Access& access);
/// Who made each of these calls; null for one that is not remembered.
Json callersOf(const door::Access& access, const std::vector<std::uint64_t>& ids);
Json logLineOf(const LogTail::Line& line);
/// Seconds since 1970.
double secondsOf(std::chrono::system_clock::time_point when);

}  // namespace web
