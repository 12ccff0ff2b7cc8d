// Looking names up in the inventory's tables.
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

/// `atKey` for many keys in ascending order: members of a group are mostly neighbours in the table
/// of devices, so the next entry is tried before the table is searched. The table must not change
/// meanwhile.
template <class Table>
class AscendingLookup {
 public:
  explicit AscendingLookup(Table& table) : fTable(table), fNext(table.begin()) {}

  /// Errors: as `atKey`.
  auto& at(const std::string& key) {
    if (fNext == fTable.end() || fNext->first != key) {
      fNext = fTable.find(key);
      if (fNext == fTable.end()) return atKey(fTable, key);  // throws
    }
    return (fNext++)->second;
  }

 private:
  Table& fTable;
  decltype(fTable.begin()) fNext;
};

}  // namespace HB
