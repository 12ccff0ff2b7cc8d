// What the page's server encrypts with.
#pragma once

#include <boost/asio/ssl/context.hpp>
#include <memory>
#include <string>

namespace web {

/// TLS 1.2 or later. Errors: `std::runtime_error` that names a file that cannot be read or is no
/// PEM, or both files when they do not fit.
std::unique_ptr<boost::asio::ssl::context> makeTls(const std::string& certificateFile,
                                                   const std::string& keyFile);

}  // namespace web
