// The terminal as a program has it to itself: another screen, no cursor, single keys.
#pragma once

#include <termios.h>

#include <functional>
#include <ostream>
#include <string>
#include <thread>

namespace ledctl {

/// Holds the terminal from construction to destruction, which gives it back as it was. Calls
/// `onQuit` when q is typed, `onResize` when the terminal's size has changed, on a thread of its
/// own, which has ended when the destructor returns. One at a time; SIGWINCH is blocked in every
/// thread (`Interrupt` does that).
class Screen {
 public:
  Screen(std::ostream& out, std::function<void()> onQuit, std::function<void()> onResize);
  ~Screen();
  Screen(const Screen&) = delete;
  Screen& operator=(const Screen&) = delete;

  /// Gives the terminal back at once, for a process that ends without destructors.
  void abandon() const;

 private:
  void xWatch();
  void xTakeTerminal();

  std::ostream& fOut;
  const std::function<void()> fOnQuit;
  const std::function<void()> fOnResize;
  termios fBefore{};
  bool fHasKeys = false;  // standard input is a terminal
  int fResizes;
  int fEnd;
  std::thread fThread;
};

}  // namespace ledctl
