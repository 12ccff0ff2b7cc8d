// One service that a client lends to the robot, for as long as its stream lasts.
#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <string>

#include "access/access.h"
#include "remote/server/duplex.h"
#include "remote/server/lend_watch.h"
#include "remote/server/lent_calls.h"
#include "tavro/v1/robot.pb.h"

namespace remote {

///     expected --offer--> standing --client gone | no pong | server ends--> lost
///
/// While it stands, the session has the service, and calls of it go out as messages. When it is
/// lost, calls under way fail, handles go dead, and the name is free again.
class LendStream final : public Duplex<tavro::v1::LendRequest, tavro::v1::LendReply>,
                         public Pinged {
 public:
  /// What all lendings share; outlives them.
  struct House {
    door::Access& access;
    LendWatch watch;
    std::vector<std::string> reserved;  // names that the robot's own modules take as they start
    std::atomic<bool> isReady{false};   // they have them: what is free then is free
  };
  explicit LendStream(House& house) : fHouse(house) {}

  void endWithServer() override;
  std::chrono::steady_clock::time_point pingDue(std::chrono::steady_clock::time_point now) override;

 private:
  void opened() override;
  void received(tavro::v1::LendRequest request) override;
  void readsEnded() override;
  void gone() override;
  void closed() override;
  void stand(const tavro::v1::DescribeServiceReply& offer);
  void pong(std::uint64_t number);
  /// Once. `why` goes on from "The process that lent NAME ".
  void lose(const char* why);

  House& fHouse;
  door::Access::Place fPlace;  // a stream that says nothing counts too

  std::mutex fMutex;  // guards all below; nothing is called under it
  std::string fService;
  std::shared_ptr<LentCalls> fCalls;  // written by the reading thread alone
  bool fIsLost = false;
  std::unique_ptr<xo::Session::Registration> fRegistration;
  std::uint64_t fPings = 0;  // sent
  std::uint64_t fPongs = 0;  // the last one answered
  std::chrono::steady_clock::time_point fPinged;
};

}  // namespace remote
