// "Did you mean": the names close to a mistyped one. Pure functions.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace ledctl {

/// At most three of `names`, the closest first: few letters changed, swapped, missing or added, in
/// either case, a leading "_" aside; or what the word begins.
std::vector<std::string> closeNames(std::string_view word, std::span<const std::string> names);

/// "Did you mean 'a' or 'b'?", or "" when nothing is close.
std::string didYouMean(std::string_view word, std::span<const std::string> names);

}  // namespace ledctl
