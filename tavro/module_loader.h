// The modules of the robot: loads them in order, each on its own thread, and takes them away in
// reverse.
#pragma once

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "tavro/module_slot.h"

namespace tavro {

/// `interrupt` and `modules` may be called from any thread; everything else by one thread at a
/// time.
class ModuleLoader {
 public:
  struct Failure {
    std::string module;
    std::string text;
  };

  ModuleLoader(std::shared_ptr<HB::HBBroker> broker, OutputTap& output);
  ~ModuleLoader();  // unloads all
  ModuleLoader(const ModuleLoader&) = delete;
  ModuleLoader& operator=(const ModuleLoader&) = delete;

  /// Starts to load the module in `file`. Returns as soon as the next one may start: when this one
  /// stands, has failed or waits for a service. Errors: `std::invalid_argument` when a module of
  /// that name is loaded.
  void load(const std::string& file);
  /// Loads the module in `file` and returns when it stands. `isGivenUp` is asked again and again
  /// meanwhile. Errors: as `load`; `std::runtime_error` with the module's words when it fails, or
  /// when it was given up or interrupted; it is gone again then.
  void loadWhole(const std::string& file, const std::function<bool()>& isGivenUp);
  /// Returns when every module stands (true), one has failed, or `interrupt` was called.
  bool waitUntilAllStand();
  /// Makes the two above return at once, now and later.
  void interrupt();
  bool isInterrupted() const;

  /// The first module that failed, in the order of loading; with an empty name when none did.
  Failure failure() const;
  /// Names, in the order of loading.
  std::vector<std::string> modules() const;

  /// Takes one module away. Errors: `std::invalid_argument` that names one that is not loaded.
  void unload(const std::string& name);
  /// The last one first.
  void unloadAll();

 private:
  template <class Condition>
  void xWaitFor(Condition condition);
  ModuleSlot& xBegin(const std::string& file);
  ModuleSlot* xFind(const std::string& name) const;
  void xForget(const ModuleSlot* slot);

  const std::shared_ptr<HB::HBBroker> fBroker;
  OutputTap& fOutput;
  mutable std::mutex fMutex;  // guards all below; a slot's change is announced under it too
  std::condition_variable fChanged;
  bool fInterrupted = false;
  std::vector<std::unique_ptr<ModuleSlot>> fSlots;
};

}  // namespace tavro
