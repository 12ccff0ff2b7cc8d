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
  /// Makes another one of the same type. A type without its own is copied as its base.
  using Maker = std::exception_ptr (*)(const std::string& text);
  virtual Maker maker() const noexcept;
};

/// A wait ended by its time-out.
class TimeoutError final : public Error {
 public:
  using Error::Error;
  ~TimeoutError() override;
  std::string_view kind() const noexcept override;
  Maker maker() const noexcept override;
};

/// The value of a cancelled future was asked for.
class CancelledError final : public Error {
 public:
  using Error::Error;
  ~CancelledError() override;
  std::string_view kind() const noexcept override;
  Maker maker() const noexcept override;
};

/// What went wrong, for any number of threads: each is given an exception of its own, which no
/// other thread looks at or destroys. Carries no code of a module: the framework's own types keep
/// their type, so do the standard ones of `kindOf` and `std::bad_alloc`, everything else becomes a
/// `std::runtime_error`; each with the text it had ("unknown exception" when it had none).
class Failure {
 public:
  explicit Failure(const std::exception_ptr& error);
  const std::string& text() const noexcept { return fText; }
  /// A new one each time.
  std::exception_ptr exception() const { return fMaker(fText); }

 private:
  std::string fText;
  Error::Maker fMaker;
};

/// The exception being handled as a new one, see `Failure`. Call inside a catch block.
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
