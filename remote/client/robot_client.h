// A robot seen from another process: its services, methods, values and changes.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "framework/value/hb_value.h"
#include "framework/xo/object.h"
#include "remote/client/address.h"
#include "remote/client/credentials.h"

namespace remote {

/// Why something asked of a robot did not happen. `what()` is the text for people.
class RemoteError final : public std::runtime_error {
 public:
  enum class Fault {
    kFailed,        ///< the method was called and failed: `kind()`, and its own text unchanged
    kRefused,       ///< the robot did not call anything: no such service, a limit, a bad request
    kCancelled,     ///< the caller's token or time-out ended it
    kUnreachable,   ///< nobody answers at that address, or the connection was lost
    kNotARobot,     ///< something else answers there
    kOtherVersion,  ///< a robot that speaks another major version of the protocol
  };

  RemoteError(Fault fault, const std::string& text, std::string kind = {}, std::string advice = {})
      : std::runtime_error(text),
        fFault(fault),
        fKind(std::move(kind)),
        fAdvice(std::move(advice)) {}

  Fault fault() const noexcept { return fFault; }
  /// Whether there is no robot to talk to (the last three).
  bool isNotReached() const noexcept { return fFault >= Fault::kUnreachable; }
  /// Of kFailed: "invalid_argument", "out_of_range", "runtime_error", ... (see `xo::kindOf`).
  const std::string& kind() const noexcept { return fKind; }
  /// What to try; may be empty.
  const std::string& advice() const noexcept { return fAdvice; }

 private:
  Fault fFault;
  std::string fKind;
  std::string fAdvice;
};

/// Ends calls and watches from another thread. Copies share one state. Thread-safe, but not for
/// signal handlers: take signals on a thread.
class CancelToken {
 public:
  CancelToken();
  /// What runs under this token ends with kCancelled, what starts later fails at once.
  void cancel() const;
  bool isCancelled() const;

 private:
  friend class RobotClient;
  friend class ClientContext;
  struct State;
  std::shared_ptr<State> fState;
};

/// When a call's reply is sent.
enum class Completion {
  kReturned,  ///< as soon as the method returned; a future that it returned is let go of
  kFinished,  ///< when the future that it returned ended, or at once when it returned none
};

struct CallOptions {
  Completion completion = Completion::kReturned;
  /// Of the whole call; the robot's method is asked to stop when it is over.
  std::optional<std::chrono::milliseconds> timeout;
  std::optional<CancelToken> cancel;
};

struct CallReply {
  HB::HBValue value;       ///< invalid for a method without a result
  bool hasFuture = false;  ///< the method returned a future
};

struct RobotInfo {
  std::string name;             ///< of the robot's model; "" until `isReady`
  std::string softwareVersion;  ///< "1.0.0"
  int protocolMajor = 0;
  int protocolMinor = 0;
  std::chrono::milliseconds uptime{0};
  bool isReady = false;                                       ///< every module stands
  std::vector<std::string> services;                          ///< ascending
  std::vector<std::string> modules;                           ///< in the order of loading
  std::string role;                                           ///< "operator" or "viewer"
  std::vector<std::pair<std::string, std::uint64_t>> limits;  ///< name and how much is allowed
};

/// A call from outside, as the robot sees it.
struct CallInfo {
  std::uint64_t id = 0;  ///< unique while the robot runs
  std::string client;    ///< as it calls itself
  std::string peer;      ///< "ipv4:127.0.0.1:40112", "unix:"
  std::string service;
  std::string method;
  std::chrono::system_clock::time_point began;
  std::chrono::microseconds duration{0};  ///< so far, or until the method returned
  std::string error;                      ///< the start of its text; "" when it runs or succeeded
};

struct CallList {
  std::vector<CallInfo> running;  ///< in the order of their beginning
  std::vector<CallInfo> ended;    ///< the last ones, oldest first
};

/// A service that stands.
struct ServiceInfo {
  std::string name;
  std::uint64_t generation = 0;  ///< grows each time one of that name is published anew
  bool operator==(const ServiceInfo&) const = default;
};

/// What a watch hands over: first every matching key, then only what changed.
struct WatchBatch {
  bool isSnapshot = false;
  /// Ascending by key. A value too large for a watch (256 KiB) is invalid; reading it gives it.
  std::vector<std::pair<std::string, HB::HBValue>> items;
  std::uint64_t dropped = 0;  ///< batches so far that were merged into later ones
};

/// A service of this process that a robot has; see `RobotClient::lend`. Thread-safe.
class Lending {
 public:
  /// Takes the service back: calls that run are asked to stop and waited for. Not from inside a
  /// call of the service.
  virtual ~Lending() = default;
  /// Whether the robot has it now.
  virtual bool isStanding() const = 0;
  /// Waits until the robot has it no more; false when `milliseconds` passed first.
  virtual bool waitUntilLost(int milliseconds) const = 0;
  /// Why the robot has it no more; "" while it has.
  virtual std::string loss() const = 0;
};

/// A connection to one robot. Thread-safe; calls block the calling thread. Errors of every
/// operation: RemoteError.
class RobotClient {
 public:
  struct Options {
    std::string clientName = "robot-client";  ///< how the robot's logs and pages call this client
    std::chrono::milliseconds timeout{5000};  ///< of connecting, and of every short question
    std::optional<Tls> tls = {};              ///< none: what is sent can be read on its way
    std::string token = {};                   ///< who this is, to robots that ask; "" for none
    bool isInsecureAllowed = false;           ///< the token may travel where others can read it
  };

