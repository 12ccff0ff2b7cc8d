// Takes connections in and counts them, so that idle ones cannot use up the robot's files.
#pragma once

#include <grpcpp/grpcpp.h>

#include <chrono>
#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "remote/server/listening_socket.h"

namespace remote {

/// One thread hands each connection to gRPC, up to a number for each way in. Who comes then is told
/// which limit it is, in HTTP/2's words (GOAWAY), and turned away; over TLS it is only turned away.
/// It sleeps while nobody comes or goes, but for a look every few seconds at those who are in.
///
/// A connection belongs to gRPC. A second descriptor of it is kept here and tells when it is over.
/// One that takes nothing of what it is sent for longer than gRPC waits for an answer is ended: its
/// client has stopped, and gRPC's own question would wait unsent for ever.
class Acceptor {
 public:
  /// One way in.
  struct Way {
    Descriptor listener;
    std::unique_ptr<grpc::experimental::ExternalConnectionAcceptor> taker;
    bool isPlaintext = true;
    std::size_t open = 0;
  };

  /// The server behind the takers runs. Errors: `std::system_error`.
  Acceptor(std::vector<Way> ways, std::size_t mostConnections);
  /// Stops taking connections in; those that are open are left to gRPC.
  ~Acceptor();
  Acceptor(const Acceptor&) = delete;
  Acceptor& operator=(const Acceptor&) = delete;

 private:
  void run();
  /// False: errno tells why.
  bool watch(int file, unsigned events) const;
  void takeIn(Way& way);
  void turnAway(const Way& way, Descriptor connection, const std::string& why);
  void ended(int file);
  void look();
  int millisecondsToLook() const;
  /// Not each time.
  void warn(const std::string& text);

  const std::size_t fMost;
  std::vector<Way> fWays;
  const Descriptor fPoll;
  const Descriptor fEnd;
  struct Open {
    Descriptor second;
    Way* way = nullptr;
    int unsent = 0;     // bytes at the last look
    int looksFull = 0;  // in a row, with nothing taken between them
    /// It has been full, and its client has taken nothing, for some looks.
    bool isStuck(int file);
  };
  std::map<int, Open> fConnections;                   // by the second descriptor
  std::chrono::steady_clock::time_point fNextLook{};  // while there are connections
  std::chrono::steady_clock::time_point fLastWarning{};
  std::thread fThread;
};

/// How many connections each of `ways` may have, so that as many files as are allowed suffice.
std::size_t connectionsFor(std::size_t wanted, std::size_t openFiles, std::size_t ways);

}  // namespace remote
