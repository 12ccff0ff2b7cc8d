#include "framework/xo/error.h"

#include <gtest/gtest.h>

#include <new>
#include <system_error>

namespace {

std::exception_ptr copyOf(auto thrown) {
  try {
    throw thrown;
  } catch (...) {
    return xo::copyCurrentException();
  }
}

struct ModulesOwn : std::invalid_argument {
  using std::invalid_argument::invalid_argument;
};

TEST(CopyCurrentException, KeepsTypeAndTextOfStandardExceptions) {
  EXPECT_THROW(std::rethrow_exception(copyOf(std::invalid_argument("a"))), std::invalid_argument);
  EXPECT_THROW(std::rethrow_exception(copyOf(std::out_of_range("a"))), std::out_of_range);
  EXPECT_THROW(std::rethrow_exception(copyOf(std::length_error("a"))), std::length_error);
  EXPECT_THROW(std::rethrow_exception(copyOf(std::bad_alloc())), std::bad_alloc);
  EXPECT_EQ(xo::textOf(copyOf(std::out_of_range("map::at:  key not found"))),
            "map::at:  key not found");
}

TEST(CopyCurrentException, TurnsAModulesOwnTypeIntoItsStandardBase) {
  const auto copy = copyOf(ModulesOwn("bad name"));
  EXPECT_EQ(xo::textOf(copy), "bad name");
  try {
    std::rethrow_exception(copy);
  } catch (const std::exception& error) {
    EXPECT_EQ(typeid(error), typeid(std::invalid_argument));
  }
}

TEST(CopyCurrentException, TurnsOtherStandardExceptionsIntoRuntimeErrorsWithTheirText) {
  const std::system_error original(std::make_error_code(std::errc::io_error), "reading");
  EXPECT_THROW(std::rethrow_exception(copyOf(original)), std::runtime_error);
  EXPECT_EQ(xo::textOf(copyOf(original)), original.what());
}

TEST(CopyCurrentException, TurnsForeignTypesIntoRuntimeErrors) {
  EXPECT_THROW(std::rethrow_exception(copyOf(42)), std::runtime_error);
  EXPECT_EQ(xo::textOf(copyOf(42)), "unknown exception");
}

TEST(CopyCurrentException, LetsTheFrameworksOwnTypesPass) {
  EXPECT_THROW(std::rethrow_exception(copyOf(xo::TimeoutError("late"))), xo::TimeoutError);
}

TEST(Failure, GivesAnExceptionOfItsOwnEachTime) {
  const xo::Failure failure(std::make_exception_ptr(xo::TimeoutError("late")));
  EXPECT_EQ(failure.text(), "late");
  const auto first = failure.exception();
  const auto second = failure.exception();
  EXPECT_NE(first, second);
  EXPECT_THROW(std::rethrow_exception(first), xo::TimeoutError);
  EXPECT_EQ(xo::textOf(second), "late");
}

TEST(Kinds, SurviveTheWayToAnotherProcess) {
  for (const auto& original : {copyOf(std::invalid_argument("t")), copyOf(std::out_of_range("t")),
                               copyOf(std::runtime_error("t")), copyOf(std::logic_error("t")),
                               copyOf(std::overflow_error("t")), copyOf(xo::TimeoutError("t")),
                               copyOf(xo::CancelledError("t")), copyOf(xo::Error("t"))}) {
    const auto arrived = xo::makeException(xo::kindOf(original), xo::textOf(original));
    EXPECT_EQ(xo::kindOf(arrived), xo::kindOf(original));
    EXPECT_EQ(xo::textOf(arrived), "t");
  }
  EXPECT_EQ(xo::kindOf(copyOf(std::invalid_argument("t"))), "invalid_argument");
}

TEST(Kinds, UnknownOnesAreRuntimeErrors) {
  EXPECT_THROW(std::rethrow_exception(xo::makeException("from the future", "t")),
               std::runtime_error);
  EXPECT_EQ(xo::kindOf(nullptr), "");
  EXPECT_EQ(xo::textOf(nullptr), "");
}

}  // namespace
