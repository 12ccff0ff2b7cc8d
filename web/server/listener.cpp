#include "web/server/listener.h"

#include <boost/asio/io_context.hpp>
#include <stdexcept>
#include <utility>

#include "framework/xo/log.h"

namespace web {
namespace {

const xo::log::Category kLog("page");

/// What the system keeps for one connection of what is sent; it doubles this.
constexpr int kSendBytes = 128 * 1024;

/// So many more are told that there is no room; who comes then is not.
constexpr std::size_t kMostTurnedAway = 32;
/// How long to wait when the process has no file left for one more connection.
constexpr std::chrono::milliseconds kPause{100};
constexpr std::chrono::seconds kBetweenWarnings{10};

}  // namespace

Listener::Listener(net::io_context& loop, const std::string& host, int port)
    : fLoop(loop), fAcceptor(loop), fPause(loop) {
  try {
    const net::ip::tcp::endpoint endpoint(net::ip::make_address(host),
                                          static_cast<unsigned short>(port));
    fAcceptor.open(endpoint.protocol());
    fAcceptor.set_option(net::socket_base::reuse_address(true));
    fAcceptor.bind(endpoint);
    fAcceptor.listen();
  } catch (const boost::system::system_error& error) {
    throw std::runtime_error(error.code().message());
  }
}

int Listener::port() const { return fAcceptor.local_endpoint().port(); }

void Listener::start(House& house, const Front& front, Visitors& visitors, net::ssl::context* tls) {
  fHouse = &house;
  fFront = &front;
  fVisitors = &visitors;
  fTls = tls;
  accept();
}

void Listener::stop() {
  beast::error_code ignored;
  fAcceptor.close(ignored);
  fPause.cancel();
}

void Listener::accept() {
  fAcceptor.async_accept([this](const beast::error_code& error, net::ip::tcp::socket socket) {
    if (!fAcceptor.is_open()) return;
    if (!error) {
      take(std::move(socket));
      return accept();
    }
    warn("No connection can be taken in: " + error.message() + ": who comes waits");
    fPause.expires_after(kPause);
    fPause.async_wait([this](const beast::error_code& cancelled) {
      if (!cancelled && fAcceptor.is_open()) accept();
    });
  });
}

void Listener::warn(const std::string& text) {
  const auto now = std::chrono::steady_clock::now();
  if (now - fLastWarning < kBetweenWarnings) return;
  fLastWarning = now;
  kLog.warning(text);
}

void Listener::take(net::ip::tcp::socket socket) {
  const std::size_t inside = fVisitors->size();
  if (inside >= fHouse->connections + kMostTurnedAway) return;  // closed
  beast::error_code ignored;
  socket.set_option(net::ip::tcp::no_delay(true), ignored);
  // Left to itself the system may keep several MiB of what a page does not take.
  socket.set_option(net::socket_base::send_buffer_size(kSendBytes), ignored);
  const auto connection =
      std::make_shared<Connection>(*fHouse, *fFront, *fVisitors, Stream(std::move(socket), fTls));
  if (inside >= fHouse->connections) {
    connection->turnAway();
  } else {
    connection->start();
  }
}

}  // namespace web