  /// Connects, and finds out who answers. Errors: kUnreachable, kNotARobot, kOtherVersion, each
  /// with the address; kRefused when the robot does not let this client in; `std::invalid_argument`
  /// for a malformed address or token, or one that others could read on its way;
  /// `std::runtime_error` for a file of authorities that cannot be read.
  static std::unique_ptr<RobotClient> connect(const std::string& address, const Options& options);
  static std::unique_ptr<RobotClient> connect(const std::string& address) {
    return connect(address, Options());
  }
  /// Futures of started calls that run end in error.
  ~RobotClient();
  RobotClient(const RobotClient&) = delete;
  RobotClient& operator=(const RobotClient&) = delete;

  /// The address connected to.
  const Address& address() const;

  RobotInfo info();
  /// Names, ascending.
  std::vector<std::string> services();
  /// The methods that remote callers can use, in the order of publication, overloads included.
  xo::ObjectInfo describe(const std::string& service);
  /// Calls a method; no time limit unless `options` has one.
  CallReply call(const std::string& service, const std::string& method,
                 std::span<const HB::HBValue> args, const CallOptions& options = {});
  /// Calls a method and returns as soon as it returned: its value, or a future that lives on the
  /// robot. Cancelling that future asks the robot's to cancel; dropping it lets go of the robot's;
  /// it ends with the robot's value or error (of its own type), or with RemoteError when the robot
  /// is lost. `options` holds until the method returned; its completion is ignored.
  xo::CallResult start(const std::string& service, const std::string& method,
                       std::span<const HB::HBValue> args, const CallOptions& options = {});
  /// The calls that run, and the last ones.
  CallList calls();
  /// Asks a call, of any client, to stop; false when none of that id runs.
  bool stopCall(std::uint64_t id);

  /// Makes a service of this process one of the robot's, until the result is destroyed or lost.
  /// Its methods run on threads of the lending, several at once; those with local types are left
  /// out. They see their callers' stop requests. Errors: kRefused, such as for a name that is
  /// taken. The client outlives the lending.
  std::unique_ptr<Lending> lend(const std::string& service, xo::ObjectBuilder builder);
  /// Hands all services to `callback`, on this thread, now and after each change; ends as `watch`.
  void watchServices(const std::function<bool(const std::vector<ServiceInfo>&)>& callback,
                     const std::optional<CancelToken>& cancel = std::nullopt);

  /// The value of a key of the robot's memory. Errors: kFailed that names an unknown key.
  HB::HBValue readMemory(const std::string& key);
  /// Hands batches to `callback`, on this thread, until it returns false, or with an error:
  /// kCancelled by the token, kUnreachable when the robot goes. Patterns: see HBMemory's
  /// description ("Face/*").
  void watch(const std::string& pattern, const std::function<bool(const WatchBatch&)>& callback,
             const std::optional<CancelToken>& cancel = std::nullopt);

  struct Connection;  // of the client's own files

 private:
  friend class RemoteSession;
  explicit RobotClient(std::unique_ptr<Connection> connection);
  std::unique_ptr<Connection> fConnection;
};

}  // namespace remote
