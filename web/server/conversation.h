// What one page asks, message by message, and what it is told.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "web/server/calls.h"
#include "web/server/frames.h"
#include "web/server/house.h"
#include "web/server/json.h"
#include "web/server/outlet.h"

namespace web {

/// Begins with `hello`; everything before it, and what is no request, ends with a goodbye.
///
///     hello expected --hello--> known --gone--> over
///
/// Lives on the page's thread.
class Conversation {
 public:
  /// `peer` is where the page comes from ("ipv4:127.0.0.1:40112"). `house` and `outlet` outlive it,
  /// the latter until `gone`.
  Conversation(House& house, Outlet& outlet, std::string peer);
  ~Conversation();
  Conversation(const Conversation&) = delete;
  Conversation& operator=(const Conversation&) = delete;

  void take(std::string_view message);
  /// Whether the page has said who it is.
  bool isKnown() const { return fFrames != nullptr; }
  /// What waits to be sent became less.
  void goOn();
  /// There may be new lines in the log.
  void sendLog();
  /// The page is no longer there: its calls are asked to stop, and nothing is sent any more.
  void gone();

 private:
  using Operation = void (Conversation::*)(std::uint64_t id, const Json& request);
  struct Entry;
  static const Entry* findOperation(const std::string& name);

  void takeRequest(const Json& request);
  void answer(std::uint64_t id, const std::string& name, const Json& request);
  void seen(const Json& request);

  void hello(std::uint64_t id, const Json& request);
  void watch(std::uint64_t id, const Json& request);
  void unwatch(std::uint64_t id, const Json& request);
  void read(std::uint64_t id, const Json& request);
  void services(std::uint64_t id, const Json& request);
  void describe(std::uint64_t id, const Json& request);
  void call(std::uint64_t id, const Json& request);
  void stop(std::uint64_t id, const Json& request);
  void state(std::uint64_t id, const Json& request);
  void stopCall(std::uint64_t id, const Json& request);
  void who(std::uint64_t id, const Json& request);
  void log(std::uint64_t id, const Json& request);

  void reply(std::uint64_t id, Json more = Json::object());

  House& fHouse;
  Outlet& fOutlet;
  const std::string fPeer;
  door::Client fClient;
  int fFailedHellos = 0;
  bool fIsGone = false;
  std::shared_ptr<Calls> fCalls;    // from hello on
  std::shared_ptr<Frames> fFrames;  // from hello on
  xo::log::Level fLogLevel = xo::log::Level::kSilent;
  std::uint64_t fLastLine = 0;
};

}  // namespace web
