// Objects with named methods: what a service is. A handle stays valid whatever happens to the
// service, knows whether it lives, and lives again when the service returns.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "framework/xo/call.h"
#include "framework/xo/method.h"

namespace xo {

namespace detail {
class ObjectCore;
/// One that stands for no service yet.
std::shared_ptr<ObjectCore> makeObjectCore();
/// The direct road: true when a method of these C++ types was found and called.
bool callDirect(ObjectCore* core, std::string_view name, std::uint64_t argsId,
                std::uint64_t resultId, bool wantsResult, const void* const* args, void* result);
}  // namespace detail

/// A handle to a service, to nothing, or to a service that is gone. Copies share the service.
/// Thread-safe.
///
/// A call runs on the calling thread, inside a CallScope. Errors of every call:
/// `std::runtime_error` "This object is null" when there is no service or it is gone; what the
/// method throws (see `copyCurrentException`); `std::invalid_argument` that names the method, the
/// arguments and every candidate when none fits.
class Object {
 public:
  Object() = default;
  explicit Object(std::shared_ptr<detail::ObjectCore> core) : fCore(std::move(core)) {}

  /// Whether this is a handle to a service, living or gone.
  explicit operator bool() const noexcept { return fCore != nullptr; }
  /// Whether the service stands now.
  bool isAlive() const noexcept;
  /// Which of the services that stood here it is: grows each time one is published anywhere in the
  /// process; 0 before the first.
  std::uint64_t generation() const noexcept;

  /// Calls the method `name`. When one takes exactly these C++ types (texts count as std::string,
  /// double as float), straight to the function without conversion; else through HBValue, by the
  /// best match: exact, then int to float and whole float to int. `R` is the C++ result type, void
  /// to ignore it; a future that the method returns is returned as it is for `R` = Future<T>, and
  /// waited for otherwise unless ignored.
  template <class R = void, class... A>
  R call(std::string_view name, const A&... args) const {
    return callCanonical<R, detail::CanonicalT<A>...>(name, detail::canonical(args)...);
  }

  /// The same with HBValue arguments, as remote callers do. Methods with local types are not seen.
  CallResult callDynamic(std::string_view name, std::span<const HB::HBValue> args) const;

  /// The table and its documentation; empty when there is no service.
  ObjectInfo describe() const;

 private:
  template <class R, class... C>
  R callCanonical(std::string_view name, const C&... args) const {
    const void* pointers[sizeof...(C) + 1] = {&args..., nullptr};
    constexpr auto argsId = detail::typesId<C...>();
    constexpr auto resultId = detail::typesId<R>();
    if constexpr (std::is_void_v<R>) {
      if (detail::callDirect(fCore.get(), name, argsId, resultId, false, pointers, nullptr)) return;
    } else {
      std::optional<R> result;
      if (detail::callDirect(fCore.get(), name, argsId, resultId, true, pointers, &result)) {
        return std::move(*result);
      }
    }
    if constexpr ((detail::Conversion<C>::isLocal || ...)) {
      throwNoSuchMethod(name);
    } else {
      const HB::HBValue values[sizeof...(C) + 1] = {detail::Conversion<C>::to(args)..., {}};
      CallResult result = callDynamic(name, std::span(values, sizeof...(C)));
      if constexpr (std::is_void_v<R>) {
        return;
      } else if constexpr (detail::Unwrap<R>::isFuture) {
        return fromValueFuture<typename R::Value>(
            result.future ? *result.future : makeReadyFuture(std::move(result.value)));
      } else if constexpr (detail::Conversion<R>::isLocal) {
        throwNoSuchMethod(name);
      } else {
        if (result.future) result.value = result.future->value();
        return detail::Conversion<R>::from(result.value);
      }
    }
  }
  [[noreturn]] void throwNoSuchMethod(std::string_view name) const;

  std::shared_ptr<detail::ObjectCore> fCore;
};

/// Collects a service's methods and description before it is published.
class ObjectBuilder {
 public:
  /// `name` is how errors speak of the object; a session fills it in when it is empty.
  explicit ObjectBuilder(std::string name = {}) : fName(std::move(name)) {}

  void setName(std::string name) { fName = std::move(name); }
  const std::string& name() const { return fName; }
  void setDescription(std::string description) { fDescription = std::move(description); }
  void add(Method method) { fMethods.push_back(std::move(method)); }

  const std::string& description() const { return fDescription; }
  const std::vector<Method>& methods() const { return fMethods; }
  /// Takes the methods out.
  std::vector<Method> takeMethods() { return std::exchange(fMethods, {}); }

 private:
  std::string fName;
  std::string fDescription;
  std::vector<Method> fMethods;
};

/// The owner's end of a published object: while it lives, handles to it live.
///
/// `close()` (or destruction): new calls fail as to a handle that is gone, running calls see a stop
/// request and their framework sleeps end, and when it returns no call runs and the table is gone.
class [[nodiscard]] ObjectOwner {
 public:
  /// Publishes at `core`, which `Session` keeps by name; a fresh one when null. `ending` (may be
  /// null) is in force during every call and outlives the owner.
  ObjectOwner(ObjectBuilder builder, Ending* ending,
              std::shared_ptr<detail::ObjectCore> core = nullptr);
  ~ObjectOwner();
  ObjectOwner(const ObjectOwner&) = delete;
  ObjectOwner& operator=(const ObjectOwner&) = delete;

  Object object() const { return Object(fCore); }
  /// Not from inside a call of the object.
  void close();

 private:
  std::shared_ptr<detail::ObjectCore> fCore;
  Ending* const fEnding;
};

namespace detail {
extern template class TypedState<Object>;
extern template std::shared_ptr<TypedState<Object>> makeState<Object>();
}  // namespace detail

}  // namespace xo
