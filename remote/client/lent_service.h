// A service of this process that robots have. For the client's own files.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <span>
#include <string>

#include "framework/xo/object.h"
#include "framework/xo/worker_pool.h"
#include "remote/client/connection.h"

namespace remote {

/// Calls of one lent service that run at once; more wait.
inline constexpr int kLentThreads = 64;

/// The service itself, apart from any connection. Thread-safe.
class LentService {
 public:
  LentService(std::string name, xo::ObjectBuilder builder);

  const std::string& name() const { return fName; }
  const tavro::v1::DescribeServiceReply& offer() const { return fOffer; }
  /// Calls method number `method` of the offer, on this thread. Errors: what it throws.
  xo::CallResult call(std::uint32_t method, std::span<const HB::HBValue> args,
                      xo::StopFlag* stop) const;
  /// Asks running calls to stop, and waits for them; later ones fail.
  void close() { fOwner.close(); }

 private:
  const std::string fName;
  xo::Ending fEnding;
  xo::ObjectOwner fOwner;
  tavro::v1::DescribeServiceReply fOffer;
};

class LendLink;

/// The owner's end: may offer its service again when it was lost.
class Lender final : public Lending {
 public:
  Lender(std::string name, xo::ObjectBuilder builder);
  ~Lender() override;

  /// The service is taken back for good.
  void close();
  /// Errors: RemoteError. One at a time.
  void offerTo(RobotClient::Connection& connection);
  bool isStanding() const override;
  bool waitUntilLost(int milliseconds) const override;
  std::string loss() const override;

 private:
  std::shared_ptr<LendLink> link() const;

  const std::shared_ptr<LentService> fService;
  xo::WorkerPool fWorkers;
  mutable std::mutex fMutex;  // guards all below
  bool fIsClosed = false;
  std::shared_ptr<LendLink> fLink;
};

}  // namespace remote
