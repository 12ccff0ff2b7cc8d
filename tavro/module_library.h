// A module's shared library, open while this lives.
#pragma once

#include <memory>
#include <string>

#include "framework/hb/hb_broker.h"

namespace tavro {

/// Not thread-safe. Everything whose code is the library's must be gone before it is closed.
class ModuleLibrary {
 public:
  /// Opens it with its own symbols kept to itself. Errors: HBError that names the file and what is
  /// wrong with it.
  explicit ModuleLibrary(const std::string& file);
  ~ModuleLibrary();  // closes
  ModuleLibrary(const ModuleLibrary&) = delete;
  ModuleLibrary& operator=(const ModuleLibrary&) = delete;

  /// Calls the entry point. Errors: whatever the module lets through.
  int createModule(std::shared_ptr<HB::HBBroker> broker) const { return fEntryPoint(broker); }

  /// From now on destruction leaves the library open, for as long as the process lives.
  void leaveOpen() { fHandle = nullptr; }

  /// Whether any part of the file is in this process's memory map.
  static bool isMapped(const std::string& file);

 private:
  using EntryPoint = int (*)(std::shared_ptr<HB::HBBroker>);

  void* fHandle;
  EntryPoint fEntryPoint;
};

/// "leds" for "/some/where/libleds.so".
std::string moduleNameOf(const std::string& file);

}  // namespace tavro
