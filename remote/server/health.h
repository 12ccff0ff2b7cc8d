// The standard answer to "do you serve?", on the robot's own threads.
#pragma once

#include <grpcpp/grpcpp.h>

#include <atomic>
#include <map>
#include <memory>
#include <mutex>

#include "access/access.h"
#include "grpc/health/v1/health.grpc.pb.h"
#include "remote/server/endables.h"
#include "remote/server/exchange.h"
#include "remote/server/stream.h"

namespace remote {

using HealthBase = grpc::health::v1::Health::WithAsyncMethod_Check<
    grpc::health::v1::Health::WithAsyncMethod_Watch<grpc::health::v1::Health::Service>>;

/// The server as a whole serves from the start, the robot's service once it is ready. Who follows
/// that has a watch like any other. Thread-safe once begun.
class HealthService final : public HealthBase {
 public:
  HealthService(const door::Access& access, Endables& endables)
      : fAccess(access), fEndables(endables) {}

  void begin(grpc::ServerCompletionQueue* queue, const std::shared_ptr<void>& counted);
  /// From now on the robot's service serves; watchers learn of it.
  void setReady();

 private:
  using Request = grpc::health::v1::HealthCheckRequest;
  using Response = grpc::health::v1::HealthCheckResponse;
  class Watcher;
  Response::ServingStatus statusOfService(const std::string& service) const;

  const door::Access& fAccess;
  Endables& fEndables;
  std::atomic<bool> fIsReady{false};
  std::mutex fMutex;
  std::map<Watcher*, std::weak_ptr<Watcher>> fWatchers;
  Exchange<Request, Response>::Method fCheck;
  Stream<Request, Response>::Method fWatch;
};

}  // namespace remote
