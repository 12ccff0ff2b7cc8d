// How much of the robot's memory pages may take for what they do not read, one and all together.
#pragma once

#include <cassert>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "access/limits.h"

namespace web {

/// What stands in a table of limits: so much for one page, and so much for all, beyond which each
/// has a little all the same: whoever takes much cannot keep another page from its first picture.
/// On the page's thread alone.
class Budget {
 public:
  /// `what` is how refusals call it: "bytes that wait to be read". `always` is what each page may
  /// take even when all together have taken more than `ofAll`. All in bytes.
  Budget(std::string what, std::size_t ofOne, std::size_t ofAll, std::size_t always)
      : fWhat(std::move(what)), fOfOne(ofOne), fOfAll(ofAll), fAlways(always) {}
  Budget(const Budget&) = delete;
  Budget& operator=(const Budget&) = delete;

  /// What one page has taken. Given back when it goes; the budget outlives it.
  class Share {
   public:
    explicit Share(Budget& budget) : fBudget(budget) {}
    ~Share() { clear(); }
    Share(const Share&) = delete;
    Share& operator=(const Share&) = delete;

    std::size_t bytes() const { return fBytes; }
    void add(std::size_t bytes) {
      fBytes += bytes;
      fBudget.fTaken += bytes;
    }
    /// They must have been added.
    void remove(std::size_t bytes) {
      assert(bytes <= fBytes);
      fBytes -= bytes;
      fBudget.fTaken -= bytes;
    }
    void clear() { remove(fBytes); }

   private:
    Budget& fBudget;
    std::size_t fBytes = 0;
  };

  /// "" while a page that has taken so much may take more; else which limit it has reached.
  std::string refusal(std::size_t ofThis) const {
    if (ofThis > fOfOne) {
      return "More " + fWhat + " than one page's limit of " + std::to_string(fOfOne);
    }
    if (ofThis <= fAlways || fTaken <= fOfAll) return {};
    return "More " + fWhat + " than the limit of " + std::to_string(fOfAll) + " of all pages";
  }
  std::size_t taken() const { return fTaken; }
  void listLimits(std::vector<door::NamedLimit>& limits) const {
    limits.push_back({fWhat + ", of one page", fOfOne});
    limits.push_back({fWhat + ", of all pages", fOfAll});
  }

 private:
  const std::string fWhat;
  const std::size_t fOfOne;
  const std::size_t fOfAll;
  const std::size_t fAlways;
  std::size_t fTaken = 0;
};

}  // namespace web
