#include "web/server/calls.h"

#include <atomic>
#include <utility>

#include "framework/xo/log.h"
#include "web/server/replies.h"

namespace web {
namespace {

const xo::log::Category kLog("page");

/// What Access may let one client have on top of its limit, for methods of which few run.
constexpr std::size_t kRareOfOneClient = 4;

}  // namespace

struct Calls::Running {
  std::uint64_t id = 0;
  bool isTimed = false;  // its reply tells how long it took
  std::chrono::steady_clock::time_point since = std::chrono::steady_clock::now();
  xo::StopFlag stop;
  std::atomic<bool> isUnwanted{false};  // its page is gone

  // Written by the thread that called, read on the page's when it was told.
  door::Outcome outcome;

  // On the page's thread alone.
  bool isStopWanted = false;
  std::optional<xo::Future<HB::HBValue>> future;
  door::Access::Place place;
};

std::shared_ptr<Calls::Running> Calls::make(std::uint64_t id) {
  const auto& limits = fHouse.access.limits();
  if (fOnThreads >= limits.callsPerClient + kRareOfOneClient) {  // nothing piles up here
    door::refuseMany("calls that run at once", true, limits.callsPerClient);
  }
  auto call = std::make_shared<Running>();
  call->id = id;
  return call;
}

void Calls::start(std::uint64_t id, std::string service, std::string method,
                  std::vector<HB::HBValue> args) {
  const auto call = make(id);
  call->place = fHouse.access.takeFuturePlace(fClient);
  call->isTimed = true;
  begin(call, [&access = fHouse.access, &stop = call->stop, client = fClient,
               service = std::move(service), method = std::move(method), args = std::move(args)] {
    return access.call(client, service, method, args, &stop);
  });
}

void Calls::read(std::uint64_t id, std::string key) {
  const auto call = make(id);
  begin(call, [&access = fHouse.access, &stop = call->stop, client = fClient,
               key = std::move(key)] { return access.readMemory(client, key, &stop); });
}

void Calls::begin(const std::shared_ptr<Running>& call, std::function<door::Outcome()> work) {
  auto piece = [call, work = std::move(work), mailbox = fHouse.mailbox,
                inside = fHouse.calls.enter(), weak = weak_from_this()] {
    if (call->isUnwanted) return;
    try {
      call->outcome = work();
    } catch (const door::Refused& refused) {
      call->outcome = refusal(refused);
    } catch (const std::exception& error) {
      kLog.error(std::string("A call failed: ") + error.what());
      call->outcome = failure("runtime_error", error.what());
    }
    mailbox->post([call, weak] {
      if (const auto self = weak.lock()) self->returned(call);
    });
  };
  const auto entry = fRunning.emplace(call->id, call).first;
  ++fOnThreads;
  try {
    fHouse.pool.post(std::move(piece));
  } catch (...) {  // no thread can be made: it will not run
    --fOnThreads;
    fRunning.erase(entry);
    throw;
  }
}

void Calls::returned(const std::shared_ptr<Running>& call) {
  --fOnThreads;
  if (!fRunning.contains(call->id)) {
    call->outcome = {};
    return;  // the page is gone
  }
  if (call->outcome.future) {
    follow(call);
  } else {
    tell(call, call->outcome);
  }
}

void Calls::follow(const std::shared_ptr<Running>& call) {
  call->future = *std::exchange(call->outcome.future, std::nullopt);
  fOutlet.send(textOf(Json{{"id", call->id}, {"future", true}}));
  const auto state = call->future->sharedState();
  // Only this page's own hold on the future keeps it.
  state->onFinished([mailbox = fHouse.mailbox, weak = weak_from_this(), id = call->id] {
    mailbox->post([weak, id] {
      const auto self = weak.lock();
      if (!self) return;
      const auto found = self->fRunning.find(id);
      if (found == self->fRunning.end() || !found->second->future) return;
      const auto finished = found->second;
      self->tell(finished, door::outcomeOf(*finished->future));
    });
  });
  if (call->isStopWanted) state->requestCancel();
}

void Calls::tell(const std::shared_ptr<Running>& call, const door::Outcome& outcome) {
  const std::chrono::duration<double, std::milli> took =
      std::chrono::steady_clock::now() - call->since;
  // Requests are not read while much waits; but replies of what was asked before come, thousands
  // where futures end.
  if (const auto full = fHouse.waiting.refusal(fOutlet.waiting()); !full.empty()) {
    return fOutlet.goodbye(full);
  }
  fOutlet.send(replyOf(call->id, outcome, call->isTimed ? took.count() : -1));
  fRunning.erase(call->id);
}

bool Calls::stop(std::uint64_t id) {
  const auto found = fRunning.find(id);
  if (found == fRunning.end()) return false;
  Running& call = *found->second;
  call.isStopWanted = true;
  call.stop.raise();
  const auto future = call.future;  // what cancelling sets going may come back here
  if (future) future->cancel();
  return true;
}

void Calls::gone() {
  const auto running = std::exchange(fRunning, {});
  for (const auto& [id, call] : running) {
    call->isUnwanted = true;
    call->stop.raise();
    call->future.reset();
    call->place.reset();
  }
}

}  // namespace web
