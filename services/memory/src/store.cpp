#include "services/memory/src/store.h"

#include <algorithm>
#include <bit>
#include <stdexcept>

namespace HB {
namespace {

[[noreturn]] void refuse(const std::string& text) {
  throw std::invalid_argument("HBMemory: " + text);
}

std::string quoted(const std::string& key) { return "'" + key + "'"; }

bool isNumber(const HBValue& value) {
  return value.getType() == HBValue::TypeFloat || value.getType() == HBValue::TypeInt;
}

void requireEqual(const char* method, std::size_t keys, const char* what, std::size_t values) {
  if (keys == values) return;
  refuse(std::string(method) + ": " + std::to_string(keys) + " " + what + ", but " +
         std::to_string(values) + " values");
}

}  // namespace

HBValue Store::get(const std::string& key) const {
  const std::shared_lock lock(fTable);
  const auto found = fPlaces.find(key);
  if (found == fPlaces.end()) refuse("getData: there is no key " + quoted(key));
  return xGet(found->second);
}

void Store::insert(const std::string& key, const HBValue& value) {
  Wakes wakes;
  {
    const std::lock_guard change(fChange);
    std::vector<Item> items{{&key, &value, xFind(key)}};
    xCheck("insertData", 0, items.front());
    wakes = xInsert(items);
  }
  xWake(wakes);
}

void Store::insertBatch(const std::vector<std::string>& keys, const std::vector<HBValue>& values) {
  requireEqual("insertDataBatch", keys.size(), "keys", values.size());
  Wakes wakes;
  {
    const std::lock_guard change(fChange);
    std::vector<Item> items;
    items.reserve(keys.size());
    for (std::size_t i = 0; i < keys.size(); ++i) {
      items.push_back({&keys[i], &values[i], xFind(keys[i])});
      xCheck("insertDataBatch", i, items.back());
    }
    wakes = xInsert(items);
  }
  xWake(wakes);
}

std::vector<int> Store::floatHandles(const std::vector<std::string>& keys) {
  const HBValue zero = 0.0f;
  std::vector<int> handles;
  handles.reserve(keys.size());
  Wakes wakes;
  {
    const std::lock_guard change(fChange);
    std::vector<Item> fresh;
    for (std::size_t i = 0; i < keys.size(); ++i) {
      const Item item{&keys[i], &zero, xFind(keys[i])};
      xCheck("floatHandles", i, item);
      if (item.place == kNowhere) {
        fresh.push_back(item);
      } else if (fIsOther[item.place]) {
        refuse("floatHandles: key " + std::to_string(i) + ", " + quoted(keys[i]) + ", holds " +
               std::string(typeName(xGet(item.place).getType())) + "; expected a float");
      }
    }
    wakes = xInsert(fresh);
    for (const auto& key : keys) {
      const Place place = xFind(key);
      fHasHandle[place] = true;
      handles.push_back(static_cast<int>(place));
    }
  }
  xWake(wakes);
  return handles;
}

void Store::writeFloats(const std::vector<int>& handles, const std::vector<float>& values) {
  requireEqual("writeFloats", handles.size(), "handles", values.size());
  Wakes wakes;
  {
    const std::lock_guard change(fChange);
    for (std::size_t i = 0; i < handles.size(); ++i) {
      const auto place = static_cast<Place>(handles[i]);  // a negative one becomes huge
      if (place >= fHasHandle.size() || !fHasHandle[place]) {
        refuse("writeFloats: handle " + std::to_string(i) + ", " + std::to_string(handles[i]) +
               ", was never given out");
      }
    }
    ++fVersion;
    for (std::size_t i = 0; i < handles.size(); ++i) {
      xSetFloat(static_cast<Place>(handles[i]), values[i]);
    }
    wakes = xCollectWakes(handles);
  }
  xWake(wakes);
}

Store::Place Store::xFind(const std::string& key) const {
  const auto found = fPlaces.find(key);
  return found == fPlaces.end() ? kNowhere : found->second;
}

void Store::xCheck(const char* method, Place index, const Item& item) const {
  const auto where = [&] { return std::string(method) + ": key " + std::to_string(index); };
  if (item.key->empty()) refuse(where() + " is empty");
  if (!item.value->isValid()) refuse(where() + ", " + quoted(*item.key) + ", has an invalid value");
  if (item.place != kNowhere && fHasHandle[item.place] && !isNumber(*item.value)) {
    refuse(where() + ", " + quoted(*item.key) + ", is written by handle and stays a float; " +
           item.value->toText(40) + " is none");
  }
}

Store::Wakes Store::xInsert(std::vector<Item>& items) {
  const auto isFloatWrite = [&](const Item& item) {
    return item.place != kNowhere && !fIsOther[item.place] &&
           (fHasHandle[item.place] || item.value->getType() == HBValue::TypeFloat);
  };
  const auto fresh = std::count_if(items.begin(), items.end(),
                                   [](const Item& item) { return item.place == kNowhere; });
  if (fKeys.size() + static_cast<std::size_t>(fresh) > kMaxKeys) {
    throw std::length_error("HBMemory: no room for more than " + std::to_string(kMaxKeys) +
                            " keys");
  }
  ++fVersion;
  if (std::all_of(items.begin(), items.end(), isFloatWrite)) {
    for (const Item& item : items) xSetFloat(item.place, item.value->toFloat());
  } else {
    const std::unique_lock table(fTable);
    for (Item& item : items) {
      item.place = xFindOrAdd(*item.key);
      xSetAny(item);
    }
  }
  std::vector<int> written;
  written.reserve(items.size());
  for (const Item& item : items) written.push_back(static_cast<int>(item.place));
  return xCollectWakes(written);
}

Store::Place Store::xFindOrAdd(const std::string& key) {
  const auto [entry, isNew] = fPlaces.try_emplace(key, fKeys.size());
  if (!isNew) return entry->second;
  const Place place = entry->second;
  if (place / kChunkSize == fChunks.size()) fChunks.push_back(std::make_unique<Chunk>());
  fKeys.push_back(&entry->first);
  fIsOther.push_back(false);
  fHasHandle.push_back(false);
  fVersions.push_back(fVersion);
  for (const auto& [number, subscription] : fSubscriptions) {
    xMatch(*subscription, place, entry->first);
  }
  return place;
}

void Store::xSetAny(const Item& item) {
  const Place place = item.place;
  const bool isFloat = fHasHandle[place] || item.value->getType() == HBValue::TypeFloat;
  if (isFloat && !fIsOther[place]) return xSetFloat(place, item.value->toFloat());
  if (isFloat) {
    fOthers.erase(place);
    xFloat(place).store(item.value->toFloat(), std::memory_order_relaxed);
  } else {
    HBValue& value = fOthers[place];
    if (value == *item.value) return;
    value = *item.value;
  }
  fIsOther[place] = !isFloat;
  fVersions[place] = fVersion;
}

void Store::xSetFloat(Place place, float value) {
  std::atomic<float>& slot = xFloat(place);
  const float before = slot.load(std::memory_order_relaxed);
  if (std::bit_cast<std::uint32_t>(before) == std::bit_cast<std::uint32_t>(value)) return;
  slot.store(value, std::memory_order_relaxed);
  fVersions[place] = fVersion;
}

HBValue Store::xGet(Place place) const {
  if (fIsOther[place]) return fOthers.at(place);
  return xFloat(place).load(std::memory_order_relaxed);
}

}  // namespace HB
