#include "tavro/module_loader.h"

#include <algorithm>
#include <chrono>
#include <stdexcept>

namespace tavro {

namespace {

// A module that begins to wait tells its Ending, which wakes nobody: looked at this often, and only
// while a module loads.
constexpr std::chrono::milliseconds kLook{1};

using State = ModuleSlot::State;

}  // namespace

ModuleLoader::ModuleLoader(std::shared_ptr<HB::HBBroker> broker, OutputTap& output)
    : fBroker(std::move(broker)), fOutput(output) {}

ModuleLoader::~ModuleLoader() { unloadAll(); }

template <class Condition>
void ModuleLoader::xWaitFor(Condition condition) {
  std::unique_lock lock(fMutex);
  while (!fInterrupted && !condition()) fChanged.wait_for(lock, kLook);
}

ModuleSlot& ModuleLoader::xBegin(const std::string& file) {
  const std::string name = moduleNameOf(file);
  if (xFind(name) != nullptr) throw std::invalid_argument("Module " + name + " is already loaded");
  auto slot = std::make_unique<ModuleSlot>(file, fBroker, fOutput, [this] {
    const std::lock_guard lock(fMutex);
    fChanged.notify_all();
  });
  const std::lock_guard lock(fMutex);
  return *fSlots.emplace_back(std::move(slot));
}

void ModuleLoader::load(const std::string& file) {
  const ModuleSlot& slot = xBegin(file);
  xWaitFor([&slot] { return slot.state() != State::kLoading || slot.isHeldUp(); });
}

void ModuleLoader::loadWhole(const std::string& file, const std::function<bool()>& isGivenUp) {
  const ModuleSlot& slot = xBegin(file);
  xWaitFor([&] { return slot.state() != State::kLoading || isGivenUp(); });
  if (slot.state() == State::kStanding) return;
  const std::string name = slot.name();
  const std::string words = slot.state() == State::kFailed ? slot.error() : "it was given up";
  unload(name);
  throw std::runtime_error("Module " + name + " cannot start: " + words);
}

bool ModuleLoader::waitUntilAllStand() {
  const auto isStanding = [](const auto& slot) { return slot->state() == State::kStanding; };
  const auto hasFailed = [](const auto& slot) { return slot->state() == State::kFailed; };
  xWaitFor([&] {
    return std::ranges::all_of(fSlots, isStanding) || std::ranges::any_of(fSlots, hasFailed);
  });
  return std::ranges::all_of(fSlots, isStanding);
}

void ModuleLoader::interrupt() {
  const std::lock_guard lock(fMutex);
  fInterrupted = true;
  fChanged.notify_all();
}

bool ModuleLoader::isInterrupted() const {
  const std::lock_guard lock(fMutex);
  return fInterrupted;
}

ModuleLoader::Failure ModuleLoader::failure() const {
  for (const auto& slot : fSlots) {
    if (slot->state() == State::kFailed) return {slot->name(), slot->error()};
  }
  return {};
}

std::vector<std::string> ModuleLoader::modules() const {
  const std::lock_guard lock(fMutex);
  std::vector<std::string> names;
  for (const auto& slot : fSlots) names.push_back(slot->name());
  return names;
}

ModuleSlot* ModuleLoader::xFind(const std::string& name) const {
  const auto found =
      std::ranges::find_if(fSlots, [&](const auto& slot) { return slot->name() == name; });
  return found == fSlots.end() ? nullptr : found->get();
}

void ModuleLoader::unload(const std::string& name) {
  ModuleSlot* const slot = xFind(name);
  if (slot == nullptr) throw std::invalid_argument("Module " + name + " is not loaded");
  slot->unload();
  xForget(slot);
}

void ModuleLoader::unloadAll() {
  while (!fSlots.empty()) {
    fSlots.back()->unload();
    xForget(fSlots.back().get());
  }
}

void ModuleLoader::xForget(const ModuleSlot* slot) {
  std::unique_ptr<ModuleSlot> gone;  // destroyed without the lock: its thread announces under it
  const std::lock_guard lock(fMutex);
  const auto found =
      std::ranges::find_if(fSlots, [&](const auto& one) { return one.get() == slot; });
  gone = std::move(*found);
  fSlots.erase(found);
}

}  // namespace tavro
