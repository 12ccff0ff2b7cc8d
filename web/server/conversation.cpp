#include "web/server/conversation.h"

#include <algorithm>
#include <array>
#include <utility>

#include "framework/xo/log.h"
#include "web/server/fields.h"
#include "web/server/replies.h"

namespace web {
namespace {

const xo::log::Category kLog("page");

constexpr int kMostHellos = 3;
constexpr std::size_t kNameBytes = 64;
/// One event brings about so much of the log.
constexpr std::size_t kLogBytes = 64 * 1024;

/// What a client calls itself, fit for logs.
std::string printable(std::string name) {
  name.resize(std::min(name.size(), kNameBytes));
  std::ranges::replace_if(
      name, [](char c) { return c < ' ' || c > '~'; }, '?');
  return name.empty() ? "page" : name;
}

}  // namespace

struct Conversation::Entry {
  const char* name;
  Operation operation;
};

const Conversation::Entry* Conversation::findOperation(const std::string& name) {
  using C = Conversation;
  static constexpr std::array kOperations{
      Entry{"call", &C::call},         Entry{"describe", &C::describe},
      Entry{"hello", &C::hello},       Entry{"log", &C::log},
      Entry{"read", &C::read},         Entry{"services", &C::services},
      Entry{"state", &C::state},       Entry{"stop", &C::stop},
      Entry{"stopCall", &C::stopCall}, Entry{"unwatch", &C::unwatch},
      Entry{"watch", &C::watch},       Entry{"who", &C::who}};
  const auto* const found = std::ranges::find(kOperations, name, &Entry::name);
  return found == kOperations.end() ? nullptr : found;
}

Conversation::Conversation(House& house, Outlet& outlet, std::string peer)
    : fHouse(house), fOutlet(outlet), fPeer(std::move(peer)) {}

Conversation::~Conversation() = default;

void Conversation::take(std::string_view message) {
  if (fIsGone) return;
  try {
    takeRequest(parseObject(message));
  } catch (const BadMessage& bad) {
    fOutlet.goodbye(bad.what());
  }
}

void Conversation::takeRequest(const Json& request) {
  const auto op = request.find("op");
  if (op == request.end() || !op->is_string()) throw BadMessage("A request needs an 'op', a text");
  const auto& name = op->get_ref<const std::string&>();
  if (!isKnown() && name != "hello") throw BadMessage("The first request must be 'hello'");
  if (name == "seen") return seen(request);
  const auto id = request.find("id");
  if (id == request.end() || !isNumber(*id)) {
    throw BadMessage("A request needs an 'id', a positive whole number");
  }
  const auto number = id->get<std::uint64_t>();
  if (fCalls && fCalls->isRunning(number)) {
    throw BadMessage("The id " + std::to_string(number) + " is that of a call that runs");
  }
  answer(number, name, request);
}

void Conversation::answer(std::uint64_t id, const std::string& name, const Json& request) {
  try {
    const Entry* const entry = findOperation(name);
    if (entry == nullptr) {
      throw door::Refused(door::Refused::Why::kMalformed,
                          "There is no 'op' of that name: " + textOf(name.substr(0, kNameBytes)));
    }
    (this->*entry->operation)(id, request);
  } catch (const door::Refused& refused) {
    fOutlet.send(errorReply(id, "refused", refused.what()));
  } catch (const std::exception& error) {
    kLog.error(std::string("A request failed: ") + error.what());
    fOutlet.send(errorReply(id, "runtime_error", error.what()));
  }
}

void Conversation::reply(std::uint64_t id, Json more) {
  more["id"] = id;
  fOutlet.send(textOf(more));
}

void Conversation::seen(const Json& request) {
  const auto frame = request.find("frame");
  if (frame == request.end() || !isNumber(*frame) || !fFrames->seen(frame->get<std::uint64_t>())) {
    throw BadMessage("'frame' of 'seen' must be the number of a frame that was sent");
  }
}

void Conversation::hello(std::uint64_t id, const Json& request) {
  if (isKnown()) {
    throw door::Refused(door::Refused::Why::kMalformed, "'hello' was said already");
  }
  const std::string name = optionalTextField(request, "name");
  const std::string token = optionalTextField(request, "token");
  auto entry = door::letIn(fHouse.tokens ? &*fHouse.tokens : nullptr, fHouse.needsToken,
                           token.empty() ? std::nullopt : std::optional<std::string_view>(token));
  if (!entry.refusal.empty()) {
    fOutlet.send(errorReply(id, "token", entry.refusal));
    if (++fFailedHellos == kMostHellos) fOutlet.goodbye(entry.refusal);
    return;
  }
  fClient = {entry.holder.name.empty() ? printable(name) : entry.holder.name, fPeer, kTransport,
             entry.holder.role};
  fCalls = std::make_shared<Calls>(fHouse, fOutlet, fClient);
  fFrames = std::make_shared<Frames>(fHouse, fOutlet);
  auto limits = fHouse.access.listLimits();
  fHouse.keys.listLimits(limits);
  fHouse.waiting.listLimits(limits);
  limits.push_back({"connections to the page", fHouse.connections});
  reply(id, {{"robot", fHouse.robot},
             {"ready", fHouse.isReady},
             {"software", fHouse.software},
             {"role", door::nameOf(fClient.role)},
             {"limits", limitsOf(limits)},
             {"tick", door::kWatchTick.count()},
             {"start", fHouse.start}});
}

void Conversation::watch(std::uint64_t id, const Json& request) {
  fFrames->watch(fClient, textField(request, "pattern"));
  reply(id);
}

void Conversation::unwatch(std::uint64_t id, const Json&) {
  fFrames->end();
  reply(id);
}

void Conversation::read(std::uint64_t id, const Json& request) {
  fCalls->read(id, textField(request, "key"));
}

void Conversation::services(std::uint64_t id, const Json&) {
  reply(id, {{"services", fHouse.access.services()}});
}

void Conversation::describe(std::uint64_t id, const Json& request) {
  const std::string& service = textField(request, "service");
  reply(id, {{"service", web::describe(service, fHouse.access)}});
}

void Conversation::call(std::uint64_t id, const Json& request) {
  auto args = valuesField(request, "args");
  door::requireWithinLimits(args, fHouse.access.limits());  // before they wait for a thread
  fCalls->start(id, textField(request, "service"), textField(request, "method"), std::move(args));
}

void Conversation::stop(std::uint64_t id, const Json& request) {
  reply(id, {{"found", fCalls->stop(numberField(request, "call"))}});
}

void Conversation::stopCall(std::uint64_t id, const Json& request) {
  reply(id, {{"found", fHouse.access.cancel(fClient, numberField(request, "call"))}});
}

void Conversation::state(std::uint64_t id, const Json&) {
  const std::chrono::duration<double> uptime = std::chrono::steady_clock::now() - fHouse.since;
  reply(id, {{"ready", fHouse.isReady},
             {"robot", fHouse.robot},
             {"uptime", uptime.count()},
             {"services", fHouse.access.services()},
             {"modules", fHouse.modules ? fHouse.modules() : std::vector<std::string>{}},
             {"running", runningOf(fHouse.access)},
             {"latest", latestOf(fHouse.access)}});
}

void Conversation::who(std::uint64_t id, const Json& request) {
  reply(id,
        {{"calls", callersOf(fHouse.access, numbersField(request, "calls",
                                                         fHouse.access.limits().listElements))}});
}

void Conversation::log(std::uint64_t id, const Json& request) {
  const std::string& level = textField(request, "level");
  if (level == "none") {
    fLogLevel = xo::log::Level::kSilent;
  } else {
    try {
      fLogLevel = xo::log::levelFromName(level);
    } catch (const std::invalid_argument& error) {
      throw door::Refused(door::Refused::Why::kMalformed, "'level': " + std::string(error.what()));
    }
  }
  fLastLine = 0;
  reply(id);
  sendLog();
}

void Conversation::sendLog() {
  if (fIsGone || fHouse.log == nullptr || fLogLevel == xo::log::Level::kSilent) return;
  const auto fresh = fHouse.log->after(fLastLine);
  for (auto line = fresh.begin(); line != fresh.end();) {
    if (fOutlet.waiting() >= kMostWaiting) return;  // what is kept then comes later
    Json lines = Json::array();
    for (std::size_t bytes = 0; line != fresh.end() && bytes < kLogBytes; ++line) {
      fLastLine = line->number;
      if (line->level > fLogLevel) continue;
      bytes += line->text.size();
      lines.push_back(logLineOf(*line));
    }
    if (!lines.empty()) fOutlet.send(textOf({{"event", "log"}, {"lines", std::move(lines)}}));
  }
}

void Conversation::goOn() {
  if (fIsGone || !isKnown()) return;
  fFrames->goOn();
  sendLog();
}

void Conversation::gone() {
  fIsGone = true;
  if (fFrames) fFrames->end();
  if (fCalls) fCalls->gone();
}

}  // namespace web
