// A process that serves while it is measured: the robot, or what it is measured beside.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace bench {

/// Binds the calling thread, and what it starts from then on, to one processor.
void pinTo(int cpu);

/// A child on a processor of its choice, ended with this. It tells on its standard output where it
/// is reached, as "name=address" words of one line.
class Served {
 public:
  /// Waits for a line that begins with `ready`, reads addresses from it and from those before.
  /// Leaves this thread on processor 0. Errors: `std::runtime_error`.
  Served(const std::vector<std::string>& command, const std::string& ready, int cpu);
  /// Asks it to end and waits.
  ~Served();
  Served(const Served&) = delete;
  Served& operator=(const Served&) = delete;

  pid_t process() const { return fChild; }
  /// What it said after that name; "" for nothing.
  std::string address(const std::string& name) const;

 private:
  pid_t fChild = 0;
  int fOutput = -1;
  std::string fLines;
};

/// The robot of this build, with its own model, on a free port and a Unix socket of its own: `grpc`
/// and `unix` are its addresses.
class ServedRobot {
 public:
  explicit ServedRobot(int cpu);
  ~ServedRobot();
  ServedRobot(const ServedRobot&) = delete;
  ServedRobot& operator=(const ServedRobot&) = delete;

  std::string tcp() const { return fServed.address("grpc"); }
  std::string unixSocket() const { return "unix:" + fServed.address("unix"); }
  pid_t process() const { return fServed.process(); }

 private:
  const std::string fFolder;
  const Served fServed;
};

/// This program once more, as `--serve echo`: a bare synchronous gRPC server.
class ServedEcho {
 public:
  explicit ServedEcho(int cpu);
  std::string tcp() const { return fServed.address("grpc"); }
  pid_t process() const { return fServed.process(); }

 private:
  const Served fServed;
};

}  // namespace bench
