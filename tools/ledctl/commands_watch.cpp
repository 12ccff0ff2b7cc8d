// The watch command: which view it has, and how it ends.
#include "framework/sim/model.h"
#include "tools/ledctl/commands.h"
#include "tools/ledctl/screen.h"
#include "tools/ledctl/usage_error.h"

namespace ledctl {

namespace {

constexpr auto kEveryLed = "*/Actuator/Value";

/// Gives the terminal back also when a second signal ends the process.
class [[nodiscard]] LastResort {
 public:
  LastResort(Interrupt& interrupt, const Screen& screen) : fInterrupt(interrupt) {
    fInterrupt.setLastResort([&screen] { screen.abandon(); });
  }
  ~LastResort() { fInterrupt.setLastResort(nullptr); }
  LastResort(const LastResort&) = delete;
  LastResort& operator=(const LastResort&) = delete;

 private:
  Interrupt& fInterrupt;
};

}  // namespace

void Commands::xWatch(const std::vector<std::string>& words) {
  if (words.size() > 1) throw UsageError("Too many arguments.\nUsage: ledctl watch [PATTERN]");
  const std::string pattern = words.empty() ? "*" : words[0];
  if (fOptions.json || !fTerminal.canDraw) {
    LineView view(fOut, fOptions.json);
    return xWatchWith(pattern, view);
  }
  if (words.empty()) {
    if (const auto view = xPictureView()) {
      const Screen screen(
          fOut, [token = fInterrupt.token()] { token.cancel(); }, [&view] { view->redraw(); });
      const LastResort resort(fInterrupt, screen);
      return xWatchWith(kEveryLed, *view);
    }
  }
  if (!fTerminal.hasColor) {
    LineView view(fOut, false);
    return xWatchWith(pattern, view);
  }
  ScreenView view(fOut, terminalSize);
  xWatchWith(pattern, view);
}

std::unique_ptr<PictureView> Commands::xPictureView() {
  try {
    const auto model = fRobot->call("HBRobotModel", "getConfig", {}).value;
    RobotPicture picture(model.toString());
    if (picture.leds() == 0) return nullptr;
    return std::make_unique<PictureView>(fOut, std::move(picture), fRobot->address().text(),
                                         fTerminal.palette, terminalSize);
  } catch (const Sim::ModelError&) {
    return nullptr;
  } catch (const remote::RemoteError& error) {
    if (error.isNotReached()) throw;
    return nullptr;  // not allowed to ask, or no such service: the values remain
  }
}

void Commands::xWatchWith(const std::string& pattern, WatchView& view) {
  fInterrupt.begin();
  const Countdown countdown(fInterrupt.token(), fOptions.duration);
  int updates = 0;
  bool isEnough = false;
  try {
    fRobot->watch(
        pattern,
        [&](const remote::WatchBatch& batch) {
          if (batch.isSnapshot && batch.items.empty()) {
            fHints << "ledctl: nothing matches '" << pattern << "' yet" << std::endl;
          }
          view.show(batch);
          isEnough = ++updates == fOptions.count;
          return !isEnough;
        },
        fInterrupt.token());
  } catch (const remote::RemoteError& error) {
    if (error.fault() != remote::RemoteError::Fault::kCancelled) throw;
  }
  // Ctrl-C, q, the countdown and the count are how a watch ends; the robot's end is not.
  if (isEnough || fInterrupt.token().isCancelled()) return;
  throw remote::RemoteError(remote::RemoteError::Fault::kUnreachable,
                            "The robot at " + fRobot->address().text() + " ended the watch");
}

}  // namespace ledctl
