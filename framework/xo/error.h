// The framework's own exceptions, and how exceptions cross the border of a module.
#pragma once

#include <exception>
#include <stdexcept>
#include <string>
#include <string_view>

namespace xo {

/// Base of every exception type whose code lives in the framework's libraries.
class Error : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
  ~Error() override;
  /// The kind that is told to other processes, see `kindOf`.
  virtual std::string_view kind() const noexcept;
};

/// A wait ended by its time-out.
class TimeoutError final : public Error {
 public:
  using Error::Error;
  ~TimeoutError() override;
  std::string_view kind() const noexcept override;
};

/// The value of a cancelled future was asked for.
class CancelledError final : public Error {
 public:
  using Error::Error;
  ~CancelledError() override;
  std::string_view kind() const noexcept override;
};

/// The exception being handled, as one that carries no code of a module: the framework's own types
/// pass, standard types keep their type and text, everything else becomes a `std::runtime_error`
/// with the text it had ("unknown exception" when it had none). Call inside a catch block.
std::exception_ptr copyCurrentException() noexcept;

/// The text of an exception; "" for none.
std::string textOf(const std::exception_ptr& error);

/// The kind of an exception as it is told across processes: "invalid_argument", "out_of_range",
/// "runtime_error", "HBError", "cancelled", "timeout", ... "runtime_error" when nothing closer
/// fits.
std::string_view kindOf(const std::exception_ptr& error) noexcept;

/// The exception that `kindOf` and `textOf` told about; a `std::runtime_error` for an unknown kind.
std::exception_ptr makeException(std::string_view kind, const std::string& text);

}  // namespace xo
