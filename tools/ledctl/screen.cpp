#include "tools/ledctl/screen.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <string_view>
#include <utility>

namespace ledctl {

namespace {

constexpr std::string_view kEnter = "\x1b[?1049h\x1b[?25l\x1b[H\x1b[2J";
constexpr std::string_view kLeave = "\x1b[?25h\x1b[?1049l";

}  // namespace

Screen::Screen(std::ostream& out, std::function<void()> onQuit, std::function<void()> onResize)
    : fOut(out), fOnQuit(std::move(onQuit)), fOnResize(std::move(onResize)) {
  sigset_t resize;
  sigemptyset(&resize);
  sigaddset(&resize, SIGWINCH);
  fResizes = signalfd(-1, &resize, SFD_CLOEXEC | SFD_NONBLOCK);
  fEnd = eventfd(0, EFD_CLOEXEC);
  xTakeTerminal();
  fThread = std::thread([this] { xWatch(); });
}

Screen::~Screen() {
  eventfd_write(fEnd, 1);
  fThread.join();
  fOut.flush();
  abandon();
  close(fEnd);
  close(fResizes);
}

void Screen::xTakeTerminal() {
  fHasKeys = isatty(STDIN_FILENO) != 0 && tcgetattr(STDIN_FILENO, &fBefore) == 0;
  if (fHasKeys) {
    termios keys = fBefore;
    keys.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
    // Stopped, it would leave the shell in this screen.
    keys.c_cc[VSUSP] = _POSIX_VDISABLE;
    keys.c_cc[VMIN] = 1;
    keys.c_cc[VTIME] = 0;
    tcsetattr(STDIN_FILENO, TCSANOW, &keys);
  }
  fOut << kEnter << std::flush;
}

void Screen::abandon() const {
  std::string_view rest = kLeave;
  while (!rest.empty()) {
    const auto written = write(STDOUT_FILENO, rest.data(), rest.size());
    if (written <= 0) break;
    rest.remove_prefix(static_cast<std::size_t>(written));
  }
  if (fHasKeys) tcsetattr(STDIN_FILENO, TCSANOW, &fBefore);
}

void Screen::xWatch() {
  std::array<pollfd, 3> descriptors{
      {{fEnd, POLLIN, 0}, {fResizes, POLLIN, 0}, {fHasKeys ? STDIN_FILENO : -1, POLLIN, 0}}};
  for (;;) {
    if (poll(descriptors.data(), descriptors.size(), -1) < 0) continue;
    if (descriptors[0].revents != 0) return;
    if (descriptors[1].revents != 0) {
      signalfd_siginfo signal{};
      while (read(fResizes, &signal, sizeof signal) == sizeof signal) {
      }
      fOnResize();
    }
    if (descriptors[2].revents != 0) {
      char key = 0;
      const bool isGone = read(STDIN_FILENO, &key, 1) != 1;
      if (isGone) descriptors[2].fd = -1;
      if (isGone || key == 'q' || key == 'Q') fOnQuit();
    }
  }
}

}  // namespace ledctl
