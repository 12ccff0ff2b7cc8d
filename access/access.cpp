#include "access/access.h"

#include <algorithm>

namespace door {
namespace {

constexpr std::size_t kErrorBytesKept = 200;
/// A method of which fewer run may use the last places; a client that has its full number of calls
/// may have so many more there.
constexpr std::size_t kFewOfAMethod = 4;

[[noreturn]] void refuseSize(const char* what, std::size_t is, const char* limitName,
                             std::size_t limit) {
  throw Refused(Refused::Why::kTooMuch, std::string(what) + " has " + std::to_string(is) + " " +
                                            limitName + "; the limit is " + std::to_string(limit));
}

/// Walks through a request's values; `fLeft` counts down over all of them.
class SizeCheck {
 public:
  explicit SizeCheck(const Limits& limits) : fLimits(limits), fLeft(limits.values) {}

  void check(const HB::HBValue& value, std::size_t depth) {
    if (fLeft-- == 0) {
      throw Refused(Refused::Why::kTooMuch, "A request may hold " + std::to_string(fLimits.values) +
                                                " values, elements of lists included");
    }
    switch (value.getType()) {
      case HB::HBValue::TypeString:
        checkBytes("A text", value.toString().size());
        return;
      case HB::HBValue::TypeBinary:
        checkBytes("A binary", value.toBinary().bytes.size());
        return;
      case HB::HBValue::TypeList:
        checkList(value.toList(), depth);
        return;
      default:
        return;
    }
  }

 private:
  void checkBytes(const char* what, std::size_t bytes) const {
    if (bytes > fLimits.textBytes) refuseSize(what, bytes, "bytes", fLimits.textBytes);
  }
  void checkList(const HB::HBValue::List& list, std::size_t depth) {
    if (list.size() > fLimits.listElements) {
      refuseSize("A list", list.size(), "elements", fLimits.listElements);
    }
    if (depth >= fLimits.nestedLists) {
      throw Refused(Refused::Why::kTooMuch, "Lists are nested more deeply than the limit of " +
                                                std::to_string(fLimits.nestedLists));
    }
    for (const auto& element : list) check(element, depth + 1);
  }

