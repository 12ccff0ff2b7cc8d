#include "remote/server/server.h"

#include <grpc/grpc.h>
#include <grpc/support/log.h>
#include <grpcpp/ext/proto_server_reflection_plugin.h>
#include <grpcpp/grpcpp.h>
#include <grpcpp/resource_quota.h>
#include <sys/resource.h>

#include <climits>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>

#include "access/access.h"
#include "access/tls_files.h"
#include "framework/xo/log.h"
#include "remote/client/address.h"
#include "remote/server/acceptor.h"
#include "remote/server/crew.h"
#include "remote/server/doorkeeper.h"
#include "remote/server/health.h"
#include "remote/server/robot_service.h"
#include "remote/server/unix_socket.h"

namespace remote {
namespace {

const xo::log::Category kLog("remote");
const xo::log::Category kLibraryLog("gRPC");

constexpr int kMostIdleMs = 10 * 60 * 1000;

/// How long calls that are nearly done have before the server's end cuts them off.
constexpr std::chrono::milliseconds kGrace{100};

/// What the library has to say goes to the robot's log. Its errors are mostly about clients that
/// misbehave.
void logOfLibrary(gpr_log_func_args* message) {
  const auto level = message->severity == GPR_LOG_SEVERITY_ERROR ? xo::log::Level::kVerbose
                                                                 : xo::log::Level::kDebug;
  if (kLibraryLog.isOn(level)) kLibraryLog.write(level, message->message);
}

void prepareLibrary() {
  static const bool isDone = [] {
    // Stays initialised: ending the library with its last user may take ten seconds.
    grpc_init();
    gpr_set_log_function(&logOfLibrary);
    grpc::reflection::InitProtoReflectionServerBuilderPlugin();
    return true;
  }();
  (void)isDone;
}

void setLimits(grpc::ServerBuilder& builder, const door::Limits& limits) {
  builder.SetMaxReceiveMessageSize(static_cast<int>(limits.messageBytes));
  builder.SetMaxSendMessageSize(INT_MAX);
  builder.AddChannelArgument(GRPC_ARG_MAX_CONCURRENT_STREAMS,
                             static_cast<int>(limits.futuresPerClient) * 2);
  builder.AddChannelArgument(GRPC_ARG_MAX_METADATA_SIZE, 8192);
  builder.AddChannelArgument("grpc.server_handshake_timeout_ms", 5000);
  // A client whose machine or network is gone is noticed while it has something under way.
  builder.AddChannelArgument(GRPC_ARG_KEEPALIVE_TIME_MS, 10000);
  builder.AddChannelArgument(GRPC_ARG_KEEPALIVE_TIMEOUT_MS, 2000);
  builder.AddChannelArgument(GRPC_ARG_HTTP2_MIN_RECV_PING_INTERVAL_WITHOUT_DATA_MS, 1000);
  // A connection by which nothing is asked makes room; its client comes back when it has a
  // question.
  builder.AddChannelArgument(GRPC_ARG_MAX_CONNECTION_IDLE_MS, kMostIdleMs);
  // Reflection alone is served synchronously; its one thread has nothing to do but wait.
  using Sync = grpc::ServerBuilder::SyncServerOption;
  builder.SetSyncServerOption(Sync::NUM_CQS, 1);
  builder.SetSyncServerOption(Sync::MIN_POLLERS, 1);
  builder.SetSyncServerOption(Sync::MAX_POLLERS, 1);
  builder.SetSyncServerOption(Sync::CQ_TIMEOUT_MSEC, 3600 * 1000);
  grpc::ResourceQuota quota("robot");
  quota.SetMaxThreads(8);
  builder.SetResourceQuota(quota);
}

}  // namespace

std::size_t affordableConnections(std::size_t wanted, std::size_t ways) {
  rlimit limit{};
  const bool isKnown = ::getrlimit(RLIMIT_NOFILE, &limit) == 0;
  return connectionsFor(wanted, isKnown ? limit.rlim_cur : 0, ways);
}

std::size_t raiseOpenFileLimit() {
  rlimit limit{};
  if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) return 0;
  if (limit.rlim_cur < limit.rlim_max) {
    rlimit raised = limit;
    raised.rlim_cur = limit.rlim_max;
    if (::setrlimit(RLIMIT_NOFILE, &raised) == 0) limit = raised;
  }
  return limit.rlim_cur;
}

struct Server::State {
  State(door::Access& toAccess, const Options& given)
      : access(toAccess),
        options(given),
        service(toAccess, given.softwareVersion, given.reservedNames) {}

  door::Access& access;
  const Options options;
  std::optional<Address> tcp;
  UnixSocketPlace unixPlace;
  std::shared_ptr<Doorkeeper> doorkeeper;  // of the TCP port, if it has one

  RobotService service;
  HealthService health{service.endables()};
  std::unique_ptr<grpc::ServerCompletionQueue> queue;
  std::unique_ptr<grpc::Server> server;
  std::unique_ptr<Crew> crew;
  std::unique_ptr<Acceptor> acceptor;

  std::mutex mutex;
  std::condition_variable wake;
  bool areCallsOver = false;  // the last copy of what calls and streams hold is gone
  bool isOver = false;
  std::thread ending;

  void listen();
  void claimTcpAddress();
  std::shared_ptr<grpc::ServerCredentials> protectTcp();
  void claimUnixPath();
  std::vector<Acceptor::Way> openWays(grpc::ServerBuilder& builder);
  void beginEnd();
  void end();
};

