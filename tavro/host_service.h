// The service "HBHost": lets clients load and unload the robot's modules while it runs.
#pragma once

#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "framework/xo/call.h"
#include "framework/xo/session.h"
#include "tavro/module_loader.h"

namespace tavro {

/// Published while it lives. Beginnings to load and unloadings happen on the calling thread, one at
/// a time; a module that waits for another one as it loads holds up neither.
class HostService {
 public:
  /// `loader` outlives this and is used by nobody else meanwhile. Modules come from `folder` alone.
  HostService(xo::Session& session, ModuleLoader& loader, std::filesystem::path folder);
  HostService(const HostService&) = delete;
  HostService& operator=(const HostService&) = delete;

 private:
  xo::ObjectBuilder xDescribe();
  void xLoadModule(const std::string& name);
  void xUnloadModule(const std::string& name);
  /// Errors: `std::runtime_error` when the call is asked to stop meanwhile.
  std::unique_lock<std::timed_mutex> xTakeTurn();
  /// The module's file. Errors: `std::invalid_argument` for what is not a plain name, or names no
  /// file of the folder (it lists those).
  std::string xFileOf(const std::string& name) const;

  ModuleLoader& fLoader;
  const std::filesystem::path fFolder;
  std::timed_mutex fOneAtATime;  // the loader's one thread at a time
  xo::Ending fEnding;
  std::unique_ptr<xo::Session::Registration>
      fRegistration;  // last: its end waits for running calls
};

}  // namespace tavro
