// Which keys of the memory somebody means. A plain value.
#pragma once

#include <string>
#include <string_view>

namespace HB {

/// A pattern over keys: "*" stands for any text, "/" included, everything else for itself, byte by
/// byte. "" and "*" are every key. A pattern without a leading "*" may begin at the start of any
/// path component; it always reaches to the key's end: "Face/*" finds "Device/Face/Led" and
/// "Face/", not "Surface/Led" and not "Face".
class KeyPattern {
 public:
  explicit KeyPattern(std::string pattern);
  /// In steps bounded by the product of both lengths. Thread-safe.
  bool matches(std::string_view key) const noexcept;

 private:
  std::string fPattern;
  bool fIsEverything;
  bool fMayBeginInside;
};

}  // namespace HB
