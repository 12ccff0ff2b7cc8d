#include "tools/ledctl/interrupt.h"

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <string_view>
#include <utility>

#include "tools/ledctl/status.h"

namespace ledctl {

namespace {

/// On a line of its own, whatever the terminal shows of progress.
void sayStopped() {
  const std::string_view text =
      isatty(STDERR_FILENO) != 0 ? "\nledctl: stopped\n" : "ledctl: stopped\n";
  // The process ends: a text that cannot be written is lost.
  [[maybe_unused]] const auto written = write(STDERR_FILENO, text.data(), text.size());
}

}  // namespace

Interrupt::Interrupt() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  sigset_t blocked = signals;
  sigaddset(&blocked, SIGWINCH);
  pthread_sigmask(SIG_BLOCK, &blocked, nullptr);
  fSignals = signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
  fEnd = eventfd(0, EFD_CLOEXEC);
  fThread = std::thread([this] { xWatch(); });
}

Interrupt::~Interrupt() {
  eventfd_write(fEnd, 1);
  fThread.join();
  close(fEnd);
  close(fSignals);
}

void Interrupt::setLastResort(std::function<void()> what) {
  const std::lock_guard lock(fMutex);
  fLastResort = std::move(what);
}

void Interrupt::xWatch() {
  for (;;) {
    std::array<pollfd, 2> descriptors{{{fSignals, POLLIN, 0}, {fEnd, POLLIN, 0}}};
    poll(descriptors.data(), descriptors.size(), -1);
    if (descriptors[1].revents != 0) return;
    signalfd_siginfo signal{};
    if (read(fSignals, &signal, sizeof signal) != sizeof signal) continue;
    if (!fHasBegun || fHasCome.exchange(true)) {
      const std::lock_guard lock(fMutex);
      if (fLastResort) fLastResort();
      sayStopped();
      _exit(kInterrupted);
    }
    fToken.cancel();
  }
}

Countdown::Countdown(const remote::CancelToken& token,
                     std::optional<std::chrono::milliseconds> time) {
  if (!time) return;
  fThread = std::thread([this, token, time = *time] {
    std::unique_lock lock(fMutex);
    if (!fEnded.wait_for(lock, time, [this] { return fIsOver; })) token.cancel();
  });
}

Countdown::~Countdown() {
  {
    const std::lock_guard lock(fMutex);
    fIsOver = true;
    fEnded.notify_all();
  }
  if (fThread.joinable()) fThread.join();
}

}  // namespace ledctl
