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

int ModuleLoader::begin(const std::string& file) {
  const std::string name = moduleNameOf(file);
  if (xFind(name) != nullptr) throw std::invalid_argument("Module " + name + " is already loaded");
  auto slot = std::make_unique<ModuleSlot>(file, fBroker, fOutput, [this] {
    const std::lock_guard lock(fMutex);
    fChanged.notify_all();
  });
  const std::lock_guard lock(fMutex);
  fSlots.emplace(fNextNumber, std::move(slot));
  return fNextNumber++;
}

void ModuleLoader::load(const std::string& file) {
  const ModuleSlot& slot = *xFind(begin(file));
  xWaitFor([&slot] { return slot.state() != State::kLoading || slot.isHeldUp(); });
}

void ModuleLoader::awaitStanding(int number, const std::function<bool()>& isGivenUp) {
  std::string name = "?";
  std::string words = "it was taken away";
  bool isStanding = false;
  xWaitFor([&] {
    const auto found = fSlots.find(number);  // anew each time: others may take it away
    if (found == fSlots.end()) {
      words = "it was taken away";
      return true;
    }
    const ModuleSlot& slot = *found->second;
    name = slot.name();
    words = slot.state() == State::kFailed ? slot.error() : "it was given up";
    isStanding = slot.state() == State::kStanding;
    return slot.state() != State::kLoading || isGivenUp();
  });
  if (!isStanding) throw std::runtime_error("Module " + name + " cannot start: " + words);
}

void ModuleLoader::loadWhole(const std::string& file, const std::function<bool()>& isGivenUp) {
  const int number = begin(file);
  try {
    awaitStanding(number, isGivenUp);
  } catch (const std::runtime_error&) {
    unload(number);
    throw;
  }
}

bool ModuleLoader::waitUntilAllStand() {
  const auto isStanding = [](const auto& one) { return one.second->state() == State::kStanding; };
  const auto hasFailed = [](const auto& one) { return one.second->state() == State::kFailed; };
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

ModuleLoader::Failure ModuleLoader::failure() const {
  for (const auto& [number, slot] : fSlots) {
    if (slot->state() == State::kFailed) return {slot->name(), slot->error()};
  }
  return {};
}

std::vector<std::string> ModuleLoader::modules() const {
  const std::lock_guard lock(fMutex);
  std::vector<std::string> names;
  for (const auto& [number, slot] : fSlots) names.push_back(slot->name());
  return names;
}

ModuleSlot* ModuleLoader::xFind(const std::string& name) const {
  const auto found =
      std::ranges::find_if(fSlots, [&](const auto& one) { return one.second->name() == name; });
  return found == fSlots.end() ? nullptr : found->second.get();
}

ModuleSlot* ModuleLoader::xFind(int number) const {
  const auto found = fSlots.find(number);
  return found == fSlots.end() ? nullptr : found->second.get();
}

void ModuleLoader::unload(const std::string& name) {
  ModuleSlot* const slot = xFind(name);
  if (slot == nullptr) throw std::invalid_argument("Module " + name + " is not loaded");
  xUnload(slot);
}

void ModuleLoader::unload(int number) {
  if (ModuleSlot* const slot = xFind(number)) xUnload(slot);
}

void ModuleLoader::unloadAll() {
  while (!fSlots.empty()) xUnload(fSlots.rbegin()->second.get());
}

void ModuleLoader::xUnload(ModuleSlot* slot) {
  slot->unload();
  std::unique_ptr<ModuleSlot> gone;  // destroyed without the lock: its thread announces under it
  const std::lock_guard lock(fMutex);
  const auto found =
      std::ranges::find_if(fSlots, [&](const auto& one) { return one.second.get() == slot; });
  gone = std::move(found->second);
  fSlots.erase(found);
  fChanged.notify_all();
}

}  // namespace tavro
