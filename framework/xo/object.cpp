#include "framework/xo/object.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <unordered_map>

namespace xo {
namespace detail {
namespace {

constexpr int kNoMatch = static_cast<int>(Match::kNone);

[[noreturn]] void throwNull() { throw std::runtime_error("This object is null"); }

std::string argumentsText(std::span<const HB::HBValue> args) {
  std::string text = "(";
  for (const auto& arg : args) {
    if (text.size() > 1) text += ", ";
    text += arg.toText(40);
  }
  return text + ")";
}

}  // namespace

/// The methods of one published service. Immutable.
class Table {
 public:
  Table(ObjectBuilder builder, Ending* ending)
      : fName(builder.name()),
        fDescription(builder.description()),
        fMethods(builder.takeMethods()),
        fEnding(ending) {
    for (const auto& method : fMethods) fByName[method.info.doc.name].push_back(&method);
  }

  Ending* ending() const { return fEnding; }

  const Method* findDirect(std::string_view name, std::uint64_t argsId, std::uint64_t resultId,
                           bool wantsResult) const {
    for (const Method* method : overloads(name)) {
      if (method->argsId == argsId && (!wantsResult || method->resultId == resultId)) return method;
    }
    return nullptr;
  }

  /// The best match; of equals the one published first.
  const Method& findDynamic(std::string_view name, std::span<const HB::HBValue> args) const {
    const Method* best = nullptr;
    int bestScore = kNoMatch;
    for (const Method* method : overloads(name)) {
      const int score = method->match ? method->match(args) : kNoMatch;
      if (score < bestScore) {
        best = method;
        bestScore = score;
      }
    }
    if (best == nullptr) throw std::invalid_argument(noMatchText(name, argumentsText(args)));
    return *best;
  }

  std::string noMatchText(std::string_view name, const std::string& arguments) const {
    const std::string object = fName.empty() ? "The object" : fName;
    const auto& candidates = overloads(name);
    if (candidates.empty()) {
      return object + " has no method '" + std::string(name) + "'";
    }
    std::string text = object + ": " + std::string(name) + " cannot be called with " + arguments +
                       "; candidates: ";
    for (const Method* method : candidates) {
      if (method != candidates.front()) text += ", ";
      text += std::string(name) + method->info.signature.text();
    }
    return text;
  }

  ObjectInfo describe() const {
    ObjectInfo info{fDescription, {}};
    info.methods.reserve(fMethods.size());
    for (const auto& method : fMethods) info.methods.push_back(method.info);
    return info;
  }

 private:
  struct Hash : std::hash<std::string_view> {
    using is_transparent = void;
  };

  const std::vector<const Method*>& overloads(std::string_view name) const {
    static const std::vector<const Method*> kNone;
    const auto found = fByName.find(name);
    return found == fByName.end() ? kNone : found->second;
  }

  const std::string fName;
  const std::string fDescription;
  const std::vector<Method> fMethods;
  std::unordered_map<std::string, std::vector<const Method*>, Hash, std::equal_to<>> fByName;
  Ending* const fEnding;
};

/// What handles share: a table that may come and go, and the count of calls inside it.
///
///   gone --open()--> alive --close()--> closing --last call leaves--> gone
///
/// One word holds both, so that a call costs two atomic steps: the low bit says alive, the rest
/// counts the calls inside.
class ObjectCore {
 public:
  void open(std::unique_ptr<const Table> table) {
    fTable = std::move(table);
    static std::atomic<std::uint64_t> publications{0};  // of all objects
    fGeneration.store(++publications, std::memory_order_relaxed);
    fState.fetch_or(kAlive, std::memory_order_acq_rel);
  }

  void close() {
    std::unique_lock lock(fMutex);
    if ((fState.fetch_and(~kAlive, std::memory_order_acq_rel) & kAlive) == 0) return;
    fEmpty.wait(lock, [this] { return fState.load(std::memory_order_acquire) < kOne; });
    fTable.reset();
  }

  bool isAlive() const noexcept { return (fState.load(std::memory_order_acquire) & kAlive) != 0; }
  std::uint64_t generation() const noexcept { return fGeneration.load(std::memory_order_relaxed); }

