// The WebSocket of one page.
#pragma once

#include <boost/asio/steady_timer.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/websocket/stream.hpp>
#include <deque>
#include <memory>
#include <string>

#include "web/server/conversation.h"
#include "web/server/house.h"
#include "web/server/outlet.h"
#include "web/server/request.h"
#include "web/server/stream.h"
#include "web/server/visitors.h"

namespace web {

/// Carries messages between a browser and its conversation, one way and the other. A page that does
/// not read costs a bounded number of bytes, since its requests are not read either. Keeps itself
/// alive while it is connected. On the page's thread alone.
///
/// A page is let go when nothing that is being written moves for a while, however slowly; or, while
/// nothing is being written, when it gives no sign of life: an answer to a ping, a message, or that
/// it takes what the system still holds for it.
class Socket final : public Visitor, private Outlet {
 public:
  /// `house` and `visitors` outlive it.
  Socket(House& house, Visitors& visitors, Stream stream);
  ~Socket() override;

  /// Answers the request that asked for it.
  void accept(const Request& request);
  void leave() override;
  void cut() override { finish(); }
  void logGrew() override { fConversation->sendLog(); }

 private:
  void opened();
  void read();
  void readSome(const beast::error_code& error);
  void takeMessage();
  void send(std::string message) override;
  void goodbye(const std::string& why) override;
  std::size_t waiting() const override { return fBytes.bytes(); }
  void write();
  void written(const beast::error_code& error);
  void endWith(const std::string& why, beast::websocket::close_code code);
  void watchLife();
  void lookForLife();
  void ping();
  void close();
  void finish();
  std::shared_ptr<Socket> self() { return std::static_pointer_cast<Socket>(shared_from_this()); }

  House& fHouse;
  beast::websocket::stream<Stream> fWs;
  beast::flat_buffer fBuffer;
  const std::unique_ptr<Conversation> fConversation;
  net::steady_timer fTimer;  // for the hello, later for the end
  net::steady_timer fLifeTimer;
  std::chrono::steady_clock::time_point fMoved;  // something that was being written
  std::chrono::steady_clock::time_point fAlive;  // the last sign of the page's life
  std::uint64_t fWrites = 0;                     // of the stream, at the last look
  int fUnsent = 0;                               // likewise
  std::deque<std::string> fQueue;                // the first is being written
  Budget::Share fBytes;                          // in it
  beast::websocket::close_code fCloseCode = beast::websocket::close_code::normal;
  bool fIsOpen = false;
  bool fIsReading = false;
  bool fIsWriting = false;
  bool fIsPinging = false;
  bool fIsClosing = false;  // after a goodbye
  bool fIsOver = false;
};

}  // namespace web
