// The attributes of one element, asked for by name and checked. For the files of this folder.
#pragma once

#include <tinyxml2.h>

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "framework/sim/model.h"

namespace Sim::detail {

/// Lives no longer than the element. Every error is a ModelError at the attribute's line.
class Attributes {
 public:
  /// Errors: an attribute of the element that is not among `allowed`.
  Attributes(const tinyxml2::XMLElement& element, std::initializer_list<const char*> allowed);

  bool has(const char* name) const { return fElement.FindAttribute(name) != nullptr; }
  /// The value. Errors: it is missing.
  std::string required(const char* name) const;
  /// The value, "" when it is missing. Errors: too long, or it spans lines.
  std::string name(const char* name) const;
  /// The words of the value, none when it is missing. Errors: one is too long.
  std::vector<std::string> words(const char* name) const;
  /// The value, `fallback` when it is missing. Errors: no number, or outside of `least`..`most`.
  double number(const char* name, double fallback, double least, double most) const;
  /// The position of the value in `choices`. Errors: missing, or none of them.
  std::size_t choice(const char* name, const std::vector<std::string_view>& choices) const;

 private:
  const tinyxml2::XMLAttribute* xFind(const char* name) const {
    return fElement.FindAttribute(name);
  }
  [[noreturn]] static void xFail(const tinyxml2::XMLAttribute& attribute, const std::string& wrong);

  const tinyxml2::XMLElement& fElement;
};

/// The line of an element, with what is wrong there.
[[noreturn]] void fail(const tinyxml2::XMLNode& node, const std::string& problem);

}  // namespace Sim::detail
