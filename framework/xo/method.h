// One published method: its documentation, its signature, and the two ways to call it.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "framework/xo/future.h"
#include "framework/xo/type.h"

namespace xo {

/// A name and its text: a parameter, a return, or an example (language and program).
struct NamedText {
  std::string name;
  std::string text;
  bool operator==(const NamedText&) const = default;
};

/// What people read about a method. Parameters are by position and may be more or fewer than the
/// signature has: number and types of arguments come from the signature alone.
struct MethodDoc {
  std::string name;
  std::string description;
  std::vector<NamedText> params;
  std::optional<NamedText> returns;
  std::vector<NamedText> examples;
};

struct Signature {
  std::vector<Type> params;
  Type result;

  /// "(string, float, float) -> future<void>"
  std::string text() const;
  /// Whether callers outside the process can use it: no type is local.
  bool isRemote() const;
};

/// One row of an object's table, as described to clients.
struct MethodInfo {
  MethodDoc doc;
  Signature signature;
};

struct ObjectInfo {
  std::string description;
  std::vector<MethodInfo> methods;  // in the order of publication, overloads included
};

/// What a call by HBValue gave: a value (invalid for void), or a future of one.
struct CallResult {
  HB::HBValue value;
  std::optional<Future<HB::HBValue>> future;
};

/// The same future, its value as an HBValue (invalid for void), and back again. Cancelling and
/// dropping reach the given one. For the types that may leave a module their code is this
/// library's.
Future<HB::HBValue> toValueFuture(const Future<void>& future);
Future<HB::HBValue> toValueFuture(const Future<HB::HBValue>& future);
template <class T>
Future<HB::HBValue> toValueFuture(const Future<T>& future) {
  return detail::changed<HB::HBValue>(
      future, [](const T& value) { return detail::Conversion<T>::to(value); });
}
template <class T>
Future<T> fromValueFuture(const Future<HB::HBValue>& future) {
  if constexpr (std::is_same_v<T, HB::HBValue>) {
    return future;
  } else {
    return detail::changed<T>(future, [](const HB::HBValue& value) {
      if constexpr (!std::is_void_v<T>) return detail::Conversion<T>::from(value);
    });
  }
}

extern template Future<HB::HBValue> toValueFuture(const Future<bool>&);
extern template Future<HB::HBValue> toValueFuture(const Future<int>&);
extern template Future<HB::HBValue> toValueFuture(const Future<float>&);
extern template Future<HB::HBValue> toValueFuture(const Future<std::string>&);
extern template Future<void> fromValueFuture(const Future<HB::HBValue>&);
extern template Future<bool> fromValueFuture(const Future<HB::HBValue>&);
extern template Future<int> fromValueFuture(const Future<HB::HBValue>&);
extern template Future<float> fromValueFuture(const Future<HB::HBValue>&);
extern template Future<std::string> fromValueFuture(const Future<HB::HBValue>&);

/// A method ready to be called. Holds the publisher's code: lives and dies with its table.
struct Method {
  MethodInfo info;
  std::uint64_t argsId = 0;    // of the C++ argument types, decayed
  std::uint64_t resultId = 0;  // of the C++ result type
  /// `args[i]` points at argument i of exactly these types; `result`, unless null, at a
  /// `std::optional<R>` (nothing for void).
  std::function<void(const void* const* args, void* result)> direct;
  /// Sum over the arguments of how badly they fit; Match::kNone or more: not at all.
  std::function<int(std::span<const HB::HBValue> args)> match;
  /// Converts, calls, converts. The arguments match.
  std::function<CallResult(std::span<const HB::HBValue> args)> dynamic;
};

namespace detail {

template <class R, class... A, class F, std::size_t... I>
Method makeMethod(MethodDoc doc, F function, std::index_sequence<I...>) {
  Method method;
  method.info.doc = std::move(doc);
  method.info.signature = {{Conversion<A>::type()...}, Conversion<R>::type()};
  method.argsId = typesId<A...>();
  method.resultId = typesId<R>();
  method.direct = [function](const void* const* args, void* result) {
    (void)args;
    if constexpr (std::is_void_v<R>) {
      (void)result;
      function(*static_cast<const A*>(args[I])...);
    } else {
      R made = function(*static_cast<const A*>(args[I])...);
      if (result != nullptr) static_cast<std::optional<R>*>(result)->emplace(std::move(made));
    }
  };
  if constexpr ((!Conversion<A>::isLocal && ...) && !Conversion<R>::isLocal) {
    method.match = [](std::span<const HB::HBValue> args) -> int {
      if (args.size() != sizeof...(A)) return static_cast<int>(Match::kNone);
      return (0 + ... + static_cast<int>(Conversion<A>::match(args[I])));
    };
    method.dynamic = [function](std::span<const HB::HBValue> args) -> CallResult {
      (void)args;
      if constexpr (std::is_void_v<R>) {
        function(Conversion<A>::from(args[I])...);
        return {};
      } else if constexpr (Unwrap<R>::isFuture) {
        return {{}, toValueFuture(function(Conversion<A>::from(args[I])...))};
      } else {
        return {Conversion<R>::to(function(Conversion<A>::from(args[I])...)), std::nullopt};
      }
    };
  }
  return method;
}

}  // namespace detail

/// A method that calls `operation` of `object`, which must outlive its table.
template <class C, class D, class R, class... A>
Method makeMethod(MethodDoc doc, C* object, R (D::*operation)(A...)) {
  return detail::makeMethod<R, std::decay_t<A>...>(
      std::move(doc),
      [object, operation](const std::decay_t<A>&... args) -> R {
        return (object->*operation)(args...);
      },
      std::index_sequence_for<A...>());
}
template <class C, class D, class R, class... A>
Method makeMethod(MethodDoc doc, C* object, R (D::*operation)(A...) const) {
  return detail::makeMethod<R, std::decay_t<A>...>(
      std::move(doc),
      [object, operation](const std::decay_t<A>&... args) -> R {
        return (object->*operation)(args...);
      },
      std::index_sequence_for<A...>());
}
/// A method that calls a function object: `makeMethod<float(const std::string&)>(doc, lambda)`.
template <class Sig>
struct FunctionMethod;
template <class R, class... A>
struct FunctionMethod<R(A...)> {
  template <class F>
  static Method make(MethodDoc doc, F function) {
    return detail::makeMethod<R, std::decay_t<A>...>(std::move(doc), std::move(function),
                                                     std::index_sequence_for<A...>());
  }
};
template <class Sig, class F>
Method makeMethod(MethodDoc doc, F function) {
  return FunctionMethod<Sig>::make(std::move(doc), std::move(function));
}

}  // namespace xo
