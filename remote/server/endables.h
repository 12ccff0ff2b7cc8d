// What the end of the server ends before its time: streams, and calls whose futures run.
#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <mutex>

namespace remote {

class Endable {
 public:
  /// The server ends: reply now. May come together with the regular end.
  virtual void endWithServer() = 0;

 protected:
  ~Endable() = default;
};

/// Thread-safe.
class Endables {
 public:
  /// Ended at once when `endAll` ran already.
  void add(const std::shared_ptr<Endable>& endable);
  void remove(Endable* endable);
  /// Ends everything that is here, now and later.
  void endAll();
  bool isEnding() const;
  std::size_t size() const;

 private:
  mutable std::mutex fMutex;
  bool fIsEnding = false;
  std::map<Endable*, std::weak_ptr<Endable>> fEndables;
};

}  // namespace remote
