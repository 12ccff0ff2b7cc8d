// Calls of a service, made from its own description and the bytes of an input: right in number and
// types nearly always, hostile in what the arguments are.
#pragma once

#include <string>
#include <vector>

#include "framework/xo/method.h"
#include "fuzz/bytes.h"

namespace fuzz {

struct Call {
  std::string method;
  HB::HBValue::List args;
};

/// "fade(\"FaceLeds\", nan, 1.0)", cut where arguments are long.
std::string textOf(const Call& call);

/// Immutable.
class CallMaker {
 public:
  /// What ways in allow, see docs/remote.md.
  static constexpr std::size_t kLongestList = 4096;
  static constexpr std::size_t kLongestText = 65536;

  /// `names` are those that the service knows.
  CallMaker(xo::ObjectInfo description, std::vector<std::string> names);

  /// The next call; when the bytes are used up, the first method with everything zero.
  Call next(Bytes& bytes) const;

 private:
  HB::HBValue xArgument(const xo::Type& type, Bytes& bytes, int depth) const;
  HB::HBValue xList(const xo::Type& element, Bytes& bytes, int depth) const;
  HB::HBValue xAnything(Bytes& bytes, int depth) const;
  std::string xText(Bytes& bytes) const;

  const xo::ObjectInfo fDescription;
  const std::vector<std::string> fNames;
};

}  // namespace fuzz
