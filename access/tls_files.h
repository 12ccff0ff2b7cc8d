// The certificate and key by which every way into the robot encrypts what is sent.
#pragma once

#include <stdexcept>
#include <string>

namespace door {

/// What stands in two PEM files.
struct TlsFiles {
  std::string certificate;
  std::string key;
};

/// Errors: `std::runtime_error` that names a file that cannot be read or is no PEM.
TlsFiles readTlsFiles(const std::string& certificateFile, const std::string& keyFile);

/// The error of two files that do not fit, naming both.
std::runtime_error tlsMismatch(const std::string& certificateFile, const std::string& keyFile);

/// Errors: `std::invalid_argument` unless both files are named, or none.
void requireBothOrNone(const std::string& certificateFile, const std::string& keyFile);

}  // namespace door
