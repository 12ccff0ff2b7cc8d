#include "tavro/module_slot.h"

#include <algorithm>
#include <chrono>

#include "framework/xo/log.h"
#include "framework/xo/os.h"

namespace tavro {

namespace {

const xo::log::Category kLog{"tavro"};

// How long an unload waits for others to let go of a module that the broker has handed back.
constexpr std::chrono::seconds kPatience{2};

std::string firstLineOr(const std::string& text, const std::string& otherwise) {
  const std::string line = text.substr(0, text.find('\n'));
  return line.empty() ? otherwise : line;
}

}  // namespace

ModuleSlot::ModuleSlot(std::string file, std::shared_ptr<HB::HBBroker> broker, OutputTap& output,
                       std::function<void()> changed)
    : fFile(std::move(file)),
      fName(moduleNameOf(fFile)),
      fBroker(std::move(broker)),
      fOutput(output),
      fThread([this, changed = std::move(changed)] { xLoad(changed); }) {}

ModuleSlot::~ModuleSlot() { unload(); }

ModuleSlot::State ModuleSlot::state() const {
  const std::lock_guard lock(fMutex);
  return fState;
}

std::string ModuleSlot::error() const {
  const std::lock_guard lock(fMutex);
  return fError;
}

void ModuleSlot::xLoad(const std::function<void()>& changed) {
  xo::os::setCurrentThreadName("load." + fName);
  std::exception_ptr error;
  try {
    xCreate();
  } catch (...) {
    // The original's code may be the library's, which closes long before this text is read.
    error = xo::copyCurrentException();
  }
  if (error) xFinish(State::kFailed, xo::textOf(error));
  changed();
}

void ModuleSlot::xCreate() {
  fLibrary.emplace(fFile);
  const OutputTap::Recording printed(fOutput);
  {
    const xo::CallScope scope(&fEnding);
    fLibrary->createModule(fBroker);
  }
  if (xFindModule()) {
    xFinish(State::kStanding, "");
  } else {
    xFinish(State::kFailed, firstLineOr(printed.text(), "its entry point made no module"));
  }
}

void ModuleSlot::xFinish(State state, std::string error) {
  const std::lock_guard lock(fMutex);
  fState = state;
  fError = std::move(error);
}

std::shared_ptr<HB::HBModule> ModuleSlot::xFindModule() const {
  auto modules = fBroker->modules();
  const auto found = std::find_if(modules.rbegin(), modules.rend(), [this](const auto& module) {
    return &module->ending() == &fEnding;
  });
  return found == modules.rend() ? nullptr : std::move(*found);
}

bool ModuleSlot::xDestroyModule(std::shared_ptr<HB::HBModule> module) {
  module->shutDown();
  fBroker->removeModule(module->getName());
  // Whoever looked at the broker's list a moment ago may still hold the module; only this thread
  // may be the one to destroy it.
  const auto deadline = std::chrono::steady_clock::now() + kPatience;
  while (module.use_count() > 1) {
    if (std::chrono::steady_clock::now() > deadline) {
      kLog.error("Module " + fName + " is still in use: its library stays open");
      return false;
    }
    std::this_thread::yield();
  }
  return true;
}

void ModuleSlot::unload() {
  fEnding.raise();
  if (fThread.joinable()) fThread.join();
  bool isFree = true;
  while (auto module = xFindModule()) isFree = xDestroyModule(std::move(module)) && isFree;
  if (!fLibrary) return;
  if (!isFree) fLibrary->leaveOpen();
  fLibrary.reset();
  if (isFree && ModuleLibrary::isMapped(fFile)) {
    kLog.warning("Module " + fName + " left its library mapped");
  }
}

}  // namespace tavro
