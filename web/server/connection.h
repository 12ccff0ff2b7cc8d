// One connection of a browser, until it becomes a WebSocket or ends.
#pragma once

#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/parser.hpp>
#include <memory>
#include <optional>

#include "web/server/front.h"
#include "web/server/house.h"
#include "web/server/http.h"
#include "web/server/stream.h"
#include "web/server/visitors.h"

namespace web {

///     shaking hands (TLS) --> request expected --answered--> request expected
///                                    |
///                              asks for the WebSocket: a Socket takes over
///
/// Keeps itself alive while it is connected. On the page's thread alone.
class Connection final : public Visitor {
 public:
  /// Everything outlives it.
  Connection(House& house, const Front& front, Visitors& visitors, Stream stream);

  void start();
  /// The same when there is no room for it: it is told so once and closed.
  void turnAway();
  void leave() override { cut(); }
  void cut() override;

 private:
  using Parser = http::request_parser<http::empty_body>;
  void read();
  void take();
  void takeFault(const beast::error_code& error);
  void write(Response response);
  void close();
  std::shared_ptr<Connection> self() {
    return std::static_pointer_cast<Connection>(shared_from_this());
  }

  House& fHouse;
  const Front& fFront;
  Stream fStream;
  beast::flat_buffer fBuffer;
  std::optional<Parser> fParser;
  std::optional<Response> fResponse;
  bool fIsTurnedAway = false;
};

}  // namespace web
