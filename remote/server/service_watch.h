// One client's watch of which services stand.
#pragma once

#include <memory>
#include <mutex>

#include "access/access.h"
#include "remote/server/stream.h"
#include "tavro/v1/robot.pb.h"

namespace remote {

/// Sends all services that stand, and all again after each change; changes during a message become
/// one more message.
class ServiceWatch final
    : public Stream<tavro::v1::WatchServicesRequest, tavro::v1::WatchServicesReply> {
 public:
  explicit ServiceWatch(const door::Access& access) : fAccess(access) {}

 private:
  void opened(const tavro::v1::WatchServicesRequest& request) override;
  void written() override;
  void closed() override;
  void changed();
  void sendAll();

  const door::Access& fAccess;
  door::Access::Place fPlace;
  std::mutex fMutex;  // guards the flags; nothing is called under it
  bool fIsSending = true;
  bool fIsDirty = false;
  xo::Session::Subscription fSubscription;  // while the stream is open
};

}  // namespace remote
