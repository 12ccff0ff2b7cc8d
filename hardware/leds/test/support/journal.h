// One list of what happened around the module, in the order in which it happened: log lines, writes
// to the motion service and reads of the memory. Thread-safe.
#pragma once

#include <algorithm>
#include <cstddef>
#include <mutex>
#include <string>
#include <vector>

namespace HB::test {

class Journal {
 public:
  void add(std::string line) {
    std::scoped_lock lock(fMutex);
    fLines.push_back(std::move(line));
  }
  std::vector<std::string> lines() const {
    std::scoped_lock lock(fMutex);
    return fLines;
  }
  /// Index of the first line that contains `part`; the number of lines when none does.
  std::size_t find(const std::string& part) const {
    const auto all = lines();
    const auto found = std::find_if(all.begin(), all.end(), [&](const std::string& line) {
      return line.find(part) != std::string::npos;
    });
    return static_cast<std::size_t>(found - all.begin());
  }
  std::size_t count(const std::string& part) const {
    const auto all = lines();
    return static_cast<std::size_t>(std::count_if(
        all.begin(), all.end(),
        [&](const std::string& line) { return line.find(part) != std::string::npos; }));
  }
  void clear() {
    std::scoped_lock lock(fMutex);
    fLines.clear();
  }

 private:
  mutable std::mutex fMutex;
  std::vector<std::string> fLines;
};

}  // namespace HB::test
