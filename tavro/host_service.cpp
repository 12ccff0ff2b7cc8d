#include "tavro/host_service.h"

#include <algorithm>
#include <chrono>
#include <stdexcept>

#include "tavro/module_library.h"

namespace tavro {

namespace {

bool isPlain(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

std::string joined(const std::vector<std::string>& names) {
  std::string text;
  for (const std::string& name : names) text += (text.empty() ? "" : ", ") + name;
  return text;
}

/// The modules whose libraries lie in the folder, ascending.
std::vector<std::string> modulesIn(const std::filesystem::path& folder) {
  std::vector<std::string> names;
  std::error_code ignored;
  for (const auto& entry : std::filesystem::directory_iterator(folder, ignored)) {
    const std::string file = entry.path().filename().string();
    if (file.starts_with("lib") && file.ends_with(".so")) names.push_back(moduleNameOf(file));
  }
  std::ranges::sort(names);
  return names;
}

/// How often a call that waits for its turn looks whether it was asked to stop.
constexpr std::chrono::milliseconds kLook{10};

bool isCallStopped() { return xo::CallScope::current()->isStopRequested(); }

}  // namespace

HostService::HostService(xo::Session& session, ModuleLoader& loader, std::filesystem::path folder)
    : fLoader(loader),
      fFolder(std::move(folder)),
      fRegistration(session.registerService("HBHost", xDescribe(), &fEnding)) {}

xo::ObjectBuilder HostService::xDescribe() {
  xo::ObjectBuilder builder;
  builder.setDescription("The robot's host process: its modules, which may come and go.");
  const xo::NamedText name{"name", "The module's name, such as leds for libleds.so."};
  builder.add(xo::makeMethod(
      {"loadModule",
       "Loads a module of the robot's module folder and waits until it stands. Fails with the "
       "module's own words when it cannot; stopping the call gives it up.",
       {name},
       {},
       {}},
      this, &HostService::xLoadModule));
  builder.add(xo::makeMethod(
      {"unloadModule",
       "Takes a module away: its service goes, its running calls are asked to stop and are waited "
       "for, its library leaves the process. Other modules' handles to it live again when it is "
       "loaded again.",
       {name},
       {},
       {}},
      this, &HostService::xUnloadModule));
  builder.add(xo::makeMethod<std::vector<std::string>()>(
      {"modules",
       "Lists the loaded modules in the order of their loading.",
       {},
       xo::NamedText{"names", "The modules' names."},
       {}},
      [this] { return fLoader.modules(); }));
  return builder;
}

void HostService::xLoadModule(const std::string& name) {
  const std::string file = xFileOf(name);
  int number = 0;
  {
    const auto lock = xTakeTurn();
    const auto loaded = fLoader.modules();
    if (std::ranges::find(loaded, name) != loaded.end()) {
      throw std::invalid_argument("HBHost: loadModule: '" + name +
                                  "' is loaded already; loaded are: " + joined(loaded));
    }
    number = fLoader.begin(file);
  }
  // Without the lock: the module may wait for one that another call loads.
  try {
    fLoader.awaitStanding(number, isCallStopped);
  } catch (const std::runtime_error&) {
    const std::lock_guard lock(fOneAtATime);
    fLoader.unload(number);
    throw;
  }
}

void HostService::xUnloadModule(const std::string& name) {
  const auto lock = xTakeTurn();
  const auto loaded = fLoader.modules();
  if (std::ranges::find(loaded, name) == loaded.end()) {
    throw std::invalid_argument("HBHost: unloadModule: '" + name +
                                "' is not loaded; loaded are: " + joined(loaded));
  }
  fLoader.unload(name);
}

std::unique_lock<std::timed_mutex> HostService::xTakeTurn() {
  std::unique_lock lock(fOneAtATime, std::defer_lock);
  while (!lock.try_lock_for(kLook)) {
    if (isCallStopped()) throw std::runtime_error("HBHost: stopped before its turn came");
  }
  return lock;
}

std::string HostService::xFileOf(const std::string& name) const {
  const std::string file = "lib" + name + ".so";
  if (name.empty() || !std::ranges::all_of(name, isPlain) ||
      !std::filesystem::is_regular_file(fFolder / file)) {
    throw std::invalid_argument("HBHost: loadModule: there is no module '" + name +
                                "'; there are: " + joined(modulesIn(fFolder)));
  }
  return (fFolder / file).string();
}

}  // namespace tavro
