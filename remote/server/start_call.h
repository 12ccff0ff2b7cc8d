// One call of `Start`: a method, and then perhaps the future that it returned. Holds no thread
// while the future runs.
#pragma once

#include <mutex>
#include <optional>

#include "access/access.h"
#include "remote/server/duplex.h"
#include "tavro/v1/robot.pb.h"

namespace remote {

///     expected --call--> method runs --returned a future--> future runs --ended--> told
///                             |                                  |
///                        told, or let go of             let go of: the client is gone
///
/// While the method runs, a cancellation or the loss of the client raises its stop flag; later a
/// cancellation asks the future to cancel, and the loss of the client only lets go of it.
class StartCall final : public Duplex<tavro::v1::StartRequest, tavro::v1::StartReply> {
 public:
  explicit StartCall(door::Access& access) : fAccess(access) {}

  void endWithServer() override;

 private:
  void opened() override;
  void received(tavro::v1::StartRequest request) override;
  void gone() override;
  void run(const tavro::v1::CallRequest& request);
  void follow(xo::Future<HB::HBValue> future);
  void cancel();
  void finished();
  void tell(const door::Outcome& outcome);

  door::Access& fAccess;
  bool fIsBegun = false;  // by the reading thread alone
  xo::StopFlag fStop;

  std::mutex fMutex;  // guards all below; nothing is called under it
  bool fIsGone = false;
  bool fIsCancelWanted = false;
  std::optional<xo::Future<HB::HBValue>> fFuture;
  door::Access::Place fPlace;  // from the first on: a stream that says nothing counts too
};

}  // namespace remote
