// How the words of a command line become values: numbers, booleans, lists and texts, as the
// method's signature asks for them. Pure functions.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "framework/xo/type.h"

namespace ledctl {

/// A word read as a type, and how far that is from what it looks like: 0 is what anybody would
/// expect.
struct Reading {
  HB::HBValue value;
  int distance = 0;
};

/// Nothing when the word cannot be read as that type.
///
/// Integers: decimal or hexadecimal ("0xff0000"), or a whole float. Floats: decimal, hexadecimal,
/// "nan", "inf". Booleans: true, false, yes, no, on, off. Lists: see `readLiteral`. Values of any
/// type: a literal where it is one, else the word as text.
std::optional<Reading> readAs(const xo::Type& type, std::string_view word);

/// An integer where it has the form of one and fits 32 bits, else a float; nothing when the word is
/// no number, or one beyond the floats.
std::optional<HB::HBValue> readNumber(std::string_view word);

/// JSON without objects; numbers as `readNumber` takes them. Nothing when it is something else, or
/// lists nest deeper than 32.
std::optional<HB::HBValue> readLiteral(std::string_view text);

/// What a word for this type looks like: "a number", "a list such as [1,2]".
std::string expectation(const xo::Type& type);

}  // namespace ledctl
