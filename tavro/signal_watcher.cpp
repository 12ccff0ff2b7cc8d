#include "tavro/signal_watcher.h"

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <system_error>

#include "framework/xo/os.h"

namespace tavro {

namespace {

sigset_t endingSignals() {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGINT);
  sigaddset(&set, SIGTERM);
  return set;
}

int requireDescriptor(int descriptor, const char* what) {
  if (descriptor < 0) throw std::system_error(errno, std::generic_category(), what);
  return descriptor;
}

}  // namespace

void SignalWatcher::blockSignals() {
  const sigset_t set = endingSignals();
  pthread_sigmask(SIG_BLOCK, &set, nullptr);
}

SignalWatcher::SignalWatcher(std::function<void(int)> onSignal) {
  const sigset_t set = endingSignals();
  fSignals = requireDescriptor(signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK), "signalfd");
  fEnd = requireDescriptor(eventfd(0, EFD_CLOEXEC), "eventfd");
  fThread = std::thread([this, onSignal = std::move(onSignal)] { xWatch(onSignal); });
}

SignalWatcher::~SignalWatcher() {
  eventfd_write(fEnd, 1);
  fThread.join();
  close(fEnd);
  close(fSignals);
}

void SignalWatcher::xWatch(const std::function<void(int)>& onSignal) const {
  xo::os::setCurrentThreadName("signals");
  for (int count = 0;;) {
    std::array<pollfd, 2> descriptors{{{fSignals, POLLIN, 0}, {fEnd, POLLIN, 0}}};
    poll(descriptors.data(), descriptors.size(), -1);
    if (descriptors[1].revents != 0) return;
    signalfd_siginfo signal{};
    if (read(fSignals, &signal, sizeof signal) == sizeof signal) onSignal(++count);
  }
}

}  // namespace tavro
