// One client's watch of the memory, as a stream of gRPC's callback API. Owns itself from `open`
// until gRPC is done with it.
#pragma once

#include <grpcpp/grpcpp.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "access/memory_watch.h"
#include "remote/server/endables.h"
#include "tavro/v1/robot.grpc.pb.h"

namespace remote {

///     idle --batch--> writing --written, more--> writing --written, no more--> idle
///       |                |
///       +--any end-------+--write over, end wanted--> finished
///
/// Between two messages at most one batch waits, so a client that does not read costs no more.
class WatchStream final : public grpc::ServerWriteReactor<tavro::v1::WatchReply>,
                          public Endable,
                          public std::enable_shared_from_this<WatchStream> {
 public:
  /// Opens a stream and hands it to gRPC. `access` and `endables` outlive it; `counted` is held
  /// while it lives.
  static WatchStream* open(grpc::CallbackServerContext* context, const std::string& pattern,
                           const door::Access& access, Endables& endables,
                           std::shared_ptr<void> counted);
  WatchStream(grpc::CallbackServerContext* context, Endables& endables,
              std::shared_ptr<void> counted);

  void OnWriteDone(bool ok) override;
  void OnCancel() override;
  void OnDone() override;
  void endWithServer() override;

 private:
  enum class Phase { kIdle, kWriting, kFinished };
  void begin(const std::string& pattern, const door::Access& access);
  void takeBatch(std::vector<HB::MemoryItem> items);
  void writeSome();
  void end(const grpc::Status& status);

  grpc::CallbackServerContext* const fContext;
  Endables& fEndables;
  const std::shared_ptr<void> fCounted;
  std::shared_ptr<WatchStream> fSelf;

  std::mutex fMutex;  // phase and wanted end; gRPC is never called under it
  Phase fPhase = Phase::kIdle;
  std::unique_ptr<grpc::Status> fWantedEnd;

  // Of whoever is in phase kWriting.
  std::vector<HB::MemoryItem> fItems;
  std::size_t fNextItem = 0;
  bool fIsSnapshot = true;
  tavro::v1::WatchReply fMessage;

  std::unique_ptr<door::MemoryWatch> fWatch;
};

}  // namespace remote
