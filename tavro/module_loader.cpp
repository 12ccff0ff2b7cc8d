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

void ModuleLoader::load(const std::string& file) {
  const std::string name = moduleNameOf(file);
  if (xFind(name) != nullptr) throw std::invalid_argument("Module " + name + " is already loaded");
  const auto& slot =
      fSlots.emplace_back(std::make_unique<ModuleSlot>(file, fBroker, fOutput, [this] {
        const std::lock_guard lock(fMutex);
        fChanged.notify_all();
      }));
  xWaitFor([&slot] { return slot->state() != State::kLoading || slot->isHeldUp(); });
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
  std::erase_if(fSlots, [slot](const auto& one) { return one.get() == slot; });
}

void ModuleLoader::unloadAll() {
  while (!fSlots.empty()) fSlots.pop_back();
}

}  // namespace tavro
