#include "web/server/http.h"

#include <string>

#include "web/server/gzip.h"

namespace web {
namespace {

constexpr const char* kPolicy =
    "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' data:; connect-src "
    "'self'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'";

std::string_view viewOf(boost::beast::string_view text) { return {text.data(), text.size()}; }

Response blank(const Request& request, http::status status) {
  Response response(status, request.version());
  response.keep_alive(request.keep_alive());
  response.set("Content-Security-Policy", kPolicy);
  response.set("X-Content-Type-Options", "nosniff");
  response.set("Referrer-Policy", "no-referrer");
  response.set("Cross-Origin-Resource-Policy", "same-origin");
  response.set(http::field::cache_control, "no-cache");
  return response;
}

/// The length is told whether the content is sent or not.
Response finished(Response response, const Request& request, std::string content) {
  response.content_length(content.size());
  if (request.method() != http::verb::head) response.body() = std::move(content);
  return response;
}

bool isGzipAccepted(const Request& request) {
  std::string all;
  const auto [first, last] = request.equal_range(http::field::accept_encoding);
  for (auto header = first; header != last; ++header) {
    all += viewOf(header->value());
    all += ',';
  }
  return acceptsGzip(all);
}

bool hasTag(std::string_view tags, std::string_view tag) {
  return tags == "*" || tags.find(tag) != std::string_view::npos;
}

}  // namespace

Response say(const Request& request, http::status status, std::string_view text) {
  Response response = blank(request, status);
  response.set(http::field::content_type, "text/plain; charset=utf-8");
  return finished(std::move(response), request, std::string(text) + "\n");
}

std::optional<Response> refuse(const Front& front, const Request& request) {
  if (request.count(http::field::host) != 1 || request.count(http::field::origin) > 1) {
    return say(request, http::status::bad_request, "A request needs one header Host");
  }
  const auto host = viewOf(request[http::field::host]);
  if (!front.hosts.isOurs(host)) {
    return say(request, http::status::misdirected_request,
               "This robot's page is not found under that name: use its address, or localhost");
  }
  const auto origin = viewOf(request[http::field::origin]);
  if (request.count(http::field::origin) == 1 && !front.hosts.isOwnOrigin(origin, host)) {
    return say(request, http::status::forbidden, "Only the robot's own page may ask this robot");
  }
  return std::nullopt;
}

Response answer(const Front& front, const Request& request) {
  const auto target = viewOf(request.target());
  const auto path = target.substr(0, target.find('?'));
  if (request.method() != http::verb::get && request.method() != http::verb::head) {
    Response response =
        say(request, http::status::method_not_allowed, "Only GET and HEAD are answered");
    response.set(http::field::allow, "GET, HEAD");
    return response;
  }
  if (path == kSocketPath) {
    Response response = say(request, http::status::upgrade_required, "Here is a WebSocket");
    response.set(http::field::upgrade, "websocket");
    return response;
  }
  const auto file = front.files.find(path);
  if (!file) {
    return say(request, http::status::not_found,
               front.files.isEmpty() ? "The files of the page were not found when the robot started"
                                     : "There is nothing here");
  }
  const bool isPacked = !file->packed.empty() && isGzipAccepted(request);
  const std::string& tag = isPacked ? file->packedTag : file->tag;
  const bool isKnown = hasTag(viewOf(request[http::field::if_none_match]), tag);
  Response response = blank(request, isKnown ? http::status::not_modified : http::status::ok);
  response.set(http::field::etag, tag);
  response.set(http::field::vary, "Accept-Encoding");
  if (isKnown) return response;
  response.set(http::field::content_type, file->type);
  if (isPacked) response.set(http::field::content_encoding, "gzip");
  return finished(std::move(response), request, isPacked ? file->packed : file->content);
}

}  // namespace web
