// How HTTP requests are answered. Pure functions.
#pragma once

#include <boost/beast/http/string_body.hpp>
#include <optional>
#include <string_view>

#include "web/server/front.h"
#include "web/server/request.h"

namespace web {

using Response = http::response<http::string_body>;

/// The path at which the WebSocket is.
inline constexpr std::string_view kSocketPath = "/socket";

/// Why a request is not answered, or nothing: it must name this robot as its host, and come from
/// the page itself if it tells where it comes from.
std::optional<Response> refuse(const Front& front, const Request& request);

/// The answer to a request that was not refused and asks for no WebSocket.
Response answer(const Front& front, const Request& request);

/// An answer that is a line of text.
Response say(const Request& request, http::status status, std::string_view text);

}  // namespace web
