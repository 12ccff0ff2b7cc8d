// What a module is given when it is made: the way to the robot's services and settings.
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "framework/hb/hb_error.h"
#include "framework/hb/hb_memory_proxy.h"
#include "framework/hb/hb_proxy.h"
#include "framework/xo/session.h"

namespace HB {

class HBModule;

/// One per process; outlives every module. Thread-safe.
class HBBroker : public std::enable_shared_from_this<HBBroker> {
 public:
  /// What the host tells its modules: "model" (path of the robot model), ...
  using Settings = std::map<std::string, std::string>;

  /// A null session makes a broker that has none.
  static std::shared_ptr<HBBroker> create(std::shared_ptr<xo::Session> session,
                                          Settings settings = {});
  ~HBBroker();

  /// Errors: HBError when there is none.
  std::shared_ptr<xo::Session> getSession() const;
  /// A proxy to a service that stands now. Errors: HBError that names a missing one.
  std::shared_ptr<HBProxy> getProxy(const std::string& service) const;
  /// The same as a P, a class derived from HBProxy with its constructor. The caller says which one
  /// speaks to that service.
  template <class P>
  std::shared_ptr<P> getSpecialisedProxy(const std::string& service) const {
    return std::make_shared<P>(service, requireService(service));
  }
  /// Errors: HBError that names a missing setting.
  const std::string& getSetting(const std::string& name) const;

  /// The modules that stand, in the order of their registration; kept alive by the broker.
  std::vector<std::shared_ptr<HBModule>> modules() const;
  std::shared_ptr<HBModule> findModule(const std::string& name) const;  // null when none
  /// Errors: HBError when the name is taken.
  void addModule(std::shared_ptr<HBModule> module);
  /// The broker lets go of it; the caller then destroys it on a thread that is none of its own.
  std::shared_ptr<HBModule> removeModule(const std::string& name);

 private:
  HBBroker(std::shared_ptr<xo::Session> session, Settings settings);
  xo::Object requireService(const std::string& service) const;

  const std::shared_ptr<xo::Session> fSession;
  const Settings fSettings;
  mutable std::mutex fMutex;
  std::vector<std::shared_ptr<HBModule>> fModules;
};

}  // namespace HB
