// Values as text for people and for programs. Pure functions.
#pragma once

#include <string>
#include <string_view>

#include "framework/value/hb_value.h"

namespace ledctl {

/// The bare value: texts unquoted, floats in the fewest digits that read back the same, a list of
/// texts one per line, any other list as one line of JSON, nothing for an invalid value. No final
/// line break.
std::string plainText(const HB::HBValue& value);

/// One line of JSON. Floats keep a decimal point; what JSON has no number for becomes the text
/// "nan", "inf" or "-inf"; bytes become a text of hexadecimal digits; an invalid value is null.
std::string jsonText(const HB::HBValue& value);
std::string jsonText(std::string_view text);

/// In the fewest digits that read back the same float: "0.1", "1", "nan", "-inf".
std::string floatText(float value);

/// `text` without characters that would drive a terminal (escape sequences, bells, ...).
std::string harmless(std::string_view text);

}  // namespace ledctl
