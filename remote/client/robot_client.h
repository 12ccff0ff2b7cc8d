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
#include "framework/xo/method.h"
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
  bool isReady = false;               ///< every module stands
  std::vector<std::string> services;  ///< ascending
};

/// What a watch hands over: first every matching key, then only what changed.
struct WatchBatch {
  bool isSnapshot = false;
  std::vector<std::pair<std::string, HB::HBValue>> items;  ///< ascending by key
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
  };

  /// Connects, and finds out who answers. Errors: kUnreachable, kNotARobot, kOtherVersion, each
  /// with the address; kRefused when the robot does not let this client in; `std::invalid_argument`
  /// for a malformed address or token; `std::runtime_error` for a file of authorities that cannot
  /// be read.
  static std::unique_ptr<RobotClient> connect(const std::string& address, Options options);
  static std::unique_ptr<RobotClient> connect(const std::string& address) {
    return connect(address, Options());
  }
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
  /// The value of a key of the robot's memory. Errors: kFailed that names an unknown key.
  HB::HBValue readMemory(const std::string& key);
  /// Hands batches to `callback`, on this thread, until it returns false, or with an error:
  /// kCancelled by the token, kUnreachable when the robot goes. Patterns: see HBMemory's
  /// description ("Face/*").
  void watch(const std::string& pattern, const std::function<bool(const WatchBatch&)>& callback,
             const std::optional<CancelToken>& cancel = std::nullopt);

 private:
  struct Connection;
  explicit RobotClient(std::unique_ptr<Connection> connection);
  std::unique_ptr<Connection> fConnection;
};

}  // namespace remote
