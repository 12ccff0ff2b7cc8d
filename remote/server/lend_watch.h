// Asks lenders, again and again, whether they still answer.
#pragma once

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace remote {

/// How often a lender is asked. With the time that it has for its answer this stays below the two
/// seconds within which everybody must know that a lender is gone.
inline constexpr std::chrono::milliseconds kPingEvery{400};
inline constexpr std::chrono::milliseconds kPongWithin{1500};
/// How often a lender that has not answered yet is looked after.
inline constexpr std::chrono::milliseconds kPongLook{50};
/// Who wakes later than this was stopped, with the whole robot: answers wait unread meanwhile.
inline constexpr std::chrono::milliseconds kStandstill{1000};

/// One who is asked.
class Pinged {
 public:
  /// Returns when to call again. Must not block. Time in which the robot stood still does not pass.
  virtual std::chrono::steady_clock::time_point pingDue(
      std::chrono::steady_clock::time_point now) = 0;

 protected:
  ~Pinged() = default;
};

/// A thread of its own, because every other one may be waiting inside a call of the very service
/// whose lender has stopped answering. It exists from the first lending on and sleeps while nothing
/// is lent. Thread-safe.
class LendWatch {
 public:
  LendWatch() = default;
  ~LendWatch();
  LendWatch(const LendWatch&) = delete;
  LendWatch& operator=(const LendWatch&) = delete;

  /// Asks it from now on, until it is gone.
  void add(std::weak_ptr<Pinged> lender);

 private:
  void run();

  std::mutex fMutex;
  std::condition_variable fWake;
  bool fIsEnding = false;
  std::vector<std::weak_ptr<Pinged>> fLenders;
  std::thread fThread;
};

}  // namespace remote
