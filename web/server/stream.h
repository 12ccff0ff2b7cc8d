// A connection, encrypted or not, as one type: what reads and writes it is compiled once.
#pragma once

#include <sys/ioctl.h>

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/ssl/ssl_stream.hpp>
#include <boost/beast/websocket/ssl.hpp>
#include <boost/beast/websocket/teardown.hpp>
#include <cstdint>
#include <optional>
#include <utility>

namespace web {

namespace net = boost::asio;
namespace beast = boost::beast;

/// An asynchronous stream as Asio and Beast understand it. On the page's thread alone.
class Stream {
 public:
  using executor_type = beast::tcp_stream::executor_type;  // NOLINT(readability-identifier-naming)

  /// `tls` outlives it; null for a connection that is not encrypted.
  Stream(net::ip::tcp::socket socket, net::ssl::context* tls) {
    if (tls == nullptr) {
      fPlain.emplace(std::move(socket));
    } else {
      fTls.emplace(beast::tcp_stream(std::move(socket)), *tls);
    }
  }

  bool isTls() const { return fTls.has_value(); }
  beast::tcp_stream& tcp() { return fTls ? fTls->next_layer() : *fPlain; }

  /// Goes on growing while what is written finds room.
  std::uint64_t writes() const { return fWrites; }
  /// Bytes that the system keeps because the other end has not taken them.
  int unsent() {
    int bytes = 0;
    (void)::ioctl(tcp().socket().native_handle(), TIOCOUTQ, &bytes);
    return bytes;
  }

  /// As server or client; encrypted connections only.
  template <class Handler>
  void handshake(net::ssl::stream_base::handshake_type side, Handler&& handler) {
    fTls->async_handshake(side, std::forward<Handler>(handler));
  }

  // NOLINTBEGIN(readability-identifier-naming): Asio's names
  executor_type get_executor() { return tcp().get_executor(); }
  template <class Buffers, class Token>
  auto async_read_some(const Buffers& buffers, Token&& token) {
    if (fTls) return fTls->async_read_some(buffers, std::forward<Token>(token));
    return fPlain->async_read_some(buffers, std::forward<Token>(token));
  }
  template <class Buffers, class Token>
  auto async_write_some(const Buffers& buffers, Token&& token) {
    ++fWrites;
    if (fTls) return fTls->async_write_some(buffers, std::forward<Token>(token));
    return fPlain->async_write_some(buffers, std::forward<Token>(token));
  }
  template <class Token>
  friend void async_teardown(beast::role_type role, Stream& stream, Token&& token) {
    if (stream.fTls) {
      beast::async_teardown(role, *stream.fTls, std::forward<Token>(token));
    } else {
      using beast::websocket::async_teardown;
      async_teardown(role, stream.fPlain->socket(), std::forward<Token>(token));
    }
  }
  friend void beast_close_socket(Stream& stream) { stream.tcp().close(); }
  // NOLINTEND(readability-identifier-naming)

 private:
  std::optional<beast::tcp_stream> fPlain;
  std::optional<beast::ssl_stream<beast::tcp_stream>> fTls;
  std::uint64_t fWrites = 0;
};

}  // namespace web
