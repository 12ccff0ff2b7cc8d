// Takes connections of browsers in.
#pragma once

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <string>

#include "web/server/connection.h"

namespace web {

/// On the page's thread alone, but for its construction.
class Listener {
 public:
  /// Listens at once; takes in from `start` on. All that is referred to outlives it. Errors:
  /// `std::runtime_error` that names the address.
  Listener(net::io_context& loop, const std::string& host, int port);

  int port() const;
  /// `tls` may be null.
  void start(House& house, const Front& front, Visitors& visitors, net::ssl::context* tls);
  void stop();

 private:
  void accept();
  void take(net::ip::tcp::socket socket);
  /// Not each time.
  void warn(const std::string& text);

  net::io_context& fLoop;
  net::ip::tcp::acceptor fAcceptor;
  net::steady_timer fPause;
  std::chrono::steady_clock::time_point fLastWarning{};
  House* fHouse = nullptr;
  const Front* fFront = nullptr;
  Visitors* fVisitors = nullptr;
  net::ssl::context* fTls = nullptr;
};

}  // namespace web
