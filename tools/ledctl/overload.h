// Which of a service's methods a command line means, and with which arguments. Pure functions.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "framework/xo/method.h"

namespace ledctl {

struct Choice {
  const xo::MethodInfo* method;  // a row of the table chosen from
  std::vector<HB::HBValue> args;
};

/// Chooses among the rows named `name`: those with as many parameters as there are words, all words
/// readable as their types; of these the one whose types are closest to what the words look like,
/// the first in the table when several are. Errors: UsageError that says what is wrong and shows
/// every form of the method, or suggests names.
Choice chooseMethod(const std::string& service, const xo::ObjectInfo& table,
                    const std::string& name, std::span<const std::string> words);

/// The rows of that name. Errors: UsageError when there is none.
std::vector<const xo::MethodInfo*> rowsOf(const std::string& service, const xo::ObjectInfo& table,
                                          const std::string& name);

/// The name of parameter `index` as a placeholder: "COLORNAME", or its type's name where none is
/// documented.
std::string placeholder(const xo::MethodInfo& method, std::size_t index);

/// "fadeRGB NAME COLORNAME DURATION".
std::string formOf(const xo::MethodInfo& method);

}  // namespace ledctl
