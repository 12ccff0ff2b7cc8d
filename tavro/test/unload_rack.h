// A robot of real modules in this process, without the remote layer, that a test loads and takes
// away again, and the scales that it stands on.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <functional>
#include <iostream>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "access/access.h"
#include "tavro/module_loader.h"

namespace tavro::test {

/// Ends the process when a stage takes longer than a minute, after a line that names the stage. One
/// thread, as long as it lives.
class Watchdog {
 public:
  /// `more` tells what still runs, on the watchdog's thread.
  explicit Watchdog(std::function<std::string()> more);
  ~Watchdog();
  Watchdog(const Watchdog&) = delete;
  Watchdog& operator=(const Watchdog&) = delete;

  /// The stage before has ended, this one begins.
  void watch(std::string stage);

 private:
  void run();

  const std::function<std::string()> fMore;
  std::mutex fMutex;  // guards all below
  std::condition_variable fChanged;
  std::string fStage;
  bool fIsOver = false;
  std::thread fThread;
};

/// Waits until `condition` holds, for as long as the watchdog allows. Looks now and then: what is
/// waited for (threads of the kernel, counts) has nobody who tells of a change.
template <class F>
void await(F condition) {
  while (!condition()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

/// The robot's modules by name ("leds"), as the host loads them.
class Rack {
 public:
  explicit Rack(const std::string& model);
  Rack(const Rack&) = delete;
  Rack& operator=(const Rack&) = delete;

  door::Access& access() { return fAccess; }
  xo::Object service(const std::string& name) const { return fSession->find(name); }

  /// Returns when it stands. Errors: as `ModuleLoader::loadWhole`.
  void load(const std::string& module);
  /// Returns when it stands or waits for a service.
  void beginToLoad(const std::string& module);
  void unload(const std::string& module) { fLoader.unload(module); }

  /// In the order of loading.
  std::vector<std::string> modules() const { return fLoader.modules(); }
  bool isLoaded(const std::string& module) const;
  /// Whether any of its library is in this process's memory.
  static bool isMapped(const std::string& module);

 private:
  const std::shared_ptr<xo::Session> fSession = std::make_shared<xo::Session>();
  const std::shared_ptr<HB::HBBroker> fBroker;
  door::Access fAccess;
  OutputTap fTap{std::cout};
  ModuleLoader fLoader;
};

/// What a process has of the things that leak besides memory.
struct Footprint {
  std::size_t threads;
  std::size_t descriptors;
  bool operator==(const Footprint&) const = default;
};
/// This process's, now. A thread that was joined may still be in the kernel's list for a moment.
Footprint footprint();
std::ostream& operator<<(std::ostream& out, const Footprint& footprint);

/// Bytes that this process has allocated and not freed.
std::size_t heapInUse();
/// Of these, at most so many a round are a sanitizer's own.
double heapOfSanitizerPerRound();

/// The heap over the rounds of a test.
class HeapTrend {
 public:
  HeapTrend() { fNotes.reserve(1024); }  // its own growth is none of the test's

  void note(int round) { xNote(round, static_cast<double>(heapInUse())); }
  std::size_t notes() const { return fNotes.size(); }
  /// Bytes a round: the slope of the straight line that fits best. At least two notes.
  double bytesPerRound() const;
  /// Every note, for messages.
  std::string text() const;

 private:
  struct Note {
    double round;
    double bytes;
  };
  void xNote(double round, double bytes) { fNotes.push_back({round, bytes}); }
  std::vector<Note> fNotes;
};

}  // namespace tavro::test
