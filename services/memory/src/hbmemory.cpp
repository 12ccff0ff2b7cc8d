#include "services/memory/src/hbmemory.h"

#include <utility>

namespace HB {
namespace {

constexpr const char* kName = "HBMemory";
constexpr const char* kPatternText =
    "Which keys. \"\" and \"*\" are every key; \"*\" stands for any text, \"/\" included; a "
    "pattern without a leading \"*\" may begin at the start of any path component, and reaches to "
    "the key's end.";

}  // namespace

HBMemory::HBMemory(std::shared_ptr<HBBroker> broker) : HBModule(std::move(broker), kName) {
  setModuleDescription(
      "The robot's shared memory: typed values by key. Services leave here what others may read; "
      "the value of every device stands here under \"Device/SubDeviceList/\" and its name. A key, "
      "once made, stays. Several values that are written by one call are one change: a snapshot or "
      "a subscriber sees all of them or none.");
  xPublishValues();
  xPublishReaders();
  xPublishHandles();
  xPublishSubscriptions();
}

HBMemory::~HBMemory() { shutDown(); }

void HBMemory::xPublishValues() {
  functionName("getData", kName, "Reads one value. Never waits for a writer of device values.");
  addParam("key", "The whole key. An unknown one is refused (invalid_argument).");
  setReturn("value", "The value now.");
  addMethodExample("python", "value = proxy.getData(\"RobotConfig/Head/Type\")");
  advertiseMethod(this, &HBMemory::getData);

  functionName("insertData", kName, "Creates or replaces one value.");
  addParam("key", "Any text but the empty one (invalid_argument).");
  addParam(
      "value",
      "Any valid value (else invalid_argument); NaN is a float like others. Replaces a value of "
      "any type, except that a key whose handle was given out stays a float: an integer is "
      "converted, anything else refused (invalid_argument).");
  addMethodExample("python", "proxy.insertData(\"Demo/Greeting\", \"hello\")");
  advertiseMethod(this, &HBMemory::insertData);

  functionName("insertDataBatch", kName, "Creates or replaces many values as one change.");
  addParam("keys", "As for insertData. Of a key given twice the later value holds.");
  addParam("values",
           "One for each key. When the lists differ in length or one entry is refused, nothing is "
           "written (invalid_argument that names the entry).");
  addMethodExample("python", "proxy.insertDataBatch([\"Demo/A\", \"Demo/B\"], [0.5, True])");
  advertiseMethod(this, &HBMemory::insertDataBatch);
}

void HBMemory::xPublishReaders() {
  functionName("listKeys", kName, "Lists keys.");
  addParam("pattern", kPatternText);
  setReturn("keys", "Every matching key, ascending.");
  addMethodExample("python", "keys = proxy.listKeys(\"Face/*\")");
  advertiseMethod(this, &HBMemory::listKeys);

  functionName("snapshot", kName, "Reads many values at one instant.");
  addParam("pattern", kPatternText);
  setReturn("items", "A list [key, value] for every matching key, in the keys' ascending order.");
  addMethodExample("python", "for key, value in proxy.snapshot(\"Face/*\"): print(key, value)");
  advertiseMethod(this, &HBMemory::snapshot);
}

void HBMemory::xPublishHandles() {
  functionName("floatHandles", kName,
               "Gives handles for fast writes of floats; keys that do not exist are created with "
               "0.0. From then on these keys hold floats only.");
  addParam("keys",
           "A key that holds another type, or an empty one, is refused and nothing is created "
           "(invalid_argument).");
  setReturn("handles",
            "One for each key. A key has the same handle for as long as the memory runs.");
  addMethodExample("python", "handles = proxy.floatHandles([\"Demo/Level\"])");
  advertiseMethod(this, &HBMemory::floatHandles);

  functionName("writeFloats", kName, "Writes floats by handle, all as one change.");
  addParam("handles", "From floatHandles. Of a handle given twice the later value holds.");
  addParam("values",
           "One for each handle. When the lists differ in length or a handle was never given out, "
           "nothing is written (invalid_argument).");
  addMethodExample("python", "proxy.writeFloats(proxy.floatHandles([\"Demo/Level\"]), [0.5])");
  advertiseMethod(this, &HBMemory::writeFloats);
}

void HBMemory::xPublishSubscriptions() {
  functionName(
      "subscribe", kName,
      "Subscribes to the keys that match, now and later. Inside the robot's process only.");
  addParam("pattern", kPatternText);
  addParam(
      "wake",
      "Called when a matching value changed: once, then not again before changes() is called. "
      "It runs on the writer's thread, must be short, must not block and must call no service. "
      "A write that leaves a value as it was is no change.");
  setReturn("subscription", "Its number, positive.");
  advertiseMethod(this, &HBMemory::subscribe);

  functionName("changes", kName, "What a subscription has not seen yet, read at one instant.");
  addParam("subscription", "From subscribe. An unknown one is refused (invalid_argument).");
  setReturn("items",
            "At the first call every matching key, then those changed since the call before; keys "
            "and values, ascending.");
  advertiseMethod(this, &HBMemory::changes);

  functionName("changesPart", kName,
               "The same in parts, for readers that must not hold more. Each part is read at one "
               "instant; what changes behind it comes with the next batch.");
  addParam("subscription", "From subscribe. An unknown one is refused (invalid_argument).");
  addParam("mostBytes",
           "What a part may take of memory, from 1 on (invalid_argument). It holds one key at "
           "least; a value that is larger alone comes as the invalid value.");
  setReturn("part", "Keys and values, ascending, and whether the batch goes on.");
  advertiseMethod(this, &HBMemory::changesPart);

  functionName("unsubscribe", kName,
               "Ends a subscription. When it returns, its wake does not run and will not. Unknown "
               "ones are ignored. Not from inside a wake.");
  addParam("subscription", "From subscribe.");
  advertiseMethod(this, &HBMemory::unsubscribe);
}

HBValue HBMemory::getData(const std::string& key) const { return fStore.get(key); }

void HBMemory::insertData(const std::string& key, const HBValue& value) {
  fStore.insert(key, value);
}

void HBMemory::insertDataBatch(const std::vector<std::string>& keys,
                               const std::vector<HBValue>& values) {
  fStore.insertBatch(keys, values);
}

std::vector<std::string> HBMemory::listKeys(const std::string& pattern) const {
  return fStore.keys(pattern);
}

std::vector<HBValue> HBMemory::snapshot(const std::string& pattern) const {
  std::vector<HBValue> pairs;
  for (MemoryItem& item : fStore.snapshot(pattern)) {
    pairs.push_back(HBValue::list({std::move(item.first), std::move(item.second)}));
  }
  return pairs;
}

std::vector<int> HBMemory::floatHandles(const std::vector<std::string>& keys) {
  return fStore.floatHandles(keys);
}

void HBMemory::writeFloats(const std::vector<int>& handles, const std::vector<float>& values) {
  fStore.writeFloats(handles, values);
}

int HBMemory::subscribe(const std::string& pattern, const std::function<void()>& wake) {
  return fStore.subscribe(pattern, wake);
}

std::vector<MemoryItem> HBMemory::changes(int subscription) { return fStore.changes(subscription); }

MemoryChanges HBMemory::changesPart(int subscription, int mostBytes) {
  return fStore.changesPart(subscription, mostBytes);
}

void HBMemory::unsubscribe(int subscription) { fStore.unsubscribe(subscription); }

}  // namespace HB
