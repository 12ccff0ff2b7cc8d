// One client's watch of the memory.
#pragma once

#include <memory>
#include <vector>

#include "access/memory_watch.h"
#include "remote/server/stream.h"
#include "tavro/v1/robot.pb.h"

namespace remote {

/// Sends each batch of a MemoryWatch, in parts if it is large, and asks for the next one when it is
/// sent: a client that does not read costs one batch and one message.
class WatchStream final : public Stream<tavro::v1::WatchRequest, tavro::v1::WatchReply> {
 public:
  explicit WatchStream(const door::Access& access) : fAccess(access) {}

 private:
  void opened(const tavro::v1::WatchRequest& request) override;
  void written() override;
  void closed() override {}
  void takeBatch(std::vector<HB::MemoryItem> items);
  void sendPart();

  const door::Access& fAccess;
  door::Access::Place fPlace;
  // Of the batch that is being sent.
  std::vector<HB::MemoryItem> fItems;
  std::size_t fNextItem = 0;
  bool fIsSnapshot = true;
  tavro::v1::WatchReply fMessage;
  std::unique_ptr<door::MemoryWatch> fWatch;
};

}  // namespace remote
