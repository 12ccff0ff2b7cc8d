// A motion service that moves nothing and remembers everything: a real service "HBMotion" on a real
// session.
#pragma once

#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "framework/xo/clock.h"
#include "framework/xo/session.h"
#include "hardware/leds/test/support/journal.h"

namespace HB::test {

/// Thread-safe.
class RecordingMotion {
 public:
  using Lists = std::vector<std::vector<float>>;

  /// One "_animateLEDs", as it came.
  struct Write {
    std::vector<std::string> keys;
    Lists times;
    Lists values;
    bool operator==(const Write&) const = default;
  };

  /// Registers at once. Each write is noted as "motion: KEY KEY ..." when it begins.
  RecordingMotion(xo::Session& session, Journal& journal);
  ~RecordingMotion();  // releases whoever is held inside

  /// Writes in the order in which they began, refused ones included.
  std::vector<Write> writes() const;
  /// The only write; fails the test unless there is exactly one.
  Write onlyWrite() const;
  void clear();
  /// When each of `writes()` began, on the process's clock.
  std::vector<xo::TimePoint> instants() const;
  /// Runs `hook` on the writing thread as each later write begins, with its number in `writes()`,
  /// from 1 on. It must not write.
  void onWrite(std::function<void(std::size_t number)> hook);

  /// Write number `n` from now on (1 is the next) is recorded and then refused with that text.
  void refuse(int n, const std::string& text);
  void refuseAll(const std::string& text);

  /// From now on writes stay inside until `release`.
  void hold();
  /// Blocks until `count` writes are held; false when 20 s passed first.
  bool awaitHeld(int count);
  void release();

  /// The service goes: handles to it are dead. Not while a write is held.
  void takeAway();
  void bringBack();

 private:
  void animate(const std::vector<std::string>& keys, const Lists& times, const Lists& values);

  xo::Session& fSession;
  Journal& fJournal;
  mutable std::mutex fMutex;
  std::condition_variable fChanged;
  std::vector<Write> fWrites;
  std::vector<xo::TimePoint> fInstants;
  std::function<void(std::size_t)> fHook;
  int fBegun = 0;
  std::map<int, std::string> fRefusals;
  std::string fRefusalOfAll;
  bool fHolds = false;
  int fHeld = 0;
  std::unique_ptr<xo::Session::Registration> fRegistration;
};

void PrintTo(const RecordingMotion::Write& write, std::ostream* out);

}  // namespace HB::test
