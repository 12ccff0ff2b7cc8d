#include "tavro/test/unload_rack.h"

#include <malloc.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <sstream>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define HAS_SANITIZER_HEAP 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define HAS_SANITIZER_HEAP 1
#endif
#endif

#ifdef HAS_SANITIZER_HEAP
// Of the sanitizers' runtime; g++ 12 ships no header with it.
extern "C" std::size_t __sanitizer_get_current_allocated_bytes();
#endif

namespace tavro::test {
namespace {

constexpr std::chrono::seconds kPatience{60};

std::string fileOf(const std::string& module) {
  return std::string(ROBOT_MODULE_DIRECTORY "/lib") + module + ".so";
}

std::size_t entriesOf(const char* folder) {
  const std::filesystem::directory_iterator entries(folder);
  return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

}  // namespace

Watchdog::Watchdog(std::function<std::string()> more)
    : fMore(std::move(more)), fThread([this] { run(); }) {}

Watchdog::~Watchdog() {
  {
    const std::lock_guard lock(fMutex);
    fIsOver = true;
    fChanged.notify_all();
  }
  fThread.join();
}

void Watchdog::watch(std::string stage) {
  const std::lock_guard lock(fMutex);
  fStage = std::move(stage);
  fChanged.notify_all();
}

void Watchdog::run() {
  std::unique_lock lock(fMutex);
  while (!fIsOver) {
    if (fStage.empty()) {
      fChanged.wait(lock);
    } else if (fChanged.wait_for(lock, kPatience) == std::cv_status::timeout) {
      const std::string text = "Did not come to an end: " + fStage + "\n" + fMore();
      std::fputs(text.c_str(), stderr);
      std::abort();
    }
  }
}

Rack::Rack(const std::string& model)
    : fBroker(HB::HBBroker::create(fSession, {{"model", model}})),
      fAccess(fSession),
      fLoader(fBroker, fTap) {}

void Rack::load(const std::string& module) {
  fLoader.loadWhole(fileOf(module), [] { return false; });
}

void Rack::beginToLoad(const std::string& module) { fLoader.load(fileOf(module)); }

bool Rack::isLoaded(const std::string& module) const {
  const auto modules = fLoader.modules();
  return std::ranges::find(modules, module) != modules.end();
}

bool Rack::isMapped(const std::string& module) { return ModuleLibrary::isMapped(fileOf(module)); }

Footprint footprint() { return {entriesOf("/proc/self/task"), entriesOf("/proc/self/fd")}; }

std::ostream& operator<<(std::ostream& out, const Footprint& footprint) {
  return out << footprint.threads << " threads, " << footprint.descriptors << " descriptors";
}

std::size_t heapInUse() {
#ifdef HAS_SANITIZER_HEAP
  return __sanitizer_get_current_allocated_bytes();
#else
  const auto info = mallinfo2();  // of all arenas
  return info.uordblks + info.hblkhd;
#endif
}

double heapOfSanitizerPerRound() {
#ifdef HAS_SANITIZER_HEAP
  // The address sanitizer's note of each static destructor of a library that comes; it keeps them
  // for ever, thirty-two to a kilobyte. What is really lost the leak sanitizer finds.
  return 1024;
#else
  return 0;
#endif
}

double HeapTrend::bytesPerRound() const {
  const auto count = static_cast<double>(fNotes.size());
  double meanRound = 0;
  double meanBytes = 0;
  for (const auto& note : fNotes) {
    meanRound += note.round / count;
    meanBytes += note.bytes / count;
  }
  double covariance = 0;
  double variance = 0;
  for (const auto& note : fNotes) {
    covariance += (note.round - meanRound) * (note.bytes - meanBytes);
    variance += (note.round - meanRound) * (note.round - meanRound);
  }
  return covariance / variance;
}

std::string HeapTrend::text() const {
  std::ostringstream text;
  text << "heap in use by round:" << std::fixed;
  text.precision(0);
  for (const auto& note : fNotes) text << ' ' << note.round << ": " << note.bytes << ';';
  return text.str();
}

}  // namespace tavro::test
