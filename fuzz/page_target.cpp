// What a page may send: messages of its WebSocket, and the HTTP requests that come before.
#include <algorithm>
#include <boost/asio/buffer.hpp>
#include <boost/asio/ip/host_name.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/write.hpp>
#include <sstream>

#include "fuzz/alarm.h"
#include "fuzz/bytes.h"
#include "fuzz/harness.h"
#include "fuzz/page_robot.h"
#include "web/server/http.h"

namespace {

using fuzz::require;

constexpr std::size_t kMostMessages = 16;
constexpr std::size_t kMostLines = 64;
constexpr std::size_t kHeaderBytes = 8 * 1024;
constexpr std::chrono::seconds kLongest{30};

// What stands in the first byte of an input.
constexpr unsigned kIsHttp = 1;
constexpr unsigned kHasTokens = 2;
constexpr unsigned kReadsAtOnce = 4;

/// What is no message of the page but happens beside it, "!" and a letter.
void happen(fuzz::PageRobot& robot, std::string_view line) {
  const std::string_view rest = line.substr(std::min<std::size_t>(2, line.size()));
  switch (line.size() > 1 ? line[1] : '\0') {
    case 's':
      return robot.see();
    case 'd':
      return robot.drain();
    case 'f':
      return robot.settle(rest.size());
    case 'F':
      return robot.settle(fuzz::PageService::kMostBytes);
    case 'k':
      return robot.change(rest);
    default:
      return robot.log(rest);
  }
}

void converse(unsigned manner, std::string_view text) {
  static fuzz::Watchdog watchdog(kLongest);
  watchdog.begin(std::string(text));
  fuzz::PageRobot robot((manner & kHasTokens) != 0);
  std::size_t messages = 0;
  std::size_t lines = 0;
  for (const std::string& line : fuzz::linesOf(text)) {
    if (robot.isOver() || ++lines > kMostLines) break;
    if (line.starts_with('!')) {
      happen(robot, line);
    } else if (++messages <= kMostMessages) {
      robot.say(line);
    }
    if ((manner & kReadsAtOnce) != 0 && !robot.isOver()) robot.drain();
  }
  robot.leave();
  watchdog.end();
}

std::string lowerCase(boost::beast::string_view text) {
  std::string made(text);
  for (char& c : made) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + 32);
  }
  return made;
}

/// Of a request that was let in: by its own look at what must hold.
void requireOwn(const web::Request& request) {
  const std::string host = lowerCase(request[web::http::field::host]);
  require(host.ends_with(":5481"), "another port was let in");
  const std::string name = host.substr(0, host.size() - 5);
  const bool isNumeric =
      !name.empty() && name.find_first_not_of("0123456789.") == std::string::npos;
  const bool isIp6 = name.starts_with('[') && name.ends_with(']');
  require(isNumeric || isIp6 || name == "localhost" || name == "robot.example" ||
              name == lowerCase(boost::asio::ip::host_name()) ||
              name == lowerCase(boost::asio::ip::host_name()) + ".local",
          "another host was let in");
  if (request.count(web::http::field::origin) == 0) return;
  require(lowerCase(request[web::http::field::origin]) == "http://" + host,
          "another origin was let in");
}

void request(std::string_view text) {
  static const web::Front front{web::Files("web/page"), web::Hosts("robot.example", 5481, false)};
  web::http::request_parser<web::http::empty_body> parser;
  parser.header_limit(kHeaderBytes);
  parser.body_limit(std::uint64_t{0});
  boost::beast::error_code error;
  parser.put(boost::asio::buffer(text.data(), text.size()), error);
  if (error || !parser.is_done()) return;
  const web::Request asked = parser.release();
  auto response = web::refuse(front, asked);
  if (!response) {
    requireOwn(asked);
    response = web::answer(front, asked);
  }
  const bool isPacked = response->count(web::http::field::content_encoding) > 0;
  require(!isPacked || asked.count(web::http::field::accept_encoding) > 0,
          "a packed file for who did not ask for it");
  if (asked.method() == web::http::verb::head) {
    require(response->body().empty(), "an answer to HEAD has a body");
  }
  std::ostringstream written;
  written << *response;
  require(written.str().find("Content-Security-Policy") != std::string::npos,
          "an answer without its policy");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Bytes bytes(std::span(data, size));
  const unsigned manner = bytes.byte();
  if ((manner & kIsHttp) != 0) {
    request(bytes.rest());
  } else {
    converse(manner, bytes.rest());
  }
  return 0;
}
