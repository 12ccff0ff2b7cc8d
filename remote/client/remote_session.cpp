#include "remote/client/remote_session.h"

#include <algorithm>
#include <set>
#include <utility>

#include "framework/xo/log.h"
#include "framework/xo/os.h"
#include "remote/client/lent_service.h"
#include "remote/client/started_call.h"
#include "remote/client/watched_call.h"
#include "remote/proto/convert.h"
#include "remote/proto/described.h"

namespace remote {
namespace {

const xo::log::Category kLog("remote");

/// How often a lost robot is looked for, and a lost lending offered again.
constexpr std::chrono::milliseconds kRetry{200};

bool isCallerStopped() {
  const auto* const scope = xo::CallScope::current();
  return scope != nullptr && scope->isStopRequested();
}

/// What a session's caller sees of a RemoteError.
[[noreturn]] void rethrowAsLocal(const RemoteError& error) {
  switch (error.fault()) {
    case RemoteError::Fault::kFailed:
      std::rethrow_exception(makeError(error.kind(), error.what()));
    case RemoteError::Fault::kCancelled:
      throw xo::CancelledError(error.what());
    default:
      throw error;
  }
}

class KeptLending final : public Lending {
 public:
  explicit KeptLending(std::shared_ptr<Lender> lender) : fLender(std::move(lender)) {}
  ~KeptLending() override { fLender->close(); }
  bool isStanding() const override { return fLender->isStanding(); }
  bool waitUntilLost(int milliseconds) const override {
    return fLender->waitUntilLost(milliseconds);
  }
  std::string loss() const override { return fLender->loss(); }

