#include "framework/xo/error.h"

#include <array>
#include <new>

namespace xo {
namespace {

/// A standard type: its kind and how to make one from a text.
struct StandardKind {
  std::string_view kind;
  bool (*is)(const std::exception&);
  Error::Maker make;
};

template <class E>
std::exception_ptr make(const std::string& text) {
  return std::make_exception_ptr(E(text));
}
std::exception_ptr makeBadAlloc(const std::string&) {
  return std::make_exception_ptr(std::bad_alloc());
}

template <class E>
constexpr StandardKind standard(std::string_view kind) {
  return {kind,
          [](const std::exception& error) { return dynamic_cast<const E*>(&error) != nullptr; },
          make<E>};
}

// Derived types before their bases.
constexpr std::array kStandardKinds = {
    standard<std::invalid_argument>("invalid_argument"),
    standard<std::out_of_range>("out_of_range"),
    standard<std::length_error>("length_error"),
    standard<std::domain_error>("domain_error"),
    standard<std::logic_error>("logic_error"),
    standard<std::range_error>("range_error"),
    standard<std::overflow_error>("overflow_error"),
    standard<std::underflow_error>("underflow_error"),
    standard<std::runtime_error>("runtime_error"),
};

const StandardKind& kindOfStandard(const std::exception& error) {
  for (const auto& known : kStandardKinds) {
    if (known.is(error)) return known;
  }
  return kStandardKinds.back();
}

}  // namespace

Error::~Error() = default;
std::string_view Error::kind() const noexcept { return "error"; }
Error::Maker Error::maker() const noexcept { return make<Error>; }
TimeoutError::~TimeoutError() = default;
std::string_view TimeoutError::kind() const noexcept { return "timeout"; }
Error::Maker TimeoutError::maker() const noexcept { return make<TimeoutError>; }
CancelledError::~CancelledError() = default;
std::string_view CancelledError::kind() const noexcept { return "cancelled"; }
Error::Maker CancelledError::maker() const noexcept { return make<CancelledError>; }

Failure::Failure(const std::exception_ptr& error) {
  try {
    std::rethrow_exception(error);
  } catch (const Error& caught) {
    fText = caught.what();
    fMaker = caught.maker();
  } catch (const std::bad_alloc& caught) {
    fText = caught.what();
    fMaker = makeBadAlloc;
  } catch (const std::exception& caught) {
    fText = caught.what();
    fMaker = kindOfStandard(caught).make;
  } catch (...) {
    fText = "unknown exception";
    fMaker = make<std::runtime_error>;
  }
}

std::exception_ptr copyCurrentException() noexcept {
  try {
    return Failure(std::current_exception()).exception();
  } catch (...) {
    return makeBadAlloc({});  // none left for the text
  }
}

std::string textOf(const std::exception_ptr& error) {
  if (!error) return {};
  try {
    std::rethrow_exception(error);
  } catch (const std::exception& caught) {
    return caught.what();
  } catch (...) {
    return "unknown exception";
  }
}

std::string_view kindOf(const std::exception_ptr& error) noexcept {
  if (!error) return "";
  try {
    std::rethrow_exception(error);
  } catch (const Error& caught) {
    return caught.kind();
  } catch (const std::exception& caught) {
    return kindOfStandard(caught).kind;
  } catch (...) {
    return kStandardKinds.back().kind;
  }
}

std::exception_ptr makeException(std::string_view kind, const std::string& text) {
  for (const auto& known : kStandardKinds) {
    if (known.kind == kind) return known.make(text);
  }
  if (kind == "timeout") return std::make_exception_ptr(TimeoutError(text));
  if (kind == "cancelled") return std::make_exception_ptr(CancelledError(text));
  if (kind == "error" || kind == "HBError") return std::make_exception_ptr(Error(text));
  return std::make_exception_ptr(std::runtime_error(text));
}

}  // namespace xo
