// A small HBMemory for tests: values by key, subscriptions to everything. Counts what is asked.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "framework/hb/hb_memory_proxy.h"
#include "framework/xo/session.h"

namespace door {

class FakeMemory {
 public:
  explicit FakeMemory(xo::Session& session) {
    using Wake = std::function<void()>;
    xo::ObjectBuilder builder;
    builder.add(xo::makeMethod({"getData", "", {}, {}, {}}, this, &FakeMemory::get));
    builder.add(xo::makeMethod({"insertData", "", {}, {}, {}}, this, &FakeMemory::insert));
    builder.add(xo::makeMethod<int(const std::string&, const Wake&)>(
        {"subscribe", "", {}, {}, {}},
        [this](const std::string& pattern, const Wake& wake) { return subscribe(pattern, wake); }));
    builder.add(xo::makeMethod({"changesPart", "", {}, {}, {}}, this, &FakeMemory::changesPart));
    builder.add(xo::makeMethod({"unsubscribe", "", {}, {}, {}}, this, &FakeMemory::unsubscribe));
    fRegistration = session.registerService("HBMemory", std::move(builder));
  }

  void insert(const std::string& key, const HB::HBValue& value) {
    std::scoped_lock lock(fMutex);
    fValues[key] = value;
    for (auto& [number, one] : fSubscriptions) {
      if (key.find(one.part) == std::string::npos) continue;
      one.changed.insert(key);
      if (one.isWoken) continue;
      one.isWoken = true;
      one.wake();
    }
  }
  HB::HBValue get(const std::string& key) {
    std::scoped_lock lock(fMutex);
    const auto found = fValues.find(key);
    if (found == fValues.end()) throw std::invalid_argument("HBMemory: no key '" + key + "'");
    return found->second;
  }
  /// The pattern is a part of the key here, without stars.
  int subscribe(const std::string& pattern, const std::function<void()>& wake) {
    std::scoped_lock lock(fMutex);
    Subscription one{pattern == "*" ? "" : pattern, wake, {}, false};
    for (const auto& [key, value] : fValues) {
      if (key.find(one.part) != std::string::npos) one.changed.insert(key);
    }
    fSubscriptions.emplace(++fLast, std::move(one));
    return fLast;
  }
  /// Counts the bytes of texts alone.
  HB::MemoryChanges changesPart(int subscription, int mostBytes) {
    std::scoped_lock lock(fMutex);
    ++fReads;
    auto& one = fSubscriptions.at(subscription);
    if (one.reading.empty()) {
      one.isWoken = false;
      one.reading.swap(one.changed);
    }
    HB::MemoryChanges part;
    std::size_t bytes = 0;
    while (!one.reading.empty()) {
      const std::string key = *one.reading.begin();
      HB::HBValue value = fValues.at(key);
      const std::size_t more =
          value.getType() == HB::HBValue::TypeString ? value.toString().size() : 1;
      if (more > static_cast<std::size_t>(mostBytes)) value = {};
      bytes += value.isValid() ? more : 1;
      if (bytes > static_cast<std::size_t>(mostBytes)) break;
      part.items.emplace_back(key, std::move(value));
      one.reading.erase(key);
      one.changed.erase(key);
    }
    part.isMore = !one.reading.empty();
    return part;
  }
  void unsubscribe(int subscription) {
    std::scoped_lock lock(fMutex);
    fSubscriptions.erase(subscription);
  }

  /// Calls of `changesPart` so far.
  int reads() const {
    std::scoped_lock lock(fMutex);
    return fReads;
  }
  std::size_t subscriptions() const {
    std::scoped_lock lock(fMutex);
    return fSubscriptions.size();
  }
  /// The service goes; the object stays.
  void close() { fRegistration->close(); }

 private:
  struct Subscription {
    std::string part;
    std::function<void()> wake;
    std::set<std::string> changed;
    bool isWoken;
    std::set<std::string> reading = {};  // the rest of a batch
  };
  mutable std::mutex fMutex;
  std::map<std::string, HB::HBValue> fValues;
  std::map<int, Subscription> fSubscriptions;
  int fLast = 0;
  int fReads = 0;
  std::unique_ptr<xo::Session::Registration> fRegistration;
};

}  // namespace door
