#include "tests/system/vitals.h"

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

namespace tests {
namespace {

std::string folderOf(pid_t pid) { return "/proc/" + std::to_string(pid); }

/// User's and system's, from the one line that begins with a name in brackets.
double cpuSecondsOf(pid_t pid) {
  std::ifstream stat(folderOf(pid) + "/stat");
  std::string line;
  std::getline(stat, line);
  std::size_t at = line.rfind(')');
  constexpr int kFieldsBefore = 12;  // from the state on
  for (int i = 0; i < kFieldsBefore && at != std::string::npos; ++i) at = line.find(' ', at + 1);
  if (at == std::string::npos) throw std::runtime_error("no times of " + folderOf(pid));
  std::size_t used = 0;
  const std::string times = line.substr(at);
  const double user = std::stod(times, &used);
  return (user + std::stod(times.substr(used))) / static_cast<double>(::sysconf(_SC_CLK_TCK));
}

}  // namespace

Vitals vitalsOf(pid_t pid) {
  Vitals vitals;
  std::ifstream status(folderOf(pid) + "/status");
  for (std::string word; status >> word;) {
    if (word == "VmRSS:") status >> vitals.residentKib;
    if (word == "VmHWM:") status >> vitals.peakKib;
    if (word == "Threads:") status >> vitals.threads;
  }
  if (vitals.threads == 0) throw std::runtime_error("there is no process " + std::to_string(pid));
  const std::filesystem::directory_iterator files(folderOf(pid) + "/fd");
  vitals.descriptors = std::distance(begin(files), end(files));
  vitals.cpuSeconds = cpuSecondsOf(pid);
  return vitals;
}

void forgetPeak(pid_t pid) { std::ofstream(folderOf(pid) + "/clear_refs") << "5"; }

}  // namespace tests
