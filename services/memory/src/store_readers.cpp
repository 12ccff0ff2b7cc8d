// How a Store is read many values at a time: lists, snapshots and subscriptions.
#include <algorithm>
#include <exception>
#include <iterator>
#include <limits>
#include <stdexcept>
#include <utility>

#include "framework/xo/log.h"
#include "services/memory/src/store.h"

namespace HB {
namespace {

const xo::log::Category kLog("HBMemory");

/// What a value takes besides itself.
std::size_t bytesBehind(const HBValue& value) {
  switch (value.getType()) {
    case HBValue::TypeString:
      return value.toString().size();
    case HBValue::TypeBinary:
      return value.toBinary().bytes.size();
    case HBValue::TypeList: {
      std::size_t bytes = 0;
      for (const HBValue& element : value.toList()) bytes += sizeof(element) + bytesBehind(element);
      return bytes;
    }
    default:
      return 0;
  }
}

}  // namespace

std::vector<std::string> Store::keys(const std::string& pattern) const {
  const KeyPattern wanted(pattern);
  std::vector<std::string> found;
  {
    const std::shared_lock lock(fTable);
    for (const std::string* key : fKeys) {
      if (wanted.matches(*key)) found.push_back(*key);
    }
  }
  std::sort(found.begin(), found.end());
  return found;
}

std::vector<MemoryItem> Store::snapshot(const std::string& pattern) const {
  const KeyPattern wanted(pattern);
  std::vector<Place> places;
  Place seen = 0;
  const auto match = [&] {
    for (; seen < fKeys.size(); ++seen) {
      if (wanted.matches(*fKeys[seen])) places.push_back(seen);
    }
  };
  {
    const std::shared_lock lock(fTable);  // the long part, while writers of floats go on
    match();
  }
  std::vector<Read> reads;
  {
    const std::lock_guard change(fChange);
    match();  // what came in between belongs to it: half a batch must not show
    reads.reserve(places.size());
    for (const Place place : places) reads.push_back({fKeys[place], xGet(place)});
  }
  std::sort(reads.begin(), reads.end(),
            [](const Read& a, const Read& b) { return *a.key < *b.key; });
  return xItems(std::move(reads));
}

int Store::subscribe(const std::string& pattern, const std::function<void()>& wake) {
  if (!wake) throw std::invalid_argument("HBMemory: subscribe: there is nothing to call");
  const auto subscription = std::make_shared<Subscription>(KeyPattern(pattern));
  subscription->wake = wake;
  const std::lock_guard change(fChange);
  for (Place place = 0; place < fKeys.size(); ++place) {
    xMatch(*subscription, place, *fKeys[place]);
  }
  fSubscriptions.emplace(fNextSubscription, subscription);
  return fNextSubscription++;
}

Store::SubscriptionPtr Store::xSubscription(const char* method, int number) const {
  const auto found = fSubscriptions.find(number);
  if (found != fSubscriptions.end()) return found->second;
  throw std::invalid_argument(std::string("HBMemory: ") + method + ": there is no subscription " +
                              std::to_string(number));
}

void Store::xSort(Subscription& subscription) const {
  if (subscription.isSorted) return;
  std::sort(subscription.places.begin(), subscription.places.end(),
            [this](Place a, Place b) { return *fKeys[a] < *fKeys[b]; });
  subscription.isSorted = true;
}

std::size_t Store::xBytes(Place place) const {
  return sizeof(MemoryItem) + fKeys[place]->size() +
         (fIsOther[place] ? bytesBehind(fOthers.at(place)) : 0);
}

MemoryChanges Store::xChanges(const char* method, int number, std::size_t mostBytes) {
  std::vector<Read> reads;
  bool isMore = false;
  {
    const std::lock_guard change(fChange);
    const SubscriptionPtr subscription = xSubscription(method, number);
    xSort(*subscription);
    const auto& places = subscription->places;
    auto& reading = subscription->reading;
    auto next = places.begin();
    if (reading.empty()) {
      subscription->isDirty = false;
    } else {
      next = std::upper_bound(
          next, places.end(), *reading.back().upTo,
          [this](const std::string& key, Place place) { return key < *fKeys[place]; });
    }
    auto seen = subscription->seen.cbegin();
    std::size_t total = 0;
    for (; next != places.end(); ++next) {
      const std::string* const key = fKeys[*next];
      while (seen->upTo != nullptr && *seen->upTo < *key) ++seen;
      if (fVersions[*next] <= seen->version) continue;
      const std::size_t bytes = xBytes(*next);
      const bool isTooLarge = bytes > mostBytes;
      total += isTooLarge ? sizeof(MemoryItem) + key->size() : bytes;
      isMore = total > mostBytes && !reads.empty();
      if (isMore) break;
      reads.push_back({key, isTooLarge ? HBValue() : xGet(*next)});
    }
    reading.push_back({isMore ? fKeys[*std::prev(next)] : nullptr, fVersion});
    if (!isMore) subscription->seen = std::exchange(reading, {});
  }
  return {xItems(std::move(reads)), isMore};
}

std::vector<MemoryItem> Store::changes(int number) {
  return xChanges("changes", number, std::numeric_limits<std::size_t>::max()).items;
}

MemoryChanges Store::changesPart(int number, int mostBytes) {
  if (mostBytes < 1) {
    throw std::invalid_argument("HBMemory: changesPart: mostBytes is " + std::to_string(mostBytes) +
                                "; it must be 1 or more");
  }
  return xChanges("changesPart", number, static_cast<std::size_t>(mostBytes));
}

void Store::unsubscribe(int number) {
  SubscriptionPtr subscription;
  {
    const std::lock_guard change(fChange);
    const auto found = fSubscriptions.find(number);
    if (found == fSubscriptions.end()) return;
    subscription = std::move(found->second);
    fSubscriptions.erase(found);
  }
  const std::lock_guard lock(subscription->wakeMutex);  // waits for a wake that runs
  subscription->wake = nullptr;
}

void Store::xMatch(Subscription& subscription, Place place, const std::string& key) {
  const bool isMatch = subscription.pattern.matches(key);
  subscription.isMatch.push_back(isMatch);
  if (!isMatch) return;
  subscription.places.push_back(place);
  subscription.isSorted = false;
}

Store::Wakes Store::xCollectWakes(std::span<const int> written) {
  Wakes wakes;
  for (const auto& entry : fSubscriptions) {
    const auto& subscription = entry.second;
    if (subscription->isDirty) continue;
    subscription->isDirty = std::any_of(written.begin(), written.end(), [&](int handle) {
      const auto place = static_cast<Place>(handle);
      return fVersions[place] == fVersion && subscription->isMatch[place];
    });
    if (subscription->isDirty) wakes.push_back(subscription);
  }
  return wakes;
}

void Store::xWake(const Wakes& wakes) {
  for (const auto& subscription : wakes) {
    const std::lock_guard lock(subscription->wakeMutex);
    if (!subscription->wake) continue;
    try {
      subscription->wake();
    } catch (const std::exception& error) {
      kLog.error(std::string("A subscriber's wake failed: ") + error.what());
    } catch (...) {
      kLog.error("A subscriber's wake failed");
    }
  }
}

std::vector<MemoryItem> Store::xItems(std::vector<Read> reads) {
  std::vector<MemoryItem> items;
  items.reserve(reads.size());
  for (Read& read : reads) items.emplace_back(*read.key, std::move(read.value));
  return items;
}

}  // namespace HB
