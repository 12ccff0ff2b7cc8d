#include "web/server/server.h"

#include <algorithm>
#include <atomic>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <future>
#include <optional>
#include <stdexcept>
#include <thread>
#include <utility>

#include "access/tls_files.h"
#include "framework/xo/log.h"
#include "framework/xo/os.h"
#include "web/server/listener.h"
#include "web/server/socket.h"
#include "web/server/tls.h"

namespace web {
namespace {

const xo::log::Category kLog("page");

/// How long pages have to hear that the robot goes.
constexpr std::chrono::milliseconds kFarewell{200};
/// Lines of the log are sent on at most so often.
constexpr std::chrono::milliseconds kLogTick{50};

std::string textOf(const Server::Options& options, int port) {
  const bool isIp6 = options.host.find(':') != std::string::npos;
  return (isIp6 ? "[" + options.host + "]" : options.host) + ":" + std::to_string(port);
}

}  // namespace

struct Server::State {
  State(door::Access& access, Options given, const Patience& patience);
  ~State();

  void protect();
  void listenToLog();
  void sendLog();
  bool stop(std::chrono::milliseconds deadline);
  void leave();
  /// Runs it there and waits until it has.
  void onThread(const std::function<void()>& work);

  const Options options;
  Visitors visitors;  // outlives what is still queued in the loop
  net::io_context loop{1};
  const std::shared_ptr<Mailbox> mailbox = std::make_shared<Mailbox>(loop);
  House house;
  std::unique_ptr<net::ssl::context> tls;
  std::optional<Listener> listener;
  std::optional<Front> front;
  int port = 0;
  std::atomic<bool> isLeaving{false};
  std::atomic<bool> isLogTold{false};  // and not yet sent
  net::steady_timer logTimer{loop};
  std::thread thread;
};

Server::State::State(door::Access& access, Options given, const Patience& patience)
    : options(std::move(given)), house(access, mailbox) {
  house.patience = patience;
  house.software = options.softwareVersion;
  house.connections = options.connections;
  house.log = options.log;
  protect();
  const bool hasTls = !options.tlsKey.empty();
  try {
    listener.emplace(loop, options.host, options.port);
  } catch (const std::runtime_error& error) {
    throw std::runtime_error("Cannot serve the page at " + textOf(options, options.port) + ": " +
                             error.what() + " (--page names another address, or 'none')");
  }
  port = listener->port();
  front.emplace(Front{Files(options.folder), Hosts(options.name, port, hasTls)});
  if (front->files.isEmpty()) {
    kLog.warning("The files of the page were not found (" + options.folder.string() + ")");
  }
  listener->start(house, *front, visitors, tls.get());
  thread = std::thread([this] {
    xo::os::setCurrentThreadName("Page");
    const auto guard = net::make_work_guard(loop);
    for (bool isOver = false; !isOver;) {
      try {
        loop.run();
        isOver = true;
      } catch (const std::exception& error) {  // out of memory for one page is no end of all
        kLog.error(std::string("A page's work failed: ") + error.what());
      }
    }
  });
  listenToLog();
}

void Server::State::protect() {
  door::requireBothOrNone(options.tlsCertificate, options.tlsKey);
  const bool hasTls = !options.tlsKey.empty();
  const auto verdict = door::judge({.isLocal = options.isLocal,
                                    .hasTls = hasTls,
                                    .hasTokens = !options.tokens.empty(),
                                    .isInsecureAllowed = options.isInsecureAllowed});
  const std::string address = textOf(options, options.port);
  if (!verdict.refusal.empty()) {
    throw std::invalid_argument("Cannot serve the page at " + address +
                                " (--page): " + verdict.refusal);
  }
  if (!verdict.warning.empty()) kLog.warning(verdict.warning + " (page, " + address + ")");
  house.needsToken = verdict.needsToken;
  if (!options.tokens.empty()) house.tokens = door::Tokens::readFile(options.tokens);
  if (hasTls) tls = makeTls(options.tlsCertificate, options.tlsKey);
}

void Server::State::listenToLog() {
  if (options.log == nullptr) return;
  options.log->setWake([this] {
    if (isLogTold.exchange(true)) return;
    mailbox->post([this] {
      logTimer.expires_after(kLogTick);
      logTimer.async_wait([this](const beast::error_code&) { sendLog(); });
    });
  });
}

void Server::State::sendLog() {
  isLogTold = false;
  for (const auto& visitor : visitors.all()) visitor->logGrew();
}

void Server::State::leave() {
  listener->stop();
  house.modules = nullptr;
  for (const auto& visitor : visitors.all()) visitor->leave();
}

bool Server::State::stop(std::chrono::milliseconds deadline) {
  if (!isLeaving.exchange(true)) {
    if (options.log != nullptr) options.log->setWake(nullptr);
    onThread([this] { leave(); });
  }
  const auto begin = std::chrono::steady_clock::now();
  visitors.presence().waitUntilEmpty(std::min(deadline, kFarewell));
  const auto left = deadline - (std::chrono::steady_clock::now() - begin);
  return house.calls.waitUntilEmpty(std::chrono::duration_cast<std::chrono::milliseconds>(left));
}

void Server::State::onThread(const std::function<void()>& work) {
  std::promise<void> done;
  mailbox->post([&] {
    work();
    done.set_value();
  });
  done.get_future().wait();
}

Server::State::~State() {
  if (!thread.joinable()) return;  // its construction failed
  stop(std::chrono::milliseconds::zero());
  house.calls.waitUntilEmpty();
  onThread([this] {
    for (const auto& visitor : visitors.all()) visitor->cut();
  });
  visitors.presence().waitUntilEmpty();  // soon: whatever they wait for ends in an error
  mailbox->close();
  loop.stop();
  thread.join();
}

Server::Server(door::Access& access, Options options)
    : Server(access, std::move(options), Patience{}) {}

Server::Server(door::Access& access, Options options, const Patience& patience)
    : fState(std::make_unique<State>(access, std::move(options), patience)) {}

Server::~Server() = default;

int Server::port() const { return fState->port; }

std::string Server::url() const {
  return (fState->tls ? "https://" : "http://") + textOf(fState->options, fState->port);
}

std::size_t Server::connections() const { return fState->visitors.presence().inside(); }

void Server::setReady(const std::string& robotName) {
  fState->mailbox->post([state = fState.get(), robotName] {
    state->house.isReady = true;
    state->house.robot = robotName;
  });
}

void Server::setModules(std::function<std::vector<std::string>()> modules) {
  fState->mailbox->post([state = fState.get(), modules] { state->house.modules = modules; });
}

bool Server::stop(std::chrono::milliseconds deadline) { return fState->stop(deadline); }

}  // namespace web
