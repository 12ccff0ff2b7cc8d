#include "tools/ledctl/progress.h"

#include <utility>

namespace ledctl {

Progress::Progress(std::ostream& out, bool isShown, std::string what,
                   std::chrono::milliseconds second)
    : fOut(out), fWhat(std::move(what)) {
  if (isShown) fThread = std::thread([this, second] { xShow(second); });
}

Progress::~Progress() {
  {
    const std::lock_guard lock(fMutex);
    fIsOver = true;
    fEnded.notify_all();
  }
  if (fThread.joinable()) fThread.join();
}

void Progress::xShow(std::chrono::milliseconds second) {
  std::unique_lock lock(fMutex);
  int seconds = 0;
  while (!fEnded.wait_for(lock, second, [this] { return fIsOver; })) {
    ++seconds;
    fOut << '\r' << fWhat << ": " << seconds << " s, Ctrl-C stops it\x1b[K" << std::flush;
  }
  if (seconds > 0) fOut << "\r\x1b[K" << std::flush;
}

}  // namespace ledctl
