// A browser's request, as Beast reads it.
#pragma once

#include <boost/beast/http/empty_body.hpp>
#include <boost/beast/http/message.hpp>

namespace web {

namespace http = boost::beast::http;
/// It has no body here.
using Request = http::request<http::empty_body>;

}  // namespace web
