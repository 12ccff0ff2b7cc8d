// The module "HBMemory": the robot's shared memory as a service. Owned by the broker; it has no
// thread, its methods run on their callers' threads.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "framework/hb/hb_module.h"
#include "services/memory/src/store.h"

namespace HB {

/// Publishes a Store. Thread-safe. The published documentation says what each method does;
/// `HBMemoryProxy` is how C++ calls it.
class HBMemory : public HBModule {
 public:
  explicit HBMemory(std::shared_ptr<HBBroker> broker);
  ~HBMemory() override;

  HBValue getData(const std::string& key) const;
  void insertData(const std::string& key, const HBValue& value);
  void insertDataBatch(const std::vector<std::string>& keys, const std::vector<HBValue>& values);
  std::vector<std::string> listKeys(const std::string& pattern) const;
  std::vector<HBValue> snapshot(const std::string& pattern) const;
  std::vector<int> floatHandles(const std::vector<std::string>& keys);
  void writeFloats(const std::vector<int>& handles, const std::vector<float>& values);
  int subscribe(const std::string& pattern, const std::function<void()>& wake);
  std::vector<MemoryItem> changes(int subscription);
  MemoryChanges changesPart(int subscription, int mostBytes);
  void unsubscribe(int subscription);

 private:
  void xPublishValues();
  void xPublishReaders();
  void xPublishHandles();
  void xPublishSubscriptions();

  Store fStore;
};

}  // namespace HB
