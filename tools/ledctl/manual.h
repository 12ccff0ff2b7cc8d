// A service's published documentation as people and programs read it. Pure functions.
#pragma once

#include <span>
#include <string>

#include "framework/xo/method.h"

namespace ledctl {

/// The service's description and one line for each row of its table.
std::string serviceManual(const std::string& service, const xo::ObjectInfo& table);

/// One line for each row: its form and its description.
std::string methodList(const xo::ObjectInfo& table);

/// Everything published about the rows of one name: forms, parameters, results, examples.
std::string methodManual(std::span<const xo::MethodInfo* const> rows);

/// A JSON array, one element (and line) a row, in the order of the table: "name", "signature",
/// "description", "parameters" (by position: "name", "type", "text"), "documented" (the parameters
/// that the documentation names, which may be more or fewer), "returns" ("type", and "name" and
/// "text" where documented), "examples" ("language", "text").
std::string methodsJson(std::span<const xo::MethodInfo* const> rows);

}  // namespace ledctl
