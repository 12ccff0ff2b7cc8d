// Where what is said to a page goes: its WebSocket, or a test.
#pragma once

#include <cstddef>
#include <string>

namespace web {

/// With so many bytes waiting to be sent no request is read, no frame and no line of the log added.
inline constexpr std::size_t kMostWaiting = 256 * 1024;

/// On the page's thread alone.
class Outlet {
 public:
  /// Queues a message. Nothing is sent after `goodbye`.
  virtual void send(std::string message) = 0;
  /// Says why, sends what is queued and closes.
  virtual void goodbye(const std::string& why) = 0;
  /// Bytes that wait to be sent.
  virtual std::size_t waiting() const = 0;

 protected:
  ~Outlet() = default;
};

}  // namespace web
