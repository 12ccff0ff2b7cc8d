#include "access/tls_files.h"

#include <fstream>
#include <sstream>

namespace door {
namespace {

std::string readPem(const std::string& path, const char* what, const std::string& mark) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  if (!file || !(text << file.rdbuf())) {
    throw std::runtime_error(std::string("The ") + what + " " + path + " cannot be read");
  }
  if (text.str().find(mark) == std::string::npos) {
    throw std::runtime_error(std::string("The ") + what + " " + path +
                             " is no PEM file: there is no '" + mark + "' in it");
  }
  return text.str();
}

}  // namespace

TlsFiles readTlsFiles(const std::string& certificateFile, const std::string& keyFile) {
  TlsFiles files;
  files.key = readPem(keyFile, "TLS key", "PRIVATE KEY-----");
  files.certificate = readPem(certificateFile, "TLS certificate", "-----BEGIN CERTIFICATE-----");
  return files;
}

std::runtime_error tlsMismatch(const std::string& certificateFile, const std::string& keyFile) {
  return std::runtime_error("TLS cannot be used: " + certificateFile +
                            " is not the certificate of the key " + keyFile +
                            ", or one of them is damaged");
}

void requireBothOrNone(const std::string& certificateFile, const std::string& keyFile) {
  if (certificateFile.empty() != keyFile.empty()) {
    throw std::invalid_argument("TLS needs both a certificate and its key (--tls-cert, --tls-key)");
  }
}

}  // namespace door
