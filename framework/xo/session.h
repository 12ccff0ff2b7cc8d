// The robot's register of services by name.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "framework/xo/future.h"
#include "framework/xo/object.h"

namespace xo {

/// Thread-safe. Lives as long as whoever holds it; handles outlive it.
///
/// Waits made on a thread that works for a module which is being unloaded (or by a host that is
/// shutting down) end in error at once.
class Session {
 public:
  Session();
  ~Session();  // pending waits end in error
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  /// Publishes a service until the registration is destroyed or `close()`d, which also closes its
  /// object. Handles from an earlier service of that name live again. Errors:
  /// `std::invalid_argument` for an empty name; `xo::Error` when the name is taken.
  class [[nodiscard]] Registration;
  std::unique_ptr<Registration> registerService(const std::string& name, ObjectBuilder builder,
                                                Ending* ending = nullptr);
  /// Announces a service whose object is delivered later by `object` (or never): waiters wake now,
  /// `service` hands the object out when it comes.
  std::unique_ptr<Registration> announceService(const std::string& name, Future<Object> object);

  /// Names, ascending.
  std::vector<std::string> services() const;

  /// A service that stands.
  struct Standing {
    std::string name;
    std::uint64_t generation;  ///< see `Object::generation`; 0 while it is announced only
  };
  /// Ascending by name.
  std::vector<Standing> standing() const;

  /// Runs `callback` after each coming and going of a service, on the thread that made it: short,
  /// and without calling the session or a service. Ends with the returned subscription; a callback
  /// that runs at that moment ends in its own time.
  using Subscription = std::shared_ptr<const std::function<void()>>;
  [[nodiscard]] Subscription onChange(std::function<void()> callback);

  /// The service's object if it is there now, else an empty handle. Does not wait.
  Object find(const std::string& name) const;

  /// Finished as soon as a service of that name is registered; its destruction waits for that.
  /// Cancelling ends it.
  FutureSync<void> waitForService(const std::string& name);
  /// The service's object, as soon as the service is registered and its object there. `protocol`
  /// chooses a road to it: "" is any, and the only one known. Errors of the future: `xo::Error`
  /// that names an unknown protocol; TimeoutError that names the service after `milliseconds`.
  Future<Object> service(const std::string& name, const std::string& protocol = "",
                         int milliseconds = kInfiniteTimeout);

 private:
  struct State;
  std::shared_ptr<State> fState;
};

class Session::Registration {
 public:
  ~Registration();
  Registration(const Registration&) = delete;
  Registration& operator=(const Registration&) = delete;
  const std::string& name() const { return fName; }
  Object object() const;
  void close();

 private:
  friend class Session;
  Registration(std::shared_ptr<State> state, std::string name);
  std::shared_ptr<State> fState;
  std::string fName;
  std::shared_ptr<detail::ObjectCore> fCore;
  std::unique_ptr<ObjectOwner> fOwner;
  bool fClosed = false;
};

}  // namespace xo
