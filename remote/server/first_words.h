// Ends streams that clients open and then say nothing on. For the server's own files.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>

#include "framework/xo/clock.h"

namespace remote {

/// How long the first message of a stream may take.
inline constexpr std::chrono::seconds kFirstMessageWithin{10};

/// One delay on the process's event loop while streams come, none while none does: a stream whose
/// message comes in time costs a line in a list. Thread-safe.
class FirstWords : public std::enable_shared_from_this<FirstWords> {
 public:
  /// A stream that has heard nothing yet.
  class Silent {
   public:
    /// Nothing came in time. On the event loop; must not block.
    virtual void heardNothing() = 0;

   protected:
    ~Silent() = default;
  };
  using Ticket = std::uint64_t;

  Ticket await(std::weak_ptr<Silent> stream);
  /// The message is there, or the stream is over. False: it came too late, `heardNothing` runs or
  /// ran.
  bool came(Ticket ticket);

 private:
  struct Awaited {
    xo::TimePoint due;
    std::weak_ptr<Silent> stream;
  };
  void look();
  void lookAfter(xo::Duration wait);

  std::mutex fMutex;  // guards all below; nothing is called under it
  bool fIsLookDue = false;
  Ticket fLast = 0;
  std::map<Ticket, Awaited> fAwaited;  // in the order of their due times
};

}  // namespace remote
