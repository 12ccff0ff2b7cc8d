// The tokens that let clients in from other machines: one file, read at start.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "access/client.h"

namespace door {

/// Who a token stands for.
struct Holder {
  Role role = Role::kViewer;
  std::string name;  ///< "" when the file gives none
};

/// Immutable, so thread-safe.
class Tokens {
 public:
  static constexpr std::size_t kShortest = 16;
  static constexpr std::size_t kLongest = 256;

  /// Reads lines of the form "operator TOKEN" or "viewer TOKEN", each with a name of the holder
  /// after it if one likes; empty lines and lines that begin with "#" are skipped. The file belongs
  /// to this user, and nobody else may read it (mode 0600). Errors: `std::runtime_error` with one
  /// line for each fault, naming file and line, and no token.
  static Tokens readFile(const std::string& path);
  /// The same of a text; `path` is how errors call it.
  static Tokens read(std::string_view text, const std::string& path);

  /// Who sent this token; none for one that is not in the file. Takes the same time for every token
  /// of one length.
  std::optional<Holder> find(std::string_view token) const;

 private:
  struct Entry {
    std::string token;
    Holder holder;
    std::size_t line = 0;
  };
  class Reader;
  std::vector<Entry> fEntries;
};

}  // namespace door
