#include "bench/served.h"

#include <fcntl.h>
#include <sched.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <stdexcept>

namespace bench {
namespace {

namespace fs = std::filesystem;

fs::path programFolder() { return fs::read_symlink("/proc/self/exe").parent_path(); }

std::string makeFolder() {
  std::string folder = fs::temp_directory_path() / "robot-bench-XXXXXX";
  if (::mkdtemp(folder.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
  return folder;
}

pid_t spawn(const std::vector<std::string>& command, int output) {
  std::vector<char*> args;
  args.reserve(command.size() + 1);
  for (const auto& word : command) args.push_back(const_cast<char*>(word.c_str()));
  args.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  ::posix_spawn_file_actions_init(&actions);
  ::posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
  pid_t child = 0;
  const int failed = ::posix_spawn(&child, args.front(), &actions, nullptr, args.data(), environ);
  ::posix_spawn_file_actions_destroy(&actions);
  if (failed != 0) throw std::runtime_error(command.front() + " cannot be started");
  return child;
}

}  // namespace

void pinTo(int cpu) {
  cpu_set_t set;
  CPU_ZERO(&set);
  CPU_SET(cpu, &set);
  ::sched_setaffinity(0, sizeof(set), &set);
}

Served::Served(const std::vector<std::string>& command, const std::string& ready, int cpu) {
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("pipe2 failed");
  pinTo(cpu);
  fChild = spawn(command, ends[1]);
  pinTo(0);
  ::close(ends[1]);
  fOutput = ends[0];
  std::string line;
  for (char c = 0; ::read(fOutput, &c, 1) == 1;) {
    if (c != '\n') {
      line += c;
      continue;
    }
    fLines += " " + line;
    if (line.starts_with(ready)) return;
    line.clear();
  }
  ::close(fOutput);
  ::waitpid(fChild, nullptr, 0);
  throw std::runtime_error(command.front() + " ended before it was ready:" + fLines);
}

Served::~Served() {
  ::kill(fChild, SIGTERM);
  ::waitpid(fChild, nullptr, 0);
  ::close(fOutput);
}

std::string Served::address(const std::string& name) const {
  const auto at = fLines.find(" " + name + "=");
  if (at == std::string::npos) return {};
  const auto begin = at + name.size() + 2;
  return fLines.substr(begin, fLines.find(' ', begin) - begin);
}

ServedRobot::ServedRobot(int cpu)
    : fFolder(makeFolder()),
      fServed({(programFolder() / "../bin/tavro").string(), "--listen", "127.0.0.1:0", "--socket",
               fFolder + "/robot.sock", "--page", "none", "--log-level", "warning"},
              "ready", cpu) {}

ServedRobot::~ServedRobot() {
  std::error_code ignored;
  fs::remove_all(fFolder, ignored);  // its lock file stays while it runs; the name may go
}

ServedEcho::ServedEcho(int cpu)
    : fServed({"/proc/self/exe", "--serve", "echo"}, "listening", cpu) {}

}  // namespace bench
