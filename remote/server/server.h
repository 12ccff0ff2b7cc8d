// The robot's gRPC door: listens on a TCP port and a Unix socket, and hands what comes in to
// Access. Owns its threads; knows services, methods and values, no service in particular.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace door {
class Access;
}

namespace remote {

/// Raises this process's limit of open files as far as it is allowed, so that many idle connections
/// do not end its listening. Returns the limit in force. Call once at start.
std::size_t raiseOpenFileLimit();

/// How many connections each of `ways` (TCP, Unix socket) may have at once: as many as wanted, or
/// as the open files allowed now suffice for.
std::size_t affordableConnections(std::size_t wanted, std::size_t ways);

/// Thread-safe.
class Server {
 public:
  struct Options {
    /// "HOST:PORT", port 0 for a free one; "" for none. An address that other machines reach needs
    /// TLS and tokens.
    std::string listen = "127.0.0.1:5480";
    /// PEM files for TLS on that address; both or none.
    std::string tlsCertificate;
    std::string tlsKey;
    /// A file that `door::Tokens` reads; "" for none.
    std::string tokens;
    /// Allows an address that other machines reach without TLS or tokens, with a warning in the
    /// log.
    bool isInsecureAllowed = false;
    /// Path of the Unix socket; "" for none.
    std::string unixPath;
    /// When another robot listens at `unixPath`: go on without it (a warning in the log) instead of
    /// failing.
    bool isUnixPathOptional = false;
    std::string softwareVersion = "1.0.0";
    /// Services that clients cannot lend before `setReady`: the robot's own take the names.
    std::vector<std::string> reservedNames = {};
  };

  /// Starts listening. `access` outlives the server. Errors: `std::invalid_argument` for an address
  /// that is malformed or not protected as it must be; `std::runtime_error` when it cannot be
  /// listened on, each naming the address, and for a fault in a file, naming that.
  Server(door::Access& access, Options options);
  /// `stop`, then waits for calls that are still running.
  ~Server();
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  /// The TCP port in use; 0 when there is none.
  int port() const;
  /// "127.0.0.1:5480", or "" without TCP.
  std::string tcpAddress() const;
  /// The Unix socket in use, or "".
  const std::string& unixPath() const;

  /// Streams that are open, and calls whose futures run.
  std::size_t underWay() const;

  /// Tells clients that every module stands, and the robot's name.
  void setReady(const std::string& robotName);
  /// Where the names of the robot's modules come from, for GetInfo: `modules` may be called from
  /// any thread until the server is gone.
  void setModules(std::function<std::vector<std::string>()> modules);

  /// Stops listening, ends streams, asks running calls to stop and cancels the futures that clients
  /// wait for. Returns after at most `deadline`; false when calls are still running then: their
  /// replies go nowhere, but their threads are still inside services. Later calls of it wait again.
  bool stop(std::chrono::milliseconds deadline = std::chrono::milliseconds(800));

 private:
  struct State;
  std::unique_ptr<State> fState;
};

}  // namespace remote
