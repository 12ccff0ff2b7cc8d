#include "remote/server/robot_info.h"

#include <algorithm>
#include <chrono>

#include "remote/proto/utf8.h"

namespace remote {
namespace {

namespace v1 = tavro::v1;
using std::chrono::duration_cast;
using std::chrono::microseconds;
using std::chrono::milliseconds;

void fillCaller(const door::Client& client, v1::CallInfo* info) {
  info->set_client(replaceInvalidUtf8(client.name));
  info->set_peer(replaceInvalidUtf8(client.peer));
}

std::uint64_t sinceEpoch(std::chrono::system_clock::time_point when) {
  return static_cast<std::uint64_t>(duration_cast<milliseconds>(when.time_since_epoch()).count());
}

}  // namespace

void fillCalls(const door::Access& access, v1::ListCallsReply* reply) {
  auto running = access.running();
  std::ranges::sort(running, {}, &door::RunningCall::id);
  const auto now = std::chrono::steady_clock::now();
  const auto wallNow = std::chrono::system_clock::now();
  for (const auto& call : running) {
    auto* const info = reply->add_running();
    fillCaller(call.client, info);
    info->set_id(call.id);
    info->set_service(replaceInvalidUtf8(call.service));
    info->set_method(replaceInvalidUtf8(call.method));
    const auto age = duration_cast<microseconds>(now - call.since);
    info->set_began_ms(sinceEpoch(wallNow - age));
    info->set_duration_us(static_cast<std::uint64_t>(age.count()));
  }
  for (const auto& call : access.history()) {
    auto* const info = reply->add_ended();
    fillCaller(call.client, info);
    info->set_id(call.id);
    info->set_service(replaceInvalidUtf8(call.service));
    info->set_method(replaceInvalidUtf8(call.method));
    info->set_began_ms(sinceEpoch(call.when));
    info->set_duration_us(static_cast<std::uint64_t>(call.duration.count()));
    info->set_error(replaceInvalidUtf8(call.error));
  }
}

}  // namespace remote
