// Expecting an exception of exactly one type with exactly one text.
#pragma once

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <typeinfo>
#include <utility>

namespace HB::test {

/// The text of the E that `action` throws; a failure of the test, and "", when it throws nothing or
/// an exception whose type is not exactly E.
template <class E, class F>
std::string textThrown(F&& action) {
  try {
    action();
  } catch (const std::exception& error) {
    EXPECT_EQ(std::string(typeid(error).name()), typeid(E).name()) << error.what();
    return typeid(error) == typeid(E) ? error.what() : "";
  }
  ADD_FAILURE() << "nothing was thrown";
  return "";
}

template <class F>
std::string invalidArgument(F&& action) {
  return textThrown<std::invalid_argument>(std::forward<F>(action));
}
template <class F>
std::string runtimeError(F&& action) {
  return textThrown<std::runtime_error>(std::forward<F>(action));
}
template <class F>
std::string outOfRange(F&& action) {
  return textThrown<std::out_of_range>(std::forward<F>(action));
}

}  // namespace HB::test
