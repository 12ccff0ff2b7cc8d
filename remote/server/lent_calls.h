// The calls of one lent service that are under way: out as messages, back as values, errors and
// futures. For the server's own files.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>

#include "framework/xo/method.h"
#include "tavro/v1/robot.pb.h"

namespace remote {

/// Calls and futures of one lender that are under way at once.
inline constexpr std::size_t kLentCalls = 1024;
/// Bytes of calls that have not returned, as they travel.
inline constexpr std::size_t kLentBytes = 4 << 20;

/// Thread-safe.
///
///     called --returned--> over                    a caller's thread waits for `returned`
///            --returned, with a future--> future runs --finished | dropped--> over
///     (lost: everything under way ends in error, and so does what comes later)
class LentCalls : public std::enable_shared_from_this<LentCalls> {
 public:
  /// Takes a message to the lender; never blocks. False: it is gone.
  using Send = std::function<bool(tavro::v1::LendReply)>;
  LentCalls(std::string service, Send send);

  /// Calls method number `method` (of that name) and waits until it returned. The caller's stop
  /// request is passed on. Errors: the method's; `std::runtime_error` that names the service when
  /// its process is or gets lost, or a limit; `xo::Error` when the calling module ends.
  xo::CallResult call(std::size_t method, const std::string& name,
                      std::span<const HB::HBValue> args);

  void returned(const tavro::v1::LendRequest::Returned& message);
  void finished(const tavro::v1::LendRequest::Finished& message);

  /// Everything ends, with this error's text. The first loss counts.
  void lose(const std::string& why);

  /// Calls and futures under way.
  std::size_t size() const;

 private:
  using State = xo::detail::TypedState<HB::HBValue>;
  struct Call {
    xo::Promise<HB::HBValue> answer;
    std::optional<xo::Future<HB::HBValue>> future;  // set before the answer
  };
  struct Entry {
    std::shared_ptr<Call> call;   // until it returned
    std::weak_ptr<State> future;  // then
    std::size_t bytes = 0;
  };

  std::uint64_t begin(const std::shared_ptr<Call>& call, const std::string& name,
                      tavro::v1::LendReply message);
  void await(std::uint64_t id, const Call& call, const std::string& name);
  xo::Future<HB::HBValue> makeFuture(std::uint64_t id);
  std::shared_ptr<State> takeFuture(std::uint64_t id);
  /// False when it is not, or no longer, there as a call, or as a future.
  bool forget(std::uint64_t id, bool isFuture);
  void tellStop(std::uint64_t id);

  const std::string fService;
  const Send fSend;
  mutable std::mutex fMutex;  // guards all below; nothing is called under it, no future let go of
  std::map<std::uint64_t, Entry> fCalls;
  std::size_t fBytes = 0;
  std::uint64_t fNextId = 1;
  std::optional<std::string> fLoss;
};

}  // namespace remote
