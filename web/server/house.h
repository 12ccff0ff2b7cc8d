// What all conversations with pages share. Owned by the server.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "access/access.h"
#include "access/security.h"
#include "framework/xo/worker_pool.h"
#include "web/server/budget.h"
#include "web/server/log_tail.h"
#include "web/server/mailbox.h"
#include "web/server/outlet.h"
#include "web/server/tally.h"

namespace web {

/// How Access knows what came in here.
inline constexpr const char* kTransport = "web";

/// How long clients have for what they must do.
struct Patience {
  std::chrono::milliseconds request{10'000};  ///< to send an HTTP request, or shake hands for TLS
  std::chrono::milliseconds hello{10'000};    ///< to say who they are
  std::chrono::milliseconds reading{30'000};  ///< to take in what was sent
  std::chrono::milliseconds silence{20'000};  ///< to answer at all; asked after half of it
};

struct House {
  House(door::Access& toAccess, std::shared_ptr<Mailbox> toMailbox);

  door::Access& access;
  const std::shared_ptr<Mailbox> mailbox;  ///< of the page's thread
  Patience patience;
  std::string software;
  std::size_t connections = 0;  ///< at once
  std::optional<door::Tokens> tokens;
  bool needsToken = false;
  LogTail* log = nullptr;   ///< may be missing
  const std::string start;  ///< of this run of the robot: random
  const std::chrono::steady_clock::time_point since = std::chrono::steady_clock::now();

  // On the page's thread alone.
  bool isReady = false;
  std::string robot;
  std::function<std::vector<std::string>()> modules;
  /// Asked when one more reply of a call comes. Each page always has room for `kMostWaiting` and
  /// the frame or lines of the log that came last.
  Budget waiting{"bytes that wait to be read", 8U << 20U, 64U << 20U, 2U << 20U};
  /// The keys that watches have named, each with some bytes for its place.
  Budget keys{"bytes of keys of a watch", 16U << 20U, 64U << 20U, 1U << 20U};

  Tally calls;          ///< on threads of the pool or queued for one
  xo::WorkerPool pool;  ///< for what may block
};

}  // namespace web
