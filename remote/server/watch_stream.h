// One client's watch of the memory.
#pragma once

#include <memory>

#include "access/memory_watch.h"
#include "remote/server/stream.h"
#include "tavro/v1/robot.pb.h"

namespace remote {

/// Sends each part of a MemoryWatch's batches as a message, and asks for the next one when it is
/// sent: a client that does not read costs one message.
class WatchStream final : public Stream<tavro::v1::WatchRequest, tavro::v1::WatchReply> {
 public:
  explicit WatchStream(const door::Access& access) : fAccess(access) {}

 private:
  void opened(const tavro::v1::WatchRequest& request) override;
  void written() override;
  void closed() override {}
  void sendPart(const HB::MemoryChanges& part);

  const door::Access& fAccess;
  door::Access::Place fPlace;
  bool fIsSnapshot = true;
  std::unique_ptr<door::MemoryWatch> fWatch;
};

}  // namespace remote
