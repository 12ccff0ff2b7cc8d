#include "framework/xo/version.h"

#include <algorithm>
#include <stdexcept>
#include <string>

namespace xo::version {
namespace {

bool isDigit(char c) { return c >= '0' && c <= '9'; }

// Takes the first component off `rest` and returns its digits without leading zeros ("" for 0), so
// that numbers of any length compare by length and then by digits.
std::string_view takeComponent(std::string_view& rest, std::string_view whole) {
  const std::size_t end = std::min(rest.find('.'), rest.size());
  std::string_view digits = rest.substr(0, end);
  const bool endsInDot = end + 1 == rest.size();
  if (digits.empty() || endsInDot || !std::all_of(digits.begin(), digits.end(), isDigit)) {
    throw std::invalid_argument("\"" + std::string(whole) +
                                "\" is not a version: decimal numbers separated by dots expected");
  }
  rest.remove_prefix(std::min(end + 1, rest.size()));
  digits.remove_prefix(std::min(digits.find_first_not_of('0'), digits.size()));
  return digits;
}

int compareNumbers(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return a.size() < b.size() ? -1 : 1;
  return a.compare(b);
}

void requireVersion(std::string_view text) {
  std::string_view rest = text;
  do {
    takeComponent(rest, text);
  } while (!rest.empty());
}

}  // namespace

int compare(std::string_view a, std::string_view b) {
  requireVersion(a);  // the whole of both, also where the order shows early
  requireVersion(b);
  std::string_view restA = a;
  std::string_view restB = b;
  while (!restA.empty() || !restB.empty()) {
    const std::string_view numberA = restA.empty() ? "" : takeComponent(restA, a);
    const std::string_view numberB = restB.empty() ? "" : takeComponent(restB, b);
    const int order = compareNumbers(numberA, numberB);
    if (order != 0) return order;
  }
  return 0;
}

}  // namespace xo::version
