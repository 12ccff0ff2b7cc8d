// One loaded module of the host, from the opening of its library to its leaving the process.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "framework/hb/hb_module.h"
#include "tavro/module_library.h"
#include "tavro/output_tap.h"

namespace tavro {

/// Its module loads on a thread of its own, in the name of this slot's Ending.
///
///     loading --entry point returned, a module stands--> standing
///        \------it threw, or no module stands----------> failed
///
/// Thread-safe but for `unload` and destruction, which are its owner's.
class ModuleSlot {
 public:
  enum class State { kLoading, kStanding, kFailed };

  /// Starts to load. `changed` runs on the loading thread once the module stands or has failed;
  /// `broker` and `output` outlive the slot.
  ModuleSlot(std::string file, std::shared_ptr<HB::HBBroker> broker, OutputTap& output,
             std::function<void()> changed);
  ~ModuleSlot();  // unloads
  ModuleSlot(const ModuleSlot&) = delete;
  ModuleSlot& operator=(const ModuleSlot&) = delete;

  const std::string& name() const { return fName; }
  const std::string& file() const { return fFile; }
  State state() const;
  /// Loading, and blocked until somebody else does something.
  bool isHeldUp() const { return state() == State::kLoading && fEnding.isWaiting(); }
  /// Why it failed; "" in any other state.
  std::string error() const;

  /// Ends the module's waits and sleeps, its service and its running calls, destroys it and closes
  /// its library. Blocks for as long as a call stays inside another service. Harmless when done
  /// before. Not from a call of the module.
  void unload();

 private:
  void xLoad(const std::function<void()>& changed);
  void xCreate();
  void xFinish(State state, std::string error);
  std::shared_ptr<HB::HBModule> xFindModule() const;
  bool xDestroyModule(std::shared_ptr<HB::HBModule> module);

  const std::string fFile;
  const std::string fName;
  const std::shared_ptr<HB::HBBroker> fBroker;
  OutputTap& fOutput;
  xo::Ending fEnding;
  std::optional<ModuleLibrary> fLibrary;
  mutable std::mutex fMutex;  // guards the two below
  State fState = State::kLoading;
  std::string fError;
  std::thread fThread;
};

}  // namespace tavro
