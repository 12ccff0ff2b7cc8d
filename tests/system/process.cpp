#include "tests/system/process.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace tests {

namespace {

constexpr std::array kOfTheUser{"LEDCTL_", "TAVRO_", "XDG_CONFIG_HOME=", "no_proxy="};

std::array<int, 2> makePipe() {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) throw std::runtime_error("pipe2 failed");
  return ends;
}

std::vector<char*> pointersTo(const std::vector<std::string>& texts) {
  std::vector<char*> made;
  for (const auto& text : texts) made.push_back(const_cast<char*>(text.c_str()));
  made.push_back(nullptr);
  return made;
}

/// What the test itself runs in, less what its user has settled for robots, and `more`.
std::vector<std::string> environmentWith(const std::vector<std::string>& more) {
  std::vector<std::string> made{"XDG_CONFIG_HOME=/nonexistent", "no_proxy=127.0.0.1,localhost"};
  for (char** one = environ; *one != nullptr; ++one) {
    const std::string variable(*one);
    const auto isNamed = [&](const char* name) { return variable.starts_with(name); };
    if (std::ranges::none_of(kOfTheUser, isNamed)) made.push_back(variable);
  }
  made.insert(made.end(), more.begin(), more.end());
  return made;
}

int statusOf(int waited) {
  return WIFEXITED(waited) ? WEXITSTATUS(waited) : 128 + WTERMSIG(waited);
}

}  // namespace

Process::Process(const std::vector<std::string>& command,
                 const std::vector<std::string>& environment) {
  const auto out = makePipe();
  const auto err = makePipe();
  // Everything is made before the fork: after it only calls that are safe in a signal handler.
  const auto arguments = pointersTo(command);
  const auto variables = environmentWith(environment);
  const auto variablePointers = pointersTo(variables);
  fPid = fork();
  if (fPid < 0) throw std::runtime_error("fork failed");
  if (fPid == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const int nothing = open("/dev/null", O_RDONLY);
    dup2(nothing, STDIN_FILENO);
    dup2(out[1], STDOUT_FILENO);
    dup2(err[1], STDERR_FILENO);
    execve(arguments[0], arguments.data(), variablePointers.data());
    _exit(127);
  }
  close(out[1]);
  close(err[1]);
  fOutReader = std::thread([this, from = out[0]] { xRead(from, fOut); });
  fErrReader = std::thread([this, from = err[0]] { xRead(from, fErr); });
}

Process::~Process() {
  if (!fStatus) {
    kill(fPid, SIGKILL);
    waitpid(fPid, nullptr, 0);
  }
  if (fOutReader.joinable()) fOutReader.join();
  if (fErrReader.joinable()) fErrReader.join();
}

void Process::xRead(int descriptor, std::string& text) {
  std::array<char, 4096> buffer{};
  for (;;) {
    const ssize_t size = read(descriptor, buffer.data(), buffer.size());
    if (size < 0 && errno == EINTR) continue;
    if (size <= 0) break;
    const std::lock_guard lock(fMutex);
    text.append(buffer.data(), static_cast<std::size_t>(size));
    fChanged.notify_all();
  }
  close(descriptor);
}

void Process::signal(int number) const {
  if (!fStatus) kill(fPid, number);
}

std::optional<std::string> Process::xFindLine(const std::string& start) const {
  for (std::size_t at = 0; at < fOut.size();) {
    const std::size_t end = fOut.find('\n', at);
    if (end == std::string::npos) return std::nullopt;
    if (fOut.compare(at, start.size(), start) == 0) {
      return fOut.substr(at + start.size(), end - at - start.size());
    }
    at = end + 1;
  }
  return std::nullopt;
}

std::string Process::waitForLine(const std::string& start) {
  std::unique_lock lock(fMutex);
  std::optional<std::string> line;
  if (!fChanged.wait_for(lock, kDeadline, [&] { return (line = xFindLine(start)).has_value(); })) {
    throw std::runtime_error("no line '" + start + "' in time, but:\n" + fOut + fErr);
  }
  return *line;
}

Outcome Process::wait(std::chrono::milliseconds deadline) {
  const auto end = std::chrono::steady_clock::now() + deadline;
  int waited = 0;
  while (!fStatus && waitpid(fPid, &waited, WNOHANG) == 0) {
    if (std::chrono::steady_clock::now() > end) {
      throw std::runtime_error("still running, after printing:\n" + outputSoFar());
    }
    // Between two looks: waiting for a process has no deadline of its own.
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  if (!fStatus) fStatus = statusOf(waited);
  if (fOutReader.joinable()) fOutReader.join();
  if (fErrReader.joinable()) fErrReader.join();
  return {*fStatus, fOut, fErr};
}

std::string Process::outputSoFar() const {
  const std::lock_guard lock(fMutex);
  return fOut + fErr;
}

Outcome run(const std::vector<std::string>& command, const std::vector<std::string>& environment) {
  return Process(command, environment).wait();
}

bool eventually(const std::function<bool()>& condition) {
  const auto end = std::chrono::steady_clock::now() + kDeadline;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    // Between two looks at another process, which wakes nobody here.
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return true;
}

TemporaryFolder::TemporaryFolder() {
  std::string pattern = (std::filesystem::temp_directory_path() / "tavro-test-XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
  fPath = pattern;
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(fPath, ignored);
}

std::string TemporaryFolder::write(const std::string& name, const std::string& content) const {
  std::ofstream(file(name), std::ios::binary) << content;
  return file(name);
}

}  // namespace tests
