// Programs started by tests, each with a deadline for everything, ended by their process id.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace tests {

/// More than any healthy step takes, also on a machine that is busy.
inline constexpr std::chrono::seconds kDeadline{20};

/// What a program that has ended left behind.
struct Outcome {
  int status = -1;  // of exit; 128 + n when signal n ended it
  std::string out;
  std::string err;
};

/// A running program. Killed at destruction when it has not ended, and with the test program.
class Process {
 public:
  /// `environment`: "NAME=VALUE" added to the test's own. Errors: `std::runtime_error`.
  explicit Process(const std::vector<std::string>& command,
                   const std::vector<std::string>& environment = {});
  ~Process();
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  pid_t pid() const { return fPid; }
  void signal(int number) const;
  /// The first line of standard output that begins with `start`, without it. Errors:
  /// `std::runtime_error` with all that was printed, when none comes in time.
  std::string waitForLine(const std::string& start);
  /// Returns when it has ended. Errors: `std::runtime_error` when it does not in time.
  Outcome wait(std::chrono::milliseconds deadline = kDeadline);
  std::string outputSoFar() const;

 private:
  void xRead(int descriptor, std::string& text);
  std::optional<std::string> xFindLine(const std::string& start) const;

  pid_t fPid = -1;
  std::optional<int> fStatus;
  mutable std::mutex fMutex;  // guards the three below
  std::condition_variable fChanged;
  std::string fOut;
  std::string fErr;
  std::thread fOutReader;
  std::thread fErrReader;
};

/// Starts it and waits for its end.
Outcome run(const std::vector<std::string>& command,
            const std::vector<std::string>& environment = {});

/// Asks again and again until the condition holds; false when it does not in time.
bool eventually(const std::function<bool()>& condition);

/// A folder of its own, removed with all it holds.
class TemporaryFolder {
 public:
  TemporaryFolder();
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  std::string file(const std::string& name) const { return fPath + "/" + name; }
  /// Writes a file there and returns its path.
  std::string write(const std::string& name, const std::string& content) const;

 private:
  std::string fPath;
};

}  // namespace tests