  const Limits& fLimits;
  std::size_t fLeft;
};

std::string namesText(const std::vector<std::string>& names) {
  if (names.empty()) return "none stands now";
  std::string text = "there are ";
  for (const auto& name : names) {
    if (name != names.front()) text += ", ";
    text += name;
  }
  return text;
}

Outcome failure(const std::exception_ptr& error) {
  Outcome outcome;
  outcome.errorKind = xo::kindOf(error);
  outcome.errorText = xo::textOf(error);
  return outcome;
}

}  // namespace

Outcome outcomeOf(const xo::Future<HB::HBValue>& finished) {
  Outcome outcome;
  switch (finished.state()) {
    case xo::FutureState::kValue:
      outcome.value = finished.value();
      return outcome;
    case xo::FutureState::kError:
      return failure(finished.error());
    case xo::FutureState::kCancelled:
      outcome.errorKind = "cancelled";
      outcome.errorText = "The call was cancelled";
      return outcome;
    case xo::FutureState::kRunning:
      break;
  }
  throw std::logic_error("outcomeOf: the future is still running");
}

void requireWithinLimits(std::span<const HB::HBValue> args, const Limits& limits) {
  if (args.size() > limits.listElements) {
    refuseSize("The list of arguments", args.size(), "elements", limits.listElements);
  }
  SizeCheck check(limits);
  for (const auto& arg : args) check.check(arg, 0);
}

void requireShort(const std::string& name, std::size_t bytes, const char* what) {
  if (name.size() > bytes) refuseSize(what, name.size(), "bytes", bytes);
}

Access::Access(std::shared_ptr<xo::Session> session, Limits limits, std::vector<Quota> quotas,
               std::vector<Reading> readings)
    : fSession(std::move(session)),
      fLimits(limits),
      fFutures("futures waited for", fLimits.futuresPerClient, fLimits.futuresInAll),
      fWatches("watches", fLimits.watchesPerClient, fLimits.watchesInAll),
      fLends("lent services", fLimits.lendsPerClient, fLimits.lendsInAll),
      fQuotas(std::move(quotas)),
      fReadings(std::move(readings)),
      fHistory(kHistory) {
  fRunning.reserve(fLimits.mostCalls());
}

Access::~Access() = default;

xo::Object Access::requireService(const std::string& service) const {
  requireShort(service, fLimits.nameBytes, "A service's name");
  const xo::Object object = fSession->find(service);
  if (object.isAlive()) return object;
  throw Refused(Refused::Why::kNoSuchService,
                "There is no service '" + service + "'; " + namesText(services()));
}

xo::ObjectInfo Access::describe(const std::string& service) const {
  xo::ObjectInfo info = requireService(service).describe();
  std::erase_if(info.methods, [](const auto& method) { return !method.signature.isRemote(); });
  return info;
}

void Access::requirePlaceLocked(const Ticket& ticket) const {
  const auto ofClient = static_cast<std::size_t>(std::ranges::count_if(
      fRunning, [&](const Ticket& running) { return *running.client == *ticket.client; }));
  const bool isClientFull = ofClient >= fLimits.callsPerClient;
  // The next places are for clients that run nothing yet: one who holds many cannot shut others
  // out.
  const std::size_t places = fLimits.callsInAll + (ofClient == 0 ? fLimits.reservedCalls : 0);
  if (!isClientFull && fRunning.size() < places) return;
  // The last ones are for methods that hardly run: whoever fills the robot with endless calls of
  // some methods, by however many connections, leaves the others to be called.
  const auto ofMethod =
      static_cast<std::size_t>(std::ranges::count_if(fRunning, [&](const Ticket& running) {
        return *running.method == *ticket.method && *running.service == *ticket.service;
      }));
  if (ofMethod < std::min(kFewOfAMethod, fLimits.rareCalls) &&
      ofClient < fLimits.callsPerClient + kFewOfAMethod && fRunning.size() < fLimits.mostCalls()) {
    return;
  }
  if (isClientFull) refuseMany("calls that run at once", true, fLimits.callsPerClient);
  refuseMany("calls that run at once", false, places);
}

std::uint64_t Access::begin(Ticket ticket) {
  std::scoped_lock lock(fMutex);
  requirePlaceLocked(ticket);
  do {
    ticket.id = fNextId;
    fNextId = fNextId == kLargestId ? 1 : fNextId + 1;
  } while (std::ranges::find(fRunning, ticket.id, &Ticket::id) != fRunning.end());
  fRunning.push_back(ticket);
  return ticket.id;
}

Access::Ticket Access::leaveLocked(std::uint64_t id) {
  const auto found = std::ranges::find(fRunning, id, &Ticket::id);
  const Ticket ticket = *found;
  *found = fRunning.back();
  fRunning.pop_back();
  return ticket;
}

void Access::end(const Ticket& ticket, const Outcome& outcome) {
  if (ticket.isReading && !outcome.hasFailed()) {
    std::scoped_lock lock(fMutex);
    leaveLocked(ticket.id);
    return;
  }
  const auto now = std::chrono::steady_clock::now();
  const auto wallNow = std::chrono::system_clock::now();
  const ArgsText args(ticket.args);
  const auto kind = Latest::kindOf(*ticket.service, *ticket.method, args.first());
  const auto duration = std::chrono::duration_cast<std::chrono::microseconds>(now - ticket.since);
  const auto write = [&](CallRecord& record) {  // reuses the strings that stand there
    record.id = ticket.id;
    record.client = *ticket.client;
    record.service = *ticket.service;
    record.method = *ticket.method;
    record.args = args.text;
    record.duration = duration;
    record.when = wallNow - duration;
    record.error.assign(outcome.errorText, 0, kErrorBytesKept);
  };
  std::scoped_lock lock(fMutex);
  leaveLocked(ticket.id);
  write(fHistory[fRecorded++ % kHistory]);
  if (!outcome.hasFailed()) write(fLatest.note(kind));
}

bool Access::isReading(const std::string& service, const std::string& method) const {
  return std::ranges::any_of(fReadings, [&](const Reading& reading) {
    return reading.method == method && reading.service == service;
  });
}

Outcome Access::call(const Client& client, const std::string& service, const std::string& method,
                     std::span<const HB::HBValue> args, xo::StopFlag* stop) {
  const bool isOnlyReading = isReading(service, method);
  if (client.role != Role::kOperator && !isOnlyReading) requireOperator(client, "Calling methods");
  requireShort(method, fLimits.nameBytes, "A method's name");
  requireWithinLimits(args, fLimits);
  const xo::Object object = requireService(service);
  Quotas::Use use = fQuotas.begin(service, method, args, object.generation());

  xo::StopFlag ownStop;
  if (stop == nullptr) stop = &ownStop;
  Ticket ticket{
      0, &client, &service, &method, args, stop, std::chrono::steady_clock::now(), isOnlyReading};
  ticket.id = begin(ticket);
  Outcome outcome;
  try {
    xo::CallScope scope(nullptr, stop, ticket.id);
    xo::CallResult result = object.callDynamic(method, args);
    outcome.value = std::move(result.value);
    outcome.future = std::move(result.future);
  } catch (...) {
    outcome = failure(xo::copyCurrentException());
  }
  end(ticket, outcome);
  if (!outcome.hasFailed()) use.succeed();
  return outcome;
}

Access::Place Access::takeLendPlace(const Client& client) const {
  requireOperator(client, "Lending a service");
  return fLends.take(client);
}

template <class Picks>
bool Access::raiseWhere(Picks picks) {
  bool isAny = false;
  std::scoped_lock lock(fMutex);
  for (const Ticket& ticket : fRunning) {
    if (!picks(ticket)) continue;
    ticket.stop->raise();
    isAny = true;
  }
  return isAny;
}

bool Access::cancel(const Client& client, std::uint64_t id) {
  requireOperator(client, "Stopping a call");
  return cancel(id);
}

bool Access::cancel(std::uint64_t id) {
  return raiseWhere([id](const Ticket& ticket) { return ticket.id == id; });
}

void Access::cancelAllBy(const std::string& transport) {
  raiseWhere([&](const Ticket& ticket) { return ticket.client->transport == transport; });
}

std::vector<RunningCall> Access::running() const {
  std::scoped_lock lock(fMutex);
  std::vector<RunningCall> calls;
  calls.reserve(fRunning.size());
  for (const Ticket& ticket : fRunning) {
    calls.push_back({ticket.id, *ticket.client, *ticket.service, *ticket.method, ticket.since});
  }
  return calls;
}

std::vector<CallRecord> Access::history() const {
  std::scoped_lock lock(fMutex);
  std::vector<CallRecord> records;
  const std::size_t kept = std::min(fRecorded, kHistory);
  records.reserve(kept);
  for (std::size_t i = fRecorded - kept; i < fRecorded; ++i) {
    records.push_back(fHistory[i % kHistory]);
  }
  return records;
}

std::vector<CallRecord> Access::latest() const {
  std::vector<CallRecord> records;
  std::scoped_lock lock(fMutex);
  records.reserve(fLatest.size());
  fLatest.forEach([&](const CallRecord& record) { records.push_back(record); });
  return records;
}

CallRecord Access::recordOf(const Ticket& running) {
  using std::chrono::duration_cast;
  using std::chrono::microseconds;
  CallRecord record;
  record.id = running.id;
  record.client = *running.client;
  record.service = *running.service;
  record.method = *running.method;
  record.args = std::move(ArgsText(running.args).text);
  record.duration = duration_cast<microseconds>(std::chrono::steady_clock::now() - running.since);
  record.when = std::chrono::system_clock::now() - record.duration;
  return record;
}

std::vector<std::optional<CallRecord>> Access::find(std::span<const std::uint64_t> ids) const {
  std::vector<std::optional<CallRecord>> found(ids.size());
  std::vector<std::size_t> places(ids.size());
  for (std::size_t i = 0; i < places.size(); ++i) places[i] = i;
  const auto idAt = [&](std::size_t place) { return ids[place]; };
  std::ranges::sort(places, {}, idAt);
  const auto offer = [&](std::uint64_t id, const auto& makeRecord) {
    const auto first = std::ranges::lower_bound(places, id, {}, idAt);
    for (auto place = first; place != places.end() && idAt(*place) == id; ++place) {
      if (!found[*place]) found[*place] = makeRecord();
    }
  };
  std::scoped_lock lock(fMutex);
  for (const Ticket& ticket : fRunning) offer(ticket.id, [&] { return recordOf(ticket); });
  fLatest.forEach([&](const CallRecord& record) { offer(record.id, [&] { return record; }); });
  for (const CallRecord& record : fHistory) {
    if (record.id != 0) offer(record.id, [&] { return record; });
  }
  return found;
}

std::vector<NamedLimit> Access::listLimits() const {
  std::vector<NamedLimit> limits{
      {"list elements", fLimits.listElements},
      {"text bytes", fLimits.textBytes},
      {"message bytes", fLimits.messageBytes},
      {"nested lists", fLimits.nestedLists},
      {"values in a request", fLimits.values},
      {"service and method name bytes", fLimits.nameBytes},
      {"memory key bytes", fLimits.keyBytes},
      {"calls that run at once, of one client", fLimits.callsPerClient},
      {"calls that run at once, of all clients", fLimits.mostCalls()},
  };
  for (const Places* places : {&fFutures, &fWatches, &fLends}) places->listLimits(limits);
  limits.push_back({"connections, by each way in", fLimits.connections});
  fQuotas.listLimits(limits);
  return limits;
}

Outcome Access::readMemory(const std::string& key) const {
  requireShort(key, fLimits.keyBytes, "A memory key");
  const auto memory = this->memory();
  Outcome outcome;
  try {
    outcome.value = memory.getData(key);
  } catch (...) {
    outcome = failure(xo::copyCurrentException());
  }
  return outcome;
}

HB::HBMemoryProxy Access::memory() const {
  return HB::HBMemoryProxy("HBMemory", requireService("HBMemory"));
}

}  // namespace door
