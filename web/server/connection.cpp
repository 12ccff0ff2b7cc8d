#include "web/server/connection.h"

#include <boost/beast/http/read.hpp>
#include <boost/beast/http/write.hpp>
#include <boost/beast/websocket/rfc6455.hpp>
#include <utility>

#include "web/server/socket.h"

namespace web {
namespace {

constexpr std::size_t kHeaderBytes = 8 * 1024;

/// Whether a request came and is wrong, rather than that the connection ended.
bool isOfTheRequest(const beast::error_code& error) {
  return error.category() == beast::error_code(http::error::bad_method).category() &&
         error != http::error::end_of_stream && error != http::error::partial_message;
}

}  // namespace

Connection::Connection(House& house, const Front& front, Visitors& visitors, Stream stream)
    : Visitor(visitors), fHouse(house), fFront(front), fStream(std::move(stream)) {}

void Connection::start() {
  if (!fStream.isTls()) return read();
  fStream.tcp().expires_after(fHouse.patience.request);
  fStream.handshake(net::ssl::stream_base::server, [me = self()](const beast::error_code& error) {
    if (error) return me->cut();
    me->read();
  });
}

void Connection::turnAway() {
  fIsTurnedAway = true;
  start();
}

void Connection::read() {
  fParser.emplace();
  fParser->header_limit(kHeaderBytes);
  fParser->body_limit(std::uint64_t{0});
  fStream.tcp().expires_after(fHouse.patience.request);
  http::async_read(fStream, fBuffer, *fParser,
                   [me = self()](const beast::error_code& error, std::size_t) {
                     if (error) return me->takeFault(error);
                     me->take();
                   });
}

void Connection::takeFault(const beast::error_code& error) {
  if (!isOfTheRequest(error)) return cut();
  Request request = fParser->get();
  request.keep_alive(false);
  if (error == http::error::header_limit) {
    return write(say(request, http::status::request_header_fields_too_large,
                     "The header has more than " + std::to_string(kHeaderBytes) + " bytes"));
  }
  if (error == http::error::body_limit || error == http::error::unexpected_body) {
    return write(say(request, http::status::payload_too_large, "A request has no body here"));
  }
  write(say(request, http::status::bad_request, "That is no HTTP request"));
}

void Connection::take() {
  Request request = fParser->release();
  if (fIsTurnedAway) {
    request.keep_alive(false);
    return write(say(
        request, http::status::service_unavailable,
        "More connections to the page than the limit of " + std::to_string(fHouse.connections)));
  }
  if (auto refusal = refuse(fFront, request)) return write(*std::move(refusal));
  const bool isSocket =
      request.target() == boost::beast::string_view(kSocketPath.data(), kSocketPath.size());
  if (!isSocket || !beast::websocket::is_upgrade(request)) {
    return write(answer(fFront, request));
  }
  // What the browser sent too early would be lost: none does before it is answered.
  std::make_shared<Socket>(fHouse, fVisitors, std::move(fStream))->accept(request);
}

void Connection::write(Response response) {
  fResponse.emplace(std::move(response));
  fStream.tcp().expires_after(fHouse.patience.reading);
  // The body of an answer to HEAD is left out, its length is not.
  http::async_write(fStream, *fResponse,
                    [me = self()](const beast::error_code& error, std::size_t) {
                      if (error) return me->cut();
                      if (!me->fResponse->keep_alive()) return me->close();
                      me->read();
                    });
}

/// Lets the browser read what was said before the connection goes.
void Connection::close() {
  beast::error_code ignored;
  fStream.tcp().socket().shutdown(net::ip::tcp::socket::shutdown_send, ignored);
  fBuffer.consume(fBuffer.size());
  fStream.tcp().expires_after(std::chrono::seconds(1));
  fStream.tcp().async_read_some(
      fBuffer.prepare(kHeaderBytes),
      [me = self()](const beast::error_code&, std::size_t) { me->cut(); });
}

void Connection::cut() { fStream.tcp().close(); }

}  // namespace web
