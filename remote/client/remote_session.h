// A robot in another process, seen as this process's own session.
#pragma once

#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "framework/xo/session.h"
#include "remote/client/robot_client.h"

namespace remote {

class Lender;

/// Mirrors the robot's services in a session: code that uses `xo::Session`, `HB::HBBroker` or
/// `HB::HBProxy` runs unchanged. Thread-safe.
///
///     connected --robot lost--> alone --robot back, looked for every 200 ms--> connected
///
/// Services come and go as they do on the robot; while it is lost all handles are dead, and they
/// live again when it is back. A call blocks its thread until the robot's method returned; a stop
/// request of the calling thread (`xo::CallScope`) is passed on and ends the call as cancelled. A
/// method whose signature says so returns a future that lives on the robot (`RobotClient::start`).
/// What methods throw comes back as the type that it had. A call that the robot refuses, or that
/// loses it, fails with `std::runtime_error`.
class RemoteSession {
 public:
  using Options = RobotClient::Options;

  /// Connects, and returns when the services that stand are mirrored. Errors: as
  /// `RobotClient::connect`.
  static std::shared_ptr<RemoteSession> connect(const std::string& address,
                                                const Options& options = {});
  /// Handles go dead. Not from inside a call, or a callback of a future, of this session.
  ~RemoteSession();
  RemoteSession(const RemoteSession&) = delete;
  RemoteSession& operator=(const RemoteSession&) = delete;

  /// Services that are registered here stay in this process; see `lend`.
  xo::Session& session() { return fSession; }
  bool isConnected() const;
  /// The robot's words, for what is no call of a service. Errors: RemoteError, such as while it is
  /// lost.
  std::shared_ptr<RobotClient> client() const;

  /// As `RobotClient::lend`; lent again, within a quarter of a second, whenever the robot is back
  /// or has let go of it. The session outlives the lending. Errors: RemoteError.
  std::unique_ptr<Lending> lend(const std::string& service, xo::ObjectBuilder builder);

 private:
  /// A service of the robot, as it stands here.
  struct Mirrored;

  RemoteSession(std::string address, Options options);
  void run();
  void follow(const std::shared_ptr<RobotClient>& client);
  bool mirror(const std::shared_ptr<RobotClient>& client, const std::vector<ServiceInfo>& services);
  void keepLent();
  bool awaitRetry();

  const std::string fAddress;
  const Options fOptions;
  xo::Session fSession;
  std::map<std::string, std::unique_ptr<Mirrored>> fMirrored;  // of the thread below alone

  mutable std::mutex fMutex;  // guards all below; nothing is called under it
  std::condition_variable fWake;
  bool fIsEnding = false;
  bool fIsMirrored = false;
  CancelToken fEnd;
  std::shared_ptr<RobotClient> fClient;  // null while the robot is lost
  std::vector<std::weak_ptr<Lender>> fLenders;
  std::thread fMirror;
  std::thread fKeeper;  // from the first lending on
};

/// The session of `RemoteSession::connect`, which lives as long as the session is held.
std::shared_ptr<xo::Session> connect(const std::string& address,
                                     const RemoteSession::Options& options = {});

}  // namespace remote