void Server::State::claimUnixPath() {
  if (options.unixPath.empty()) return;
  try {
    (void)parseAddress("unix:" + options.unixPath);
    unixPlace = UnixSocketPlace(options.unixPath);
  } catch (const UnixSocketPlace::Taken& taken) {
    if (!options.isUnixPathOptional) throw;
    kLog.warning(std::string(taken.what()) + "; this one is reached by its port alone");
  }
}

void Server::State::claimTcpAddress() {
  tcp = parseAddress(options.listen);
  if (tcp->kind != Address::Kind::kTcp) {
    throw std::invalid_argument("Cannot listen on " + options.listen +
                                ": a Unix socket is named by its path, as another option");
  }
  if (tcp->host == "localhost") tcp->host = "127.0.0.1";
}

std::shared_ptr<grpc::ServerCredentials> Server::State::protectTcp() {
  door::requireBothOrNone(options.tlsCertificate, options.tlsKey);
  const bool hasTls = !options.tlsKey.empty();
  const auto verdict = door::judge({.isLocal = tcp->isLocal(),
                                    .hasTls = hasTls,
                                    .hasTokens = !options.tokens.empty(),
                                    .isInsecureAllowed = options.isInsecureAllowed});
  if (!verdict.refusal.empty()) {
    throw std::invalid_argument("Cannot listen on " + options.listen + ": " + verdict.refusal);
  }
  if (!verdict.warning.empty()) kLog.warning(verdict.warning + " (" + tcp->text() + ")");
  if (!options.tokens.empty()) {
    doorkeeper =
        std::make_shared<Doorkeeper>(door::Tokens::readFile(options.tokens), verdict.needsToken);
  }
  return hasTls ? tlsCredentials(options.tlsCertificate, options.tlsKey, doorkeeper)
                : plaintextCredentials(doorkeeper);
}

std::vector<Acceptor::Way> Server::State::openWays(grpc::ServerBuilder& builder) {
  using Type = grpc::ServerBuilder::experimental_type::ExternalConnectionType;
  std::vector<Acceptor::Way> ways;
  const auto add = [&](Descriptor listener,
                       const std::shared_ptr<grpc::ServerCredentials>& credentials, bool isPlain) {
    ways.push_back(
        {std::move(listener),
         builder.experimental().AddExternalConnectionAcceptor(Type::FROM_FD, credentials),
         isPlain});
  };
  if (tcp) {
    const auto credentials = protectTcp();
    add(listenTcp(*tcp), credentials, options.tlsKey.empty());
    tcp->port = portOf(ways.back().listener);
  }
  if (!unixPlace.path().empty()) {
    add(listenUnix(unixPlace.path()), grpc::InsecureServerCredentials(), true);
  }
  return ways;
}

void Server::State::listen() {
  prepareLibrary();
  if (!options.listen.empty()) claimTcpAddress();
  claimUnixPath();
  if (!tcp && unixPlace.path().empty()) {
    throw std::invalid_argument("There is no address to listen on");
  }
  grpc::ServerBuilder builder;
  setLimits(builder, access.limits());
  auto ways = openWays(builder);
  builder.RegisterService(&service);
  builder.RegisterService(&health);
  queue = builder.AddCompletionQueue();
  server = builder.BuildAndStart();
  if (!server) {
    queue->Shutdown();
    throw std::runtime_error("Cannot listen on " +
                             (tcp ? tcp->text() : "unix:" + unixPlace.path()));
  }
  const std::shared_ptr<void> counted(nullptr, [this](void*) {
    std::scoped_lock lock(mutex);
    areCallsOver = true;
    wake.notify_all();
  });
  service.begin(queue.get(), counted);
  health.begin(queue.get(), counted);
  const auto& limits = access.limits();
  crew = std::make_unique<Crew>(*queue, static_cast<int>(limits.mostCalls()) + 2, "remote");
  const std::size_t most = affordableConnections(limits.connections, ways.size());
  acceptor = std::make_unique<Acceptor>(std::move(ways), most);
}

void Server::State::beginEnd() {
  std::scoped_lock lock(mutex);
  if (!ending.joinable()) ending = std::thread([this] { end(); });
}

void Server::State::end() {
  acceptor.reset();
  service.end();
  server->Shutdown(std::chrono::system_clock::now() + kGrace);
  {
    std::unique_lock lock(mutex);
    wake.wait(lock, [this] { return areCallsOver; });
  }
  queue->Shutdown();
  crew.reset();
  std::scoped_lock lock(mutex);
  isOver = true;
  wake.notify_all();
}

Server::Server(door::Access& access, Options options)
    : fState(std::make_unique<State>(access, options)) {
  fState->listen();
}

Server::~Server() {
  fState->beginEnd();
  fState->ending.join();
}

int Server::port() const { return fState->tcp ? fState->tcp->port : 0; }

std::string Server::tcpAddress() const { return fState->tcp ? fState->tcp->text() : ""; }

const std::string& Server::unixPath() const { return fState->unixPlace.path(); }

std::size_t Server::underWay() const { return fState->service.endables().size(); }

void Server::setReady(const std::string& robotName) {
  fState->service.setReady(robotName);
  fState->health.setReady();
}

void Server::setModules(std::function<std::vector<std::string>()> modules) {
  fState->service.setModules(std::move(modules));
}

bool Server::stop(std::chrono::milliseconds deadline) {
  fState->beginEnd();
  std::unique_lock lock(fState->mutex);
  return fState->wake.wait_for(lock, deadline, [this] { return fState->isOver; });
}

}  // namespace remote
