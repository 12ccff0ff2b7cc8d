#include "remote/server/unix_socket.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <system_error>
#include <utility>

#include "remote/client/address.h"

namespace remote {
namespace {

[[noreturn]] void throwUnusable(const std::string& path, const std::string& why) {
  throw std::runtime_error("Cannot listen on unix:" + path + ": " + why);
}

std::string errnoText() { return std::system_category().message(errno); }

/// The last directory is made if need be, for this user alone.
void requireDirectory(const std::string& path) {
  const auto directory = std::filesystem::path(path).parent_path().string();
  if (directory.empty()) return;
  if (::mkdir(directory.c_str(), 0700) == 0) return;
  if (errno != EEXIST) throwUnusable(path, directory + ": " + errnoText());
  struct stat found {};
  if (::stat(directory.c_str(), &found) != 0 || !S_ISDIR(found.st_mode)) {
    throwUnusable(path, directory + " is not a directory");
  }
  // A directory that somebody else made at the default place could be made to lead clients astray.
  if (path == defaultUnixPath() && found.st_uid != ::getuid()) {
    throwUnusable(path, directory + " belongs to another user");
  }
}

}  // namespace

UnixSocketPlace::UnixSocketPlace(const std::string& path) : fPath(path) {
  requireDirectory(path);
  fLock = ::open((path + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
  if (fLock < 0) throwUnusable(path, path + ".lock: " + errnoText());
  try {
    if (::flock(fLock, LOCK_EX | LOCK_NB) != 0 || isUnixSocketLive(path)) {
      throw Taken("Another robot listens on unix:" + path);
    }
    struct stat found {};
    if (::lstat(path.c_str(), &found) != 0) return;
    if (!S_ISSOCK(found.st_mode)) throwUnusable(path, "something that is no socket stands there");
    if (::unlink(path.c_str()) != 0) throwUnusable(path, "a stale socket: " + errnoText());
  } catch (...) {
    ::close(fLock);
    throw;
  }
}

UnixSocketPlace::~UnixSocketPlace() {
  if (fLock < 0) return;
  ::unlink(fPath.c_str());
  ::close(fLock);  // the lock file stays: removing it would let two robots lock two files
}

UnixSocketPlace::UnixSocketPlace(UnixSocketPlace&& other) noexcept
    : fPath(std::exchange(other.fPath, {})), fLock(std::exchange(other.fLock, -1)) {}

UnixSocketPlace& UnixSocketPlace::operator=(UnixSocketPlace&& other) noexcept {
  std::swap(fPath, other.fPath);
  std::swap(fLock, other.fLock);
  return *this;
}

}  // namespace remote
