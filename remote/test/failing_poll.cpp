#include "remote/test/failing_poll.h"

#include <sys/epoll.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>

namespace remote {
namespace {

std::atomic<bool> isPollRefused{false};
std::atomic<bool> isWatchRefused{false};

}  // namespace

NoNewPolls::NoNewPolls() { isPollRefused = true; }
NoNewPolls::~NoNewPolls() { isPollRefused = false; }
NoNewConnectionWatches::NoNewConnectionWatches() { isWatchRefused = true; }
NoNewConnectionWatches::~NoNewConnectionWatches() { isWatchRefused = false; }

}  // namespace remote

extern "C" int epoll_create1(int flags) noexcept {
  if (remote::isPollRefused) {
    errno = EMFILE;
    return -1;
  }
  return static_cast<int>(::syscall(SYS_epoll_create1, flags));
}

extern "C" int epoll_ctl(int poll, int operation, int file, epoll_event* event) noexcept {
  if (remote::isWatchRefused && operation == EPOLL_CTL_ADD && event->events == EPOLLRDHUP) {
    errno = ENOSPC;
    return -1;
  }
  return static_cast<int>(::syscall(SYS_epoll_ctl, poll, operation, file, event));
}
