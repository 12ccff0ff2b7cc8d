#include "web/test/page_client.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <array>
#include <boost/asio/io_context.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/websocket/stream.hpp>
#include <utility>

#include "web/server/stream.h"

namespace web {
namespace {

namespace websocket = beast::websocket;
constexpr std::chrono::seconds kPatience{10};

net::ip::tcp::socket connectTo(net::io_context& loop, int port, const PageClient::Manner& manner) {
  const net::ip::tcp::endpoint endpoint(net::ip::make_address(manner.address),
                                        static_cast<unsigned short>(port));
  net::ip::tcp::socket socket(loop, endpoint.protocol());
  if (manner.receiveBuffer > 0) {
    socket.set_option(net::socket_base::receive_buffer_size(manner.receiveBuffer));
  }
  socket.connect(endpoint);
  socket.set_option(net::ip::tcp::no_delay(true));
  return socket;
}

}  // namespace

struct PageClient::State {
  State(int port, const Manner& manner)
      : ws(Stream(connectTo(loop, port, manner), manner.hasTls ? &tls : nullptr)) {}

  /// Runs one operation of the WebSocket to its end.
  template <class Begin>
  void run(Begin begin) {
    bool isDone = false;
    error = {};
    begin([&](const beast::error_code& result, auto&&...) {
      error = result;
      isDone = true;
    });
    loop.restart();
    const auto end = std::chrono::steady_clock::now() + kPatience;
    while (!isDone && loop.run_one_until(end) > 0) {
    }
    if (isDone) return;
    ws.next_layer().tcp().close();
    loop.run();
    throw std::runtime_error("The server did not go on within ten seconds");
  }

  net::io_context loop;
  net::ssl::context tls{net::ssl::context::tls_client};
  websocket::stream<Stream> ws;
  beast::flat_buffer buffer;
  beast::error_code error;
  std::string goodbye;
};

PageClient::PageClient(int port) : PageClient(port, Manner{}) {}

PageClient::PageClient(int port, const Manner& manner)
    : fState(std::make_unique<State>(port, manner)) {
  State& state = *fState;
  if (manner.hasTls) {
    state.run([&](auto handler) {
      state.ws.next_layer().handshake(net::ssl::stream_base::client, handler);
    });
    if (state.error) throw NotAccepted("TLS: " + state.error.message());
  }
  state.ws.set_option(websocket::stream_base::decorator([&](websocket::request_type& request) {
    if (manner.origin) request.set(beast::http::field::origin, *manner.origin);
  }));
  const std::string host =
      manner.host.empty() ? manner.address + ":" + std::to_string(port) : manner.host;
  websocket::response_type response;
  state.ws.read_message_max(0);
  state.run([&](auto handler) { state.ws.async_handshake(response, host, manner.path, handler); });
  if (state.error) throw NotAccepted(std::to_string(response.result_int()));
}

PageClient::~PageClient() = default;
PageClient::PageClient(PageClient&&) noexcept = default;
PageClient& PageClient::operator=(PageClient&&) noexcept = default;

void PageClient::sendText(const std::string& text) {
  State& state = *fState;
  state.ws.text(true);
  state.run([&](auto handler) { state.ws.async_write(net::buffer(text), handler); });
}

void PageClient::sendBinary(const std::string& bytes) {
  State& state = *fState;
  state.ws.binary(true);
  state.run([&](auto handler) { state.ws.async_write(net::buffer(bytes), handler); });
}

Json PageClient::receive() {
  State& state = *fState;
  state.buffer.clear();
  state.run([&](auto handler) { state.ws.async_read(state.buffer, handler); });
  if (state.error) {
    throw Closed(state.goodbye, static_cast<int>(state.ws.reason().code));
  }
  const auto bytes = state.buffer.cdata();
  Json message = Json::parse(std::string(static_cast<const char*>(bytes.data()), bytes.size()));
  if (message.value("event", "") == "goodbye") state.goodbye = message["text"];
  return message;
}

int PageClient::begin(Json request) {
  if (!request.contains("id")) request["id"] = ++fLastId;
  send(request);
  return request["id"];
}

Json PageClient::ask(Json request) { return replyTo(begin(std::move(request))); }

Json PageClient::replyTo(int id) {
  for (auto kept = fKept.begin(); kept != fKept.end(); ++kept) {
    if (kept->value("id", 0) != id) continue;
    Json found = std::move(*kept);
    fKept.erase(kept);
    return found;
  }
  for (;;) {
    Json message = receive();
    if (message.value("id", 0) == id) return message;
    fKept.push_back(std::move(message));
  }
}

Json PageClient::event(const std::string& name) {
  for (auto kept = fKept.begin(); kept != fKept.end(); ++kept) {
    if (kept->value("event", "") != name) continue;
    Json found = std::move(*kept);
    fKept.erase(kept);
    return found;
  }
  for (;;) {
    Json message = receive();
    if (message.value("event", "") == name) return message;
    fKept.push_back(std::move(message));
  }
}

Json PageClient::hello(const std::string& name, const std::string& token) {
  Json request{{"op", "hello"}, {"name", name}};
  if (!token.empty()) request["token"] = token;
  return ask(request);
}

Json PageClient::call(const std::string& service, const std::string& method, Json args) {
  return ask({{"op", "call"}, {"service", service}, {"method", method}, {"args", std::move(args)}});
}

PageClient::Closed PageClient::awaitEnd() {
  try {
    for (;;) receive();
  } catch (const Closed& closed) {
    return closed;
  }
}

void PageClient::sendRaw(const std::string& bytes) {
  State& state = *fState;
  state.run(
      [&](auto handler) { net::async_write(state.ws.next_layer(), net::buffer(bytes), handler); });
}

void PageClient::drop() { fState->ws.next_layer().tcp().close(); }

std::string exchangeRaw(int port, const std::string& bytes, const std::string& address) {
  const int file = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in name{};
  name.sin_family = AF_INET;
  name.sin_port = htons(static_cast<std::uint16_t>(port));
  ::inet_pton(AF_INET, address.c_str(), &name.sin_addr);
  const timeval patience{10, 0};
  ::setsockopt(file, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof(patience));
  std::string got;
  if (::connect(file, reinterpret_cast<const sockaddr*>(&name), sizeof(name)) == 0) {
    (void)!::send(file, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    std::array<char, 4096> part{};
    for (;;) {
      const ssize_t size = ::recv(file, part.data(), part.size(), 0);
      if (size <= 0) break;
      got.append(part.data(), static_cast<std::size_t>(size));
    }
  }
  ::close(file);
  return got;
}

}  // namespace web
