// The robot's front door: what every way in (gRPC, web) shares. Knows who asks, refuses what is too
// much, keeps the running calls and the history of calls, and reaches services and memory.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "access/client.h"
#include "access/latest.h"
#include "access/limits.h"
#include "access/places.h"
#include "access/quotas.h"
#include "access/record.h"
#include "access/refused.h"
#include "framework/hb/hb_memory_proxy.h"
#include "framework/xo/session.h"

namespace door {

/// What became of a call: a value (invalid for a method without a result), a future of one, or the
/// error that the method threw.
struct Outcome {
  HB::HBValue value;
  std::optional<xo::Future<HB::HBValue>> future;
  std::string errorKind;  ///< see `xo::kindOf`; "" unless it failed
  std::string errorText;  ///< unchanged

  bool hasFailed() const { return !errorKind.empty(); }
};

/// The outcome that a finished future stands for: its value, or its error, or an error of kind
/// "cancelled".
Outcome outcomeOf(const xo::Future<HB::HBValue>& finished);

/// A method that only reads: viewers may call it too. A call of it that succeeded is not
/// remembered, because who looks does so many times a second.
struct Reading {
  std::string service;
  std::string method;
};

/// A call that runs now.
struct RunningCall {
  std::uint64_t id = 0;
  Client client;
  std::string service;
  std::string method;
  std::chrono::steady_clock::time_point since;
};

/// Thread-safe.
class Access {
 public:
  /// How many calls the history remembers.
  static constexpr std::size_t kHistory = 256;

  /// Call ids go from 1 to this and begin again: they fit the robot's own integers.
  static constexpr std::uint64_t kLargestId = 2147483647;

  /// `session` outlives the last call.
  explicit Access(std::shared_ptr<xo::Session> session, Limits limits = {},
                  std::vector<Quota> quotas = {}, std::vector<Reading> readings = {});
  ~Access();
  Access(const Access&) = delete;
  Access& operator=(const Access&) = delete;

  const Limits& limits() const { return fLimits; }
  /// Every limit that clients meet, by the name that refusals call it by.
  std::vector<NamedLimit> listLimits() const;

  const std::shared_ptr<xo::Session>& session() const { return fSession; }

  /// Names, ascending.
  std::vector<std::string> services() const { return fSession->services(); }
  /// The methods that callers from outside can use. Errors: Refused.
  xo::ObjectInfo describe(const std::string& service) const;
  /// Whether viewers may call it.
  bool isReading(const std::string& service, const std::string& method) const;

  /// Calls a method on this thread. What it throws is in the outcome. `stop` asks it to stop, from
  /// any thread; it may be null and outlives the call. `expectLong`, if there is one, runs on this
  /// thread before the method does when several calls of that method run already: this one will
  /// take long, too. While it runs, the call's id is the thread's `xo::CallScope::currentOrigin`.
  /// Viewers may call readings only. Errors: Refused, before anything was called.
  Outcome call(const Client& client, const std::string& service, const std::string& method,
               std::span<const HB::HBValue> args, xo::StopFlag* stop = nullptr,
               void (*expectLong)() = nullptr);

  /// One of the things that a client may have a number of at once; given back when the last copy
  /// goes, which may outlive this.
  using Place = Places::Place;
  /// Among the futures whose end a client waits for. Errors: Refused.
  Place takeFuturePlace(const Client& client) const { return fFutures.take(client); }
  /// Among the watches, of memory or services. Errors: Refused.
  Place takeWatchPlace(const Client& client) const { return fWatches.take(client); }
  /// Among the services that clients lend. For operators. Errors: Refused.
  Place takeLendPlace(const Client& client) const;

  /// How many futures clients wait for now.
  std::size_t futures() const { return fFutures.taken(); }

  /// Asks the running call, whoever made it, to stop; false when there is none of that id. For
  /// operators. Errors: Refused.
  bool cancel(const Client& client, std::uint64_t id);
  /// The same in the robot's own name.
  bool cancel(std::uint64_t id);
  /// Asks every running call that came in by that transport to stop.
  void cancelAllBy(const std::string& transport);

  std::vector<RunningCall> running() const;
  /// The last calls, oldest first.
  std::vector<CallRecord> history() const;
  /// The last successful call of each service, method and first argument, oldest first.
  std::vector<CallRecord> latest() const;
  /// The call of each id, as far as it runs or is remembered.
  std::vector<std::optional<CallRecord>> find(std::span<const std::uint64_t> ids) const;

  /// The value of a key of the robot's memory, or the error of reading it. Runs as a call of the
  /// memory does, and counts as one while it runs: another process may lend the memory, and take
  /// its time. The history leaves it out. Errors: Refused.
  Outcome readMemory(const Client& client, const std::string& key, xo::StopFlag* stop = nullptr);
  /// The robot's memory. Errors: Refused while there is none.
  HB::HBMemoryProxy memory() const;

 private:
  /// A running call; its pointers are good while it is in `fRunning`.
  struct Ticket {
    std::uint64_t id;
    const Client* client;
    const std::string* service;
    const std::string* method;
    std::span<const HB::HBValue> args;
    xo::StopFlag* stop;
    std::chrono::steady_clock::time_point since;
    bool isReading;
  };
  xo::Object requireService(const std::string& service) const;
  std::uint64_t begin(Ticket ticket, std::size_t* ofMethod = nullptr);
  void requirePlaceLocked(const Ticket& ticket) const;
  std::size_t countLocked(const std::string& service, const std::string& method) const;
  Ticket leaveLocked(std::uint64_t id);
  void end(const Ticket& ticket, const Outcome& outcome);
  static CallRecord recordOf(const Ticket& running);
  template <class Picks>
  bool raiseWhere(Picks picks);

  const std::shared_ptr<xo::Session> fSession;
  const Limits fLimits;
  const Places fFutures;
  const Places fWatches;
  const Places fLends;
  Quotas fQuotas;
  const std::vector<Reading> fReadings;
  mutable std::mutex fMutex;
  std::vector<Ticket> fRunning;
  std::vector<CallRecord> fHistory;  // a ring
  std::size_t fRecorded = 0;         // ever
  Latest fLatest;
  std::uint64_t fNextId = 1;
};

/// Errors: Refused when the arguments exceed a limit.
void requireWithinLimits(std::span<const HB::HBValue> args, const Limits& limits);

/// Errors: Refused for a name (of a service, a key, ...: `what`) longer than `bytes`.
void requireShort(const std::string& name, std::size_t bytes, const char* what);

}  // namespace door
