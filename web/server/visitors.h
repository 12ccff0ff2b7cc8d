// Who is connected to the page's server. On the page's thread alone but for what says otherwise.
#pragma once

#include <cstddef>
#include <memory>
#include <set>
#include <vector>

#include "web/server/tally.h"

namespace web {

class Visitor;

/// Every open connection. Outlives them.
class Visitors {
 public:
  std::size_t size() const { return fAll.size(); }
  std::vector<std::shared_ptr<Visitor>> all() const;
  /// For any thread.
  Tally& presence() { return fPresence; }

 private:
  friend class Visitor;
  std::set<Visitor*> fAll;
  Tally fPresence;
};

/// One connection; counts while it lives.
class Visitor : public std::enable_shared_from_this<Visitor> {
 public:
  explicit Visitor(Visitors& visitors)
      : fVisitors(visitors), fPresence(visitors.presence().enter()) {
    fVisitors.fAll.insert(this);
  }
  virtual ~Visitor() { fVisitors.fAll.erase(this); }
  Visitor(const Visitor&) = delete;
  Visitor& operator=(const Visitor&) = delete;

  /// The server ends: say so and go.
  virtual void leave() = 0;
  /// Go at once.
  virtual void cut() = 0;
  /// There may be new lines in the log.
  virtual void logGrew() {}

 protected:
  Visitors& fVisitors;

 private:
  const std::shared_ptr<void> fPresence;
};

inline std::vector<std::shared_ptr<Visitor>> Visitors::all() const {
  std::vector<std::shared_ptr<Visitor>> visitors;
  for (Visitor* const one : fAll) {
    if (auto alive = one->weak_from_this().lock()) visitors.push_back(std::move(alive));
  }
  return visitors;
}

}  // namespace web
