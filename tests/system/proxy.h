// A way to a robot that can break: a bad network between two processes.
#pragma once

#include <list>
#include <string>
#include <thread>
#include <utility>

#include "remote/test/raw_socket.h"

namespace tests {

/// Passes bytes between clients and a port of this machine, on a thread of its own.
class Proxy {
 public:
  explicit Proxy(int robotPort);
  ~Proxy();
  Proxy(const Proxy&) = delete;
  Proxy& operator=(const Proxy&) = delete;

  std::string address() const { return "127.0.0.1:" + std::to_string(fListener.port()); }
  /// Nothing is passed on or taken any more; all connections stay open. Once.
  void fallSilent();
  /// All connections end without a goodbye.
  void cut();

 private:
  void run();
  /// False when one of the two has ended.
  static bool pass(const remote::RawSocket& from, const remote::RawSocket& to);

  const int fRobotPort;
  const remote::RawSocket fListener = remote::RawSocket::listenTcp();
  remote::RawSocket fEnd;  // is closed when the thread shall end
  struct Link {
    remote::RawSocket client;
    remote::RawSocket robot;
  };
  std::list<Link> fLinks;  // of the thread, until it is joined
  std::thread fThread;
};

}  // namespace tests
