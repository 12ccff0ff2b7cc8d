// The place of a Unix socket: made ready for one robot, and only one.
#pragma once

#include <stdexcept>
#include <string>

namespace remote {

/// Holds a path for a Unix socket: its directory exists, no other robot has it, and what a robot
/// that is gone left there is removed. Beside the socket stands "PATH.lock", locked while this
/// lives; it is the lock that counts, so two robots that start at once cannot both get it.
class UnixSocketPlace {
 public:
  /// The path belongs to a running robot.
  class Taken final : public std::runtime_error {
   public:
    using std::runtime_error::runtime_error;
  };

  UnixSocketPlace() = default;
  /// Errors: Taken; `std::runtime_error` that names the path and the reason, as when something that
  /// is no socket stands there.
  explicit UnixSocketPlace(const std::string& path);
  /// Removes the socket.
  ~UnixSocketPlace();
  UnixSocketPlace(UnixSocketPlace&& other) noexcept;
  UnixSocketPlace& operator=(UnixSocketPlace&& other) noexcept;

  const std::string& path() const { return fPath; }

 private:
  std::string fPath;
  int fLock = -1;
};

}  // namespace remote
