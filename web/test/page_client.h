// A browser's part of the WebSocket, for tests: blocking, and never for longer than ten seconds.
#pragma once

#include <deque>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "web/server/json.h"

namespace web {

class PageClient {
 public:
  struct Manner {
    std::string path = "/socket";
    std::string host;                   ///< the header; "" for "127.0.0.1:PORT"
    std::optional<std::string> origin;  ///< the header; none is sent by default
    std::string address = "127.0.0.1";  ///< where to
    bool hasTls = false;                ///< whatever certificate there is will do
    int receiveBuffer = 0;              ///< bytes; 0 for the system's
  };
  /// The server did not let the WebSocket stand; the text is its HTTP status.
  class NotAccepted : public std::runtime_error {
   public:
    using std::runtime_error::runtime_error;
  };
  /// The server closed; the text is the last goodbye's, or "".
  class Closed : public std::runtime_error {
   public:
    Closed(const std::string& text, int code) : std::runtime_error(text), fCode(code) {}
    int code() const { return fCode; }

   private:
    int fCode;
  };

  explicit PageClient(int port);
  PageClient(int port, const Manner& manner);
  ~PageClient();
  PageClient(PageClient&&) noexcept;
  PageClient& operator=(PageClient&&) noexcept;

  void sendText(const std::string& text);
  void sendBinary(const std::string& bytes);
  void send(const Json& message) { sendText(textOf(message)); }
  /// The next message. Errors: Closed; `std::runtime_error` when none comes.
  Json receive();

  /// The reply to a request, whose id is filled in; what else comes is kept for `event`.
  Json ask(Json request);
  /// The next reply to that request.
  Json replyTo(int id);
  /// The next event of that name. What comes of others is kept.
  Json event(const std::string& name);
  /// Sends the request and does not wait; returns its id.
  int begin(Json request);

  Json hello(const std::string& name = "tester", const std::string& token = "");
  Json call(const std::string& service, const std::string& method, Json args = Json::array());
  /// Reads until the server closes, and tells why.
  Closed awaitEnd();

  /// Sends bytes as they are, below the WebSocket.
  void sendRaw(const std::string& bytes);
  /// The connection is lost, without a word.
  void drop();

 private:
  struct State;
  std::unique_ptr<State> fState;
  std::deque<Json> fKept;
  int fLastId = 0;
};

/// What comes back for bytes sent to that port, until the server closes or says nothing for a
/// while.
std::string exchangeRaw(int port, const std::string& bytes,
                        const std::string& address = "127.0.0.1");

}  // namespace web
