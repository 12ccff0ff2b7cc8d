// Which names an argument may be, as far as a service's own description tells. For completion.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "framework/xo/method.h"

namespace ledctl {

/// The words in double quotes in a text: `"red", "blue"`.
std::vector<std::string> quotedWords(std::string_view text);

/// The words of a name or a text in lower case and singular: "ledNames" gives "led" and "name".
std::vector<std::string> plainWords(std::string_view text);

/// A method that lists names: returns texts and takes nothing, or a pattern.
struct Lister {
  std::string method;
  bool takesPattern = false;
};

/// The methods of the table that list what the parameter speaks of: "listGroups" and "listLEDs" for
/// "The name of the LED or Group."
std::vector<Lister> listersFor(const xo::ObjectInfo& table, const xo::NamedText& param);

}  // namespace ledctl
