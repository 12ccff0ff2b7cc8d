// The calls of one page: run on threads that may block, stopped when the page says so or is gone.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "web/server/house.h"
#include "web/server/outlet.h"

namespace web {

/// Each call goes
///
///     queued --> method runs --returned a future--> future runs --> told
///                     |
///                   told
///
/// While it is queued or the method runs, a stop raises its stop flag; later a stop asks the future
/// to cancel. When the page is gone, flags are raised, what is queued is not begun and futures are
/// let go of. Lives on the page's thread.
class Calls : public std::enable_shared_from_this<Calls> {
 public:
  /// `house` and `outlet` outlive it, the latter until `gone`.
  Calls(House& house, Outlet& outlet, const door::Client& client)
      : fHouse(house), fOutlet(outlet), fClient(client) {}

  bool isRunning(std::uint64_t id) const { return fRunning.contains(id); }
  /// Errors: Refused, before anything was called.
  void start(std::uint64_t id, std::string service, std::string method,
             std::vector<HB::HBValue> args);
  /// Reads a key of the memory, which may be in another process.
  void read(std::uint64_t id, std::string key);
  /// False when none of that id runs.
  bool stop(std::uint64_t id);
  void gone();

 private:
  struct Running;
  std::shared_ptr<Running> make(std::uint64_t id);
  /// `work` gives the outcome, on a thread of the pool.
  void begin(const std::shared_ptr<Running>& call, std::function<door::Outcome()> work);
  void returned(const std::shared_ptr<Running>& call);
  void follow(const std::shared_ptr<Running>& call);
  void tell(const std::shared_ptr<Running>& call, const door::Outcome& outcome);

  House& fHouse;
  Outlet& fOutlet;
  const door::Client fClient;
  std::map<std::uint64_t, std::shared_ptr<Running>> fRunning;
  std::size_t fOnThreads = 0;  // those queued for a thread or on one
};

}  // namespace web
