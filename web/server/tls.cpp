#include "web/server/tls.h"

#include <openssl/ssl.h>

#include <boost/asio/buffer.hpp>

#include "access/tls_files.h"

namespace web {

namespace ssl = boost::asio::ssl;

std::unique_ptr<ssl::context> makeTls(const std::string& certificateFile,
                                      const std::string& keyFile) {
  const door::TlsFiles files = door::readTlsFiles(certificateFile, keyFile);
  auto context = std::make_unique<ssl::context>(ssl::context::tls_server);
  ::SSL_CTX_set_min_proto_version(context->native_handle(), TLS1_2_VERSION);
  context->set_options(ssl::context::single_dh_use | SSL_OP_NO_RENEGOTIATION);
  try {
    // Nobody is asked for a password at the terminal.
    context->set_password_callback(
        [](std::size_t, ssl::context::password_purpose) { return std::string(); });
    context->use_certificate_chain(boost::asio::buffer(files.certificate));
    context->use_private_key(boost::asio::buffer(files.key), ssl::context::pem);
  } catch (const boost::system::system_error&) {
    throw door::tlsMismatch(certificateFile, keyFile);
  }
  if (::SSL_CTX_check_private_key(context->native_handle()) != 1) {
    throw door::tlsMismatch(certificateFile, keyFile);
  }
  return context;
}

}  // namespace web