 private:
  const std::shared_ptr<Lender> fLender;
};

}  // namespace

struct RemoteSession::Mirrored {
  std::uint64_t generation = 0;
  xo::Ending ending;  // raised when it goes: calls that run are given up
  std::unique_ptr<xo::Session::Registration> registration;
};

std::shared_ptr<RemoteSession> RemoteSession::connect(const std::string& address,
                                                      const Options& options) {
  std::shared_ptr<RemoteSession> session(new RemoteSession(address, options));
  session->fClient = RobotClient::connect(address, options);
  session->fMirror = std::thread([raw = session.get()] { raw->run(); });
  std::unique_lock lock(session->fMutex);
  const bool isMirrored = session->fWake.wait_for(
      lock, options.timeout, [&] { return session->fIsMirrored || !session->fClient; });
  if (isMirrored && session->fIsMirrored) return session;
  lock.unlock();
  throw RemoteError(RemoteError::Fault::kUnreachable,
                    "The robot at " + address + " did not tell its services");
}

RemoteSession::RemoteSession(std::string address, Options options)
    : fAddress(std::move(address)), fOptions(std::move(options)) {}

RemoteSession::~RemoteSession() {
  {
    std::scoped_lock lock(fMutex);
    fIsEnding = true;
    fWake.notify_all();
  }
  fEnd.cancel();
  if (fMirror.joinable()) fMirror.join();
  if (fKeeper.joinable()) fKeeper.join();
}

bool RemoteSession::isConnected() const {
  std::scoped_lock lock(fMutex);
  return fClient != nullptr;
}

std::shared_ptr<RobotClient> RemoteSession::client() const {
  std::scoped_lock lock(fMutex);
  if (fClient) return fClient;
  throw RemoteError(RemoteError::Fault::kUnreachable, "The robot at " + fAddress + " is lost");
}

bool RemoteSession::awaitRetry() {
  std::unique_lock lock(fMutex);
  return !fWake.wait_for(lock, kRetry, [this] { return fIsEnding; });
}

void RemoteSession::run() {
  xo::os::setCurrentThreadName("RobotMirror");
  std::shared_ptr<RobotClient> client = this->client();
  do {
    try {
      if (!client) client = RobotClient::connect(fAddress, fOptions);
      {
        std::scoped_lock lock(fMutex);
        fClient = client;
      }
      follow(client);
    } catch (const std::exception& error) {
      kLog.verbose(error.what());
    }
    std::shared_ptr<RobotClient> lost;
    {
      std::scoped_lock lock(fMutex);
      lost = std::exchange(fClient, nullptr);
      fWake.notify_all();
    }
    fMirrored.clear();
    client.reset();
  } while (awaitRetry());
}

void RemoteSession::follow(const std::shared_ptr<RobotClient>& client) {
  client->watchServices(
      [&](const std::vector<ServiceInfo>& services) { return mirror(client, services); }, fEnd);
}

bool RemoteSession::mirror(const std::shared_ptr<RobotClient>& client,
                           const std::vector<ServiceInfo>& services) {
  std::erase_if(fMirrored, [&](const auto& one) {
    return std::ranges::find(services, ServiceInfo{one.first, one.second->generation}) ==
           services.end();
  });
  for (const auto& [name, generation] : services) {
    if (fMirrored.contains(name)) continue;
    auto one = std::make_unique<Mirrored>();
    one->generation = generation;
    try {
      const xo::ObjectInfo info = client->describe(name);
      const Invoke invoke = [client, name = name, methods = info.methods](
                                std::size_t method, std::span<const HB::HBValue> args) {
        auto& connection = *client->fConnection;
        const auto& row = methods[method];
        try {
          const auto request = makeRequest(name, row.doc.name, args);
          if (row.signature.result.kind == xo::Type::Kind::kFuture) {
            return StartedCall::run(connection, request, {}, isCallerStopped);
          }
          return xo::CallResult{callWatched(connection, request, isCallerStopped), std::nullopt};
        } catch (const RemoteError& error) {
          rethrowAsLocal(error);
        }
      };
      one->registration = fSession.registerService(name, makeDescribed(info, invoke), &one->ending);
    } catch (const RemoteError& error) {
      if (error.isNotReached()) throw;
      continue;  // it went meanwhile; the next message tells
    } catch (const xo::Error& error) {
      kLog.warning(name + " of the robot is not seen here: " + error.what());
    }
    fMirrored.emplace(name, std::move(one));
  }
  std::scoped_lock lock(fMutex);
  fIsMirrored = true;
  fWake.notify_all();
  return !fIsEnding;
}

std::unique_ptr<Lending> RemoteSession::lend(const std::string& service,
                                             xo::ObjectBuilder builder) {
  requireUtf8(service, "The service");
  const auto lender = std::make_shared<Lender>(service, std::move(builder));
  lender->offerTo(*client()->fConnection);
  std::scoped_lock lock(fMutex);
  fLenders.push_back(lender);
  if (!fKeeper.joinable()) fKeeper = std::thread([this] { keepLent(); });
  return std::make_unique<KeptLending>(lender);
}

void RemoteSession::keepLent() {
  xo::os::setCurrentThreadName("LendKeeper");
  while (awaitRetry()) {
    std::shared_ptr<RobotClient> client;
    std::vector<std::shared_ptr<Lender>> lost;
    {
      std::scoped_lock lock(fMutex);
      client = fClient;
      std::erase_if(fLenders, [](const auto& lender) { return lender.expired(); });
      for (const auto& weak : fLenders) {
        if (auto lender = weak.lock()) lost.push_back(std::move(lender));
      }
    }
    std::erase_if(lost, [](const auto& lender) { return lender->isStanding(); });
    if (!client) continue;
    for (const auto& lender : lost) {
      try {
        lender->offerTo(*client->fConnection);
      } catch (const RemoteError& error) {
        kLog.verbose(error.what());
      }
    }
  }
}

std::shared_ptr<xo::Session> connect(const std::string& address,
                                     const RemoteSession::Options& options) {
  const auto session = RemoteSession::connect(address, options);
  return {session, &session->session()};
}

}  // namespace remote
