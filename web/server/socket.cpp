#include "web/server/socket.h"

#include <algorithm>
#include <utility>

#include "web/server/json.h"

namespace web {
namespace {

namespace websocket = beast::websocket;

constexpr std::size_t kReadBytes = 64 * 1024;
/// So often in the time that a page has it is looked whether it goes on.
constexpr int kLooks = 4;
/// How long a browser has to answer that it closes too.
constexpr std::chrono::seconds kClosing{5};

std::string peerOf(beast::tcp_stream& stream) {
  beast::error_code error;
  const auto peer = stream.socket().remote_endpoint(error);
  if (error) return "unknown";
  const std::string port = ":" + std::to_string(peer.port());
  if (peer.address().is_v4()) return "ipv4:" + peer.address().to_string() + port;
  return "ipv6:[" + peer.address().to_string() + "]" + port;
}

}  // namespace

Socket::Socket(House& house, Visitors& visitors, Stream stream)
    : Visitor(visitors),
      fHouse(house),
      fWs(std::move(stream)),
      fConversation(std::make_unique<Conversation>(house, static_cast<Outlet&>(*this),
                                                   peerOf(fWs.next_layer().tcp()))),
      fTimer(fWs.get_executor()),
      fLifeTimer(fWs.get_executor()),
      fBytes(house.waiting) {}

Socket::~Socket() { finish(); }

void Socket::accept(const Request& request) {
  fWs.next_layer().tcp().expires_never();  // the WebSocket has timers of its own
  websocket::stream_base::timeout timeout{};
  timeout.handshake_timeout = fHouse.patience.request;
  // Beast's own timer knows only what is read, and of a page that is slow nothing is read.
  timeout.idle_timeout = websocket::stream_base::none();
  fWs.set_option(timeout);
  fWs.set_option(websocket::permessage_deflate{});  // off, both ways
  fWs.read_message_max(0);                          // what is too long is told, see readSome
  fWs.auto_fragment(false);
  fWs.text(true);
  fWs.control_callback([this](websocket::frame_type, beast::string_view) {
    fAlive = std::chrono::steady_clock::now();
  });
  fWs.async_accept(request, [me = self()](const beast::error_code& error) {
    if (error) return me->finish();
    me->opened();
  });
}

void Socket::opened() {
  fIsOpen = true;
  fAlive = std::chrono::steady_clock::now();
  fTimer.expires_after(fHouse.patience.hello);
  fTimer.async_wait([weak = weak_from_this()](const beast::error_code& error) {
    const auto me = std::static_pointer_cast<Socket>(weak.lock());
    if (error || !me || me->fConversation->isKnown()) return;
    me->goodbye("There was no 'hello' in time");
  });
  watchLife();
  read();
}

void Socket::read() {
  if (fIsReading || fIsClosing || fIsOver || waiting() > kMostWaiting) return;
  fIsReading = true;
  fWs.async_read_some(fBuffer, kReadBytes,
                      [me = self()](const beast::error_code& error, std::size_t) {
                        me->fIsReading = false;
                        me->readSome(error);
                      });
}

void Socket::readSome(const beast::error_code& error) {
  if (fIsClosing) return;  // closing reads on by itself
  if (error) return finish();
  fAlive = std::chrono::steady_clock::now();
  const std::size_t most = fHouse.access.limits().messageBytes;
  if (fBuffer.size() > most) {
    return goodbye("A message has more bytes than the limit of " + std::to_string(most));
  }
  if (fWs.is_message_done()) takeMessage();
  read();
}

void Socket::takeMessage() {
  if (!fWs.got_text()) return goodbye("A message must be text");
  const auto bytes = fBuffer.cdata();
  fConversation->take({static_cast<const char*>(bytes.data()), bytes.size()});
  fBuffer.consume(fBuffer.size());
  if (fBuffer.capacity() > kReadBytes) fBuffer.shrink_to_fit();
}

void Socket::send(std::string message) {
  if (fIsClosing || fIsOver) return;
  fBytes.add(message.size());
  fQueue.push_back(std::move(message));
  if (!fIsWriting) write();
}

void Socket::goodbye(const std::string& why) { endWith(why, websocket::close_code::policy_error); }

void Socket::endWith(const std::string& why, websocket::close_code code) {
  if (fIsClosing || fIsOver) return;
  fCloseCode = code;
  send(textOf({{"event", "goodbye"}, {"text", why}}));
  fIsClosing = true;
  fTimer.cancel();
  fConversation->gone();
}

void Socket::watchLife() {
  fLifeTimer.expires_after(std::min(fHouse.patience.reading, fHouse.patience.silence) / kLooks);
  fLifeTimer.async_wait([weak = weak_from_this()](const beast::error_code& error) {
    const auto me = std::static_pointer_cast<Socket>(weak.lock());
    if (error || !me || me->fIsOver) return;
    me->lookForLife();
    if (!me->fIsOver) me->watchLife();
  });
}

void Socket::lookForLife() {
  const auto now = std::chrono::steady_clock::now();
  Stream& stream = fWs.next_layer();
  const int unsent = stream.unsent();
  const bool hasTaken = unsent < std::exchange(fUnsent, unsent);
  const bool hasWritten = stream.writes() != std::exchange(fWrites, stream.writes());
  if (hasTaken) fAlive = now;
  if (fIsWriting) {
    if (hasTaken || hasWritten) fMoved = now;
    if (now - fMoved >= fHouse.patience.reading) finish();
    fAlive = now;  // whether it lives is not asked before it has the room for a question
    return;
  }
  if (now - fAlive >= fHouse.patience.silence) return finish();
  if (now - fAlive >= fHouse.patience.silence / 2) ping();
}

void Socket::ping() {
  if (fIsPinging || fIsClosing) return;
  fIsPinging = true;
  fWs.async_ping({}, [me = self()](const beast::error_code&) { me->fIsPinging = false; });
}

void Socket::write() {
  fIsWriting = true;
  fMoved = std::chrono::steady_clock::now();
  fWs.async_write(net::buffer(fQueue.front()),
                  [me = self()](const beast::error_code& error, std::size_t) {
                    me->fIsWriting = false;
                    me->written(error);
                  });
}

void Socket::written(const beast::error_code& error) {
  if (error || fIsOver) return finish();
  fBytes.remove(fQueue.front().size());
  fQueue.pop_front();
  if (!fIsClosing) fConversation->goOn();
  if (!fQueue.empty()) {
    if (!fIsWriting) write();
  } else if (fIsClosing) {
    return close();
  }
  read();
}

void Socket::close() {
  fTimer.expires_after(kClosing);
  fTimer.async_wait([weak = weak_from_this()](const beast::error_code& error) {
    const auto me = std::static_pointer_cast<Socket>(weak.lock());
    if (!error && me) me->finish();
  });
  fWs.async_close(fCloseCode, [me = self()](const beast::error_code&) { me->finish(); });
}

void Socket::leave() {
  if (!fIsOpen) return finish();
  endWith("The robot is shutting down", websocket::close_code::going_away);
}

void Socket::finish() {
  if (std::exchange(fIsOver, true)) return;
  fTimer.cancel();
  fLifeTimer.cancel();
  fConversation->gone();
  fWs.next_layer().tcp().close();  // whatever still waits for it hears an error
}

}  // namespace web
