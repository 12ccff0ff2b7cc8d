#include "remote/server/health.h"

#include <optional>
#include <utility>
#include <vector>

namespace remote {

/// Sends the state, and again when it changed.
class HealthService::Watcher final : public Stream<Request, Response> {
 public:
  explicit Watcher(HealthService& health) : fHealth(health) {}

  /// Sends the state unless the client knows it, or is just being told.
  void tell() {
    {
      std::scoped_lock lock(fToldMutex);
      const auto now = fHealth.statusOfService(fService);
      if (fTold == now) return;
      fResponse.set_status(now);
      if (!send(fResponse)) return;  // `written` comes back to it
      fTold = now;
    }
  }

 private:
  void opened(const Request& request) override {
    fPlace = fHealth.fAccess.takeWatchPlace(clientOf(context()));
    fService = request.service();
    {
      std::scoped_lock lock(fHealth.fMutex);
      fHealth.fWatchers.emplace(this, std::static_pointer_cast<Watcher>(shared_from_this()));
    }
    tell();
  }
  void written() override { tell(); }
  void closed() override {
    std::scoped_lock lock(fHealth.fMutex);
    fHealth.fWatchers.erase(this);
  }

  HealthService& fHealth;
  door::Access::Place fPlace;
  std::string fService;
  std::mutex fToldMutex;
  std::optional<Response::ServingStatus> fTold;
  Response fResponse;
};

HealthService::Response::ServingStatus HealthService::statusOfService(
    const std::string& service) const {
  if (service.empty()) return Response::SERVING;
  if (service != "tavro.v1.Robot") return Response::SERVICE_UNKNOWN;
  return fIsReady ? Response::SERVING : Response::NOT_SERVING;
}

void HealthService::begin(grpc::ServerCompletionQueue* queue,
                          const std::shared_ptr<void>& counted) {
  fCheck.ask = [this, queue](grpc::ServerContext* context, Request* request,
                             grpc::ServerAsyncResponseWriter<Response>* responder, void* tag) {
    RequestCheck(context, request, responder, queue, queue, tag);
  };
  fCheck.handle = [this](const Exchange<Request, Response>::Pointer& exchange) {
    const auto status = statusOfService(exchange->request.service());
    exchange->reply.set_status(status);
    exchange->sendReply(status == Response::SERVICE_UNKNOWN
                            ? grpc::Status(grpc::StatusCode::NOT_FOUND, "No such service")
                            : grpc::Status::OK);
  };
  fWatch.ask = [this, queue](grpc::ServerContext* context, Request* request,
                             grpc::ServerAsyncWriter<Response>* writer, void* tag) {
    RequestWatch(context, request, writer, queue, queue, tag);
  };
  fWatch.make = [this] { return std::make_shared<Watcher>(*this); };
  Exchange<Request, Response>::expect(fCheck, counted);
  Stream<Request, Response>::expect(fWatch, fEndables, counted);
}

void HealthService::setReady() {
  fIsReady = true;
  std::vector<std::shared_ptr<Watcher>> watchers;
  {
    std::scoped_lock lock(fMutex);
    for (const auto& [unused, weak] : fWatchers) {
      if (auto watcher = weak.lock()) watchers.push_back(std::move(watcher));
    }
  }
  for (const auto& watcher : watchers) watcher->tell();
}

}  // namespace remote
