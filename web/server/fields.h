// The fields of a request. Errors of all: door::Refused that names the field, and what it must be.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "web/server/json.h"

namespace web {

const std::string& textField(const Json& request, const char* name);
/// "" when it is missing.
std::string optionalTextField(const Json& request, const char* name);
/// A positive whole number that browsers hold exactly.
std::uint64_t numberField(const Json& request, const char* name);
/// At most `most` of them, or of 0, which robots write for none.
std::vector<std::uint64_t> numbersField(const Json& request, const char* name, std::size_t most);
/// The values of a list; none when it is missing.
std::vector<HB::HBValue> valuesField(const Json& request, const char* name);

/// Whether this is a positive whole number that browsers hold exactly.
bool isNumber(const Json& json);

}  // namespace web
