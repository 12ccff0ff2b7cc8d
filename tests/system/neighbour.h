// A client that minds its own business while others misbehave.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "remote/client/robot_client.h"

namespace tests {

/// Sets the lights of the brain again and again, with a breath after each call, and keeps what it
/// came to. Nothing else may set them.
class Neighbour {
 public:
  struct Report {
    std::size_t calls = 0;  ///< that succeeded
    std::vector<std::string> errors;
    double median = 0;  ///< milliseconds, as the two below
    double p99 = 0;
    double longest = 0;
    std::string text() const;
  };

  static constexpr std::chrono::milliseconds kBreath{1};

  /// Connects, and begins.
  explicit Neighbour(const std::string& address, std::chrono::milliseconds breath = kBreath);
  ~Neighbour();
  Neighbour(const Neighbour&) = delete;
  Neighbour& operator=(const Neighbour&) = delete;

  /// Calls so far that failed.
  int failures() const { return fFailures; }
  /// Ends its calls; it stays connected. Once.
  Report finish();

 private:
  void run();
  bool isOver();

  const std::unique_ptr<remote::RobotClient> fRobot;
  const std::chrono::milliseconds fBreath;
  std::mutex fMutex;
  std::condition_variable fEnd;
  bool fIsOver = false;
  std::atomic<int> fFailures{0};
  std::vector<double> fTimes;        // of the thread, until it is joined
  std::vector<std::string> fErrors;  // as well
  std::thread fThread;
};

}  // namespace tests
