// The robot's page: serves its files and one WebSocket, by which pages see and drive the robot.
// Owns its threads; knows services, methods, values and memory keys, no LED.
#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace door {
class Access;
}

namespace web {

class LogTail;
struct Patience;

/// Thread-safe.
class Server {
 public:
  struct Options {
    std::string host = "127.0.0.1";  ///< an address of numbers, without brackets
    int port = 0;                    ///< 0 for a free one
    std::string name = "127.0.0.1";  ///< the host as it was named: browsers may use it
    bool isLocal = true;             ///< only processes of this machine get there
    /// PEM files for TLS; both or none.
    std::string tlsCertificate;
    std::string tlsKey;
    /// A file that `door::Tokens` reads; "" for none.
    std::string tokens;
    /// Allows an address that other machines reach without TLS or tokens, with a warning.
    bool isInsecureAllowed = false;
    std::filesystem::path folder;   ///< of the page's files
    std::size_t connections = 256;  ///< at once; who comes then is turned away
    std::string softwareVersion = "1.0.0";
    LogTail* log = nullptr;  ///< what pages see of the log; outlives the server
  };

  /// Starts listening. `access` outlives the server. Errors: `std::invalid_argument` for an address
  /// that is not protected as it must be; `std::runtime_error` when it cannot be listened on, each
  /// naming the address and the option, and for a fault in a file, naming that.
  Server(door::Access& access, Options options);
  Server(door::Access& access, Options options, const Patience& patience);
  /// `stop`, then waits for calls that are still running.
  ~Server();
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  int port() const;
  /// "http://127.0.0.1:5481"
  std::string url() const;
  /// How many connections are open.
  std::size_t connections() const;

  /// Tells pages that every module stands, and the robot's name.
  void setReady(const std::string& robotName);
  /// Where the names of the robot's modules come from; called on the page's thread until `stop`.
  void setModules(std::function<std::vector<std::string>()> modules);

  /// Stops listening, says goodbye to pages and asks their calls to stop. Returns after at most
  /// `deadline`; false when calls are still running then: their threads are still inside services.
  bool stop(std::chrono::milliseconds deadline = std::chrono::milliseconds(800));

 private:
  struct State;
  std::unique_ptr<State> fState;
};

}  // namespace web
