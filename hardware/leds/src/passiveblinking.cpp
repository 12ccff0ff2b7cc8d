#include "hardware/leds/src/passiveblinking.h"

#include <algorithm>
#include <boost/asio/error.hpp>
#include <boost/asio/placeholders.hpp>
#include <boost/bind/bind.hpp>
#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <cmath>
#include <cstdlib>
#include <exception>
#include <limits>
#include <sstream>
#include <stdexcept>

#include "framework/xo/error.h"
#include "framework/xo/os.h"
#include "hardware/leds/src/hbleds.h"
#include "hardware/leds/src/truncated.h"

namespace HB {
namespace {

using IntLimits = std::numeric_limits<std::int32_t>;

/// As a standard text stream writes it.
std::string streamed(float number) {
  std::ostringstream text;
  text << number;
  return text.str();
}

}  // namespace

const xo::log::Category PassiveBlinking::fLog("PassiveBlinking");

std::int32_t secondsToNextBlink(float min, float max, std::int32_t random) noexcept {
  const std::int32_t span = truncated(max - min + 1.0F);
  const std::int32_t start = truncated(min);
  // A span of 0 only comes from bounds that are no numbers.
  const std::int32_t drawn = span > 0 ? random % span : 0;
  return static_cast<std::int32_t>(
      std::clamp<std::int64_t>(std::int64_t{start} + drawn, IntLimits::min(), IntLimits::max()));
}

PassiveBlinking::PassiveBlinking(HBLeds* leds)
    : fLeds(leds), fCurrentBlink(xo::makeReadyFuture()), fWork(fIoService), fTimer(fIoService) {
  fThread = boost::thread(boost::bind(&PassiveBlinking::xRunIOService, this));
}

PassiveBlinking::~PassiveBlinking() {
  fRunning.exchange(0);
  fIoService.stop();
  fThread.join();
}

void PassiveBlinking::xRunIOService() {
  xo::os::setCurrentThreadName("PassiveBlinking.ioservice");
  try {
    boost::system::error_code error;
    fIoService.run(error);
    if (error) throw boost::system::system_error(error);
  } catch (const std::exception& error) {
    fLog.error(
        std::string("An error occured while trying to run event loop for passive blinking: ") +
        error.what());
  }
}

void PassiveBlinking::start(int eyeShadow) {
  const boost::recursive_mutex::scoped_lock lock(fBlinkMutex);
  fLog.verbose("Starting passive blinking with eye shadow = " + std::to_string(eyeShadow));
  fRunning.exchange(1);
  xBlinkOnce(eyeShadow);
}

void PassiveBlinking::stop() {
  const boost::recursive_mutex::scoped_lock lock(fBlinkMutex);
  if (fRunning == 0) return;
  fLog.verbose("Stopping passive blinking");
  fCurrentBlink.cancel();
  fCurrentBlink.wait(xo::kInfiniteTimeout);
  fRunning.exchange(0);
}

void PassiveBlinking::xBlinkOnce(int eyeShadow) {
  const boost::recursive_mutex::scoped_lock lock(fBlinkMutex);
  if (fRunning == 0 || fPaused == 1) return;
  try {
    if (eyeShadow == -1) {
      fCurrentBlink = fLeds->cancellableBlink();
    } else {
      fLeds->blink(eyeShadow);
    }
  } catch (const std::exception& error) {
    fLog.error(std::string("An error occured during passive blinking: ") + error.what());
  }
}

void PassiveBlinking::pause() {
  const boost::mutex::scoped_lock lock(fTimerMutex);
  fPaused.exchange(1);
  fTimer.cancel();
}

void PassiveBlinking::resume() {
  const boost::mutex::scoped_lock lock(fTimerMutex);
  fPaused.exchange(0);
  if (fRunning != 1) return;
  fTimer.expires_from_now(
      boost::posix_time::seconds(secondsToNextBlink(fMinimum, fMaximum, std::rand())));
  fTimer.async_wait(boost::bind(&PassiveBlinking::xTimeoutPassiveBlinkingTimer, this,
                                boost::asio::placeholders::error));
}

void PassiveBlinking::xTimeoutPassiveBlinkingTimer(const boost::system::error_code& error) {
  xo::os::setCurrentThreadName("PassiveBlinking.timeout");
  if (error == boost::asio::error::operation_aborted) return;
  // Its owner may be going: then nothing of it is touched any more.
  const auto token = fLeds->enter();
  if (!token) return;
  try {
    xBlinkOnce(-1);
  } catch (...) {
    // What is no std::exception must not end the thread's loop unheard.
    std::rethrow_exception(xo::copyCurrentException());
  }
}

void PassiveBlinking::setTimeBetweenTwoBlinks(float minimum, float maximum) {
  constexpr const char* kText = "Could not set minimum and maximum between two blinks: Minimum (";
  if (minimum < 0) {
    throw std::invalid_argument(kText + streamed(minimum) + ") should be higher than 0");
  }
  if (minimum > maximum) {
    throw std::invalid_argument(kText + streamed(minimum) + ") should be lower than maximum (" +
                                streamed(maximum) + ")");
  }
  const boost::mutex::scoped_lock lock(fTimerMutex);
  fMinimum = minimum;
  fMaximum = maximum;
}

void PassiveBlinking::addConflictingResource(const std::string& name) {
  const boost::lock_guard<boost::mutex> lock(fResourcesMutex);
  fConflictingResources.insert(name);
}

void PassiveBlinking::addConflictingResource(const std::set<std::string>& names) {
  const boost::lock_guard<boost::mutex> lock(fResourcesMutex);
  fConflictingResources.insert(names.begin(), names.end());
}

void PassiveBlinking::removeConflictingResource(const std::string& name) {
  const boost::lock_guard<boost::mutex> lock(fResourcesMutex);
  fConflictingResources.erase(name);
}

bool PassiveBlinking::isConflictingResource(const std::string& name) const {
  if (name.empty()) return false;  // also when it was added: an LED may lack a short name
  const boost::lock_guard<boost::mutex> lock(fResourcesMutex);
  return fConflictingResources.count(name) != 0;
}

}  // namespace HB
