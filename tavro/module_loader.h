// The modules of the robot: loads them in order, each on its own thread, and takes them away in
// reverse.
#pragma once

#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "tavro/module_slot.h"

namespace tavro {

/// `interrupt`, `modules` and `awaitStanding` may be called from any thread; everything else by one
/// thread at a time.
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
  /// Starts to load the module in `file` and returns at once, with a number that is this loading's
  /// own. Errors: as `load`.
  int begin(const std::string& file);
  /// Returns when the module of that loading stands. `isGivenUp` is asked again and again
  /// meanwhile. Errors: `std::runtime_error` with the module's words when it fails, or that says
  /// that it was given up (or interrupted), or taken away by somebody else.
  void awaitStanding(int number, const std::function<bool()>& isGivenUp);
  /// Takes the module of that loading away, if it is still there.
  void unload(int number);
  /// `begin` and `awaitStanding`; a module that does not come to stand is gone again.
  void loadWhole(const std::string& file, const std::function<bool()>& isGivenUp);
  /// Returns when every module stands (true), one has failed, or `interrupt` was called.
  bool waitUntilAllStand();
  /// Makes all that waits return at once, now and later.
  void interrupt();

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
  ModuleSlot* xFind(const std::string& name) const;
  ModuleSlot* xFind(int number) const;
  void xUnload(ModuleSlot* slot);

  const std::shared_ptr<HB::HBBroker> fBroker;
  OutputTap& fOutput;
  mutable std::mutex fMutex;  // guards all below; a slot's change is announced under it too
  std::condition_variable fChanged;
  bool fInterrupted = false;
  std::map<int, std::unique_ptr<ModuleSlot>> fSlots;  // by number, so in the order of loading
  int fNextNumber = 1;
};

}  // namespace tavro
