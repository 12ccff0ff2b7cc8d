// A socket that connections come in by, and in words why there is none: gRPC itself only says that
// it could not listen.
#pragma once

#include <string>
#include <utility>

#include "remote/client/address.h"

namespace remote {

/// Owns a file descriptor.
class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int file) : fFile(file) {}
  ~Descriptor() { reset(); }
  Descriptor(Descriptor&& other) noexcept : fFile(std::exchange(other.fFile, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(fFile, other.fFile);
    return *this;
  }
  int get() const { return fFile; }
  int release() { return std::exchange(fFile, -1); }
  void reset();

 private:
  int fFile = -1;
};

/// Listens at a TCP address of numbers. Errors: `std::runtime_error` that names it and the reason.
Descriptor listenTcp(const Address& address);

/// The port in use of a TCP socket.
int portOf(const Descriptor& listener);

/// Listens at the path of a Unix socket, for this user alone. Errors: as above.
Descriptor listenUnix(const std::string& path);

}  // namespace remote
