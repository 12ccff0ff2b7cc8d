// The service that hostile pages call: one method of every way that a call can go.
#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <vector>

#include "framework/xo/session.h"

namespace fuzz {

/// Thread-safe.
class PageService {
 public:
  static constexpr const char* kName = "Probe";
  /// What "text" and futures give at most.
  static constexpr std::size_t kMostBytes = 1U << 20U;

  explicit PageService(xo::Session& session);

  /// Lets those go who were asked to stop, and tells how many stay: calls that neither end nor wait
  /// for anything but that.
  std::size_t staying();
  /// Ends every future that was given, by a text.
  void settle(std::size_t bytes);

 private:
  void xStay();
  xo::Future<HB::HBValue> xLater();

  std::mutex fMutex;  // guards all below
  std::condition_variable fWake;
  std::vector<const xo::CallScope*> fStaying;
  std::vector<std::shared_ptr<xo::Promise<HB::HBValue>>> fPromises;
  std::unique_ptr<xo::Session::Registration> fRegistration;  // last: calls come by it
};

}  // namespace fuzz
