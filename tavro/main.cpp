// The host process: reads the options, wires the robot together, and ends it on a signal.
#include <malloc.h>
#include <unistd.h>

#include <csignal>
#include <exception>
#include <iostream>

#include "remote/server/server.h"
#include "tavro/log_sink.h"
#include "tavro/options.h"
#include "tavro/output_tap.h"
#include "tavro/robot.h"
#include "tavro/signal_watcher.h"
#include "web/server/log_tail.h"

namespace {

constexpr int kEndedBySignal = 130;

int runRobot(const tavro::Options& options) {
  const tavro::LogSink log(options.logLevel);
  web::LogTail tail(options.logLevel);
  tavro::OutputTap output(std::cout);
  tavro::Robot robot(options, output, tail);
  const tavro::SignalWatcher signals([&robot](int count) {
    if (count > 1) _exit(kEndedBySignal);
    robot.requestStop();
  });
  return robot.run(std::cout, std::cerr);
}

}  // namespace

int main(int argc, char** argv) {
  // One heap for all threads. With one for each of a dozen, what clients make the robot use for a
  // moment is kept once in each.
  ::mallopt(M_ARENA_MAX, 1);
  tavro::SignalWatcher::blockSignals();
  std::signal(SIGPIPE, SIG_IGN);  // a reader of standard output that leaves does not end the robot
  try {
    const auto line = tavro::readCommandLine({argv + 1, argv + argc}, tavro::executableFolder());
    std::cout << line.output << std::flush;
    std::cerr << line.error << std::flush;
    if (!line.options) return line.status;
    remote::raiseOpenFileLimit();
    return runRobot(*line.options);
  } catch (const std::exception& error) {
    std::cerr << "tavro: " << error.what() << std::endl;
    return 1;
  }
}
