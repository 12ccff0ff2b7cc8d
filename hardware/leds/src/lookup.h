// Looking a name up in one of the inventory's tables.
#pragma once

#include <stdexcept>
#include <string>

namespace HB {

/// The value at `key`. Errors: `std::out_of_range` with the module's own text, two spaces included
/// (the standard library's is another one and may change).
template <class Table>
auto& atKey(Table& table, const std::string& key) {
  const auto found = table.find(key);
  if (found == table.end()) throw std::out_of_range("map::at:  key not found");
  return found->second;
}

}  // namespace HB
