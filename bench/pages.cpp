#include "bench/pages.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/websocket/stream.hpp>
#include <iostream>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace bench {
namespace {

namespace net = boost::asio;
namespace beast = boost::beast;

/// On one thread, with all the others.
class Page {
 public:
  Page(net::io_context& loop, int port, int& waited) : fSocket(loop), fWaited(waited) {
    const net::ip::tcp::endpoint endpoint(net::ip::address_v4::loopback(),
                                          static_cast<unsigned short>(port));
    fSocket.next_layer().connect(endpoint);
    fSocket.next_layer().set_option(net::ip::tcp::no_delay(true));
    fSocket.handshake("127.0.0.1:" + std::to_string(port), "/socket");
    fSocket.text(true);
    fSocket.write(net::buffer(std::string(R"({"id":1,"op":"hello","name":"page"})")));
    fSocket.write(net::buffer(std::string(R"({"id":2,"op":"watch","pattern":""})")));
    read();
  }

 private:
  void read() {
    fBuffer.clear();
    fSocket.async_read(fBuffer, [this](const beast::error_code& error, std::size_t) {
      if (error) return;
      const auto bytes = fBuffer.cdata();
      take({static_cast<const char*>(bytes.data()), bytes.size()});
    });
  }

  void take(std::string_view message) {
    constexpr std::string_view kFrame = R"({"event":"frame","frame":)";
    if (!message.starts_with(kFrame)) return read();
    message.remove_prefix(kFrame.size());
    fSeen = R"({"op":"seen","frame":)" + std::string(message.substr(0, message.find(','))) + "}";
    if (fIsFirst && --fWaited == 0) std::cout << "watching" << std::endl;
    fIsFirst = false;
    fSocket.async_write(net::buffer(fSeen), [this](const beast::error_code& error, std::size_t) {
      if (!error) read();
    });
  }

  beast::websocket::stream<net::ip::tcp::socket> fSocket;
  int& fWaited;
  bool fIsFirst = true;
  beast::flat_buffer fBuffer;
  std::string fSeen;
};

}  // namespace

void watchAsPages(int count, int port) {
  net::io_context loop{1};
  int waited = count;
  std::vector<std::unique_ptr<Page>> pages;
  pages.reserve(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) pages.push_back(std::make_unique<Page>(loop, port, waited));
  loop.run();
}

}  // namespace bench