  /// Stay inside while it lives; the table stays until then.
  class [[nodiscard]] Visit {
   public:
    explicit Visit(ObjectCore* core) : fCore(core) {
      if (core == nullptr || !core->enter()) throwNull();
    }
    ~Visit() { fCore->leave(); }
    Visit(const Visit&) = delete;
    Visit& operator=(const Visit&) = delete;
    const Table* operator->() const { return fCore->fTable.get(); }

   private:
    ObjectCore* const fCore;
  };

 private:
  static constexpr std::uint64_t kAlive = 1;
  static constexpr std::uint64_t kOne = 2;

  bool enter() noexcept {
    if ((fState.fetch_add(kOne, std::memory_order_acq_rel) & kAlive) != 0) return true;
    leave();
    return false;
  }

  void leave() noexcept {
    if (fState.fetch_sub(kOne, std::memory_order_acq_rel) != kOne) return;
    std::scoped_lock lock(fMutex);  // the closer either has not looked yet or is asleep
    fEmpty.notify_all();
  }

  std::atomic<std::uint64_t> fState{0};
  std::atomic<std::uint64_t> fGeneration{0};
  std::unique_ptr<const Table> fTable;  // written only while nobody is inside
  std::mutex fMutex;
  std::condition_variable fEmpty;
};

namespace {

/// Runs `call` as a call of the visited service. What it throws leaves as an exception without any
/// code of the service's library, which is let go of before the visit ends.
template <class F>
void runCall(const ObjectCore::Visit& visit, F&& call) {
  std::exception_ptr error;
  {
    CallScope scope(visit->ending());
    try {
      call();
    } catch (...) {
      error = copyCurrentException();
    }
  }
  if (error) std::rethrow_exception(error);
}

}  // namespace

bool callDirect(ObjectCore* core, std::string_view name, std::uint64_t argsId,
                std::uint64_t resultId, bool wantsResult, const void* const* args, void* result) {
  const ObjectCore::Visit visit(core);
  const Method* method = visit->findDirect(name, argsId, resultId, wantsResult);
  if (method == nullptr) return false;
  runCall(visit, [&] { method->direct(args, result); });
  return true;
}

}  // namespace detail

bool Object::isAlive() const noexcept { return fCore != nullptr && fCore->isAlive(); }

std::uint64_t Object::generation() const noexcept {
  return fCore == nullptr ? 0 : fCore->generation();
}

CallResult Object::callDynamic(std::string_view name, std::span<const HB::HBValue> args) const {
  const detail::ObjectCore::Visit visit(fCore.get());
  const Method& method = visit->findDynamic(name, args);
  CallResult result;
  detail::runCall(visit, [&] { result = method.dynamic(args); });
  return result;
}

ObjectInfo Object::describe() const {
  if (!isAlive()) return {};
  try {
    return detail::ObjectCore::Visit(fCore.get())->describe();
  } catch (const std::runtime_error&) {
    return {};  // it went meanwhile
  }
}

void Object::throwNoSuchMethod(std::string_view name) const {
  const detail::ObjectCore::Visit visit(fCore.get());
  throw std::invalid_argument(visit->noMatchText(name, "these local C++ types"));
}

ObjectOwner::ObjectOwner(ObjectBuilder builder, Ending* ending,
                         std::shared_ptr<detail::ObjectCore> core)
    : fCore(core ? std::move(core) : std::make_shared<detail::ObjectCore>()), fEnding(ending) {
  fCore->open(std::make_unique<detail::Table>(std::move(builder), ending));
}

ObjectOwner::~ObjectOwner() { close(); }

void ObjectOwner::close() {
  if (fEnding != nullptr) fEnding->raise();
  fCore->close();
}

namespace detail {

std::shared_ptr<ObjectCore> makeObjectCore() { return std::make_shared<ObjectCore>(); }

template class TypedState<Object>;
template std::shared_ptr<TypedState<Object>> makeState<Object>();

}  // namespace detail

}  // namespace xo
