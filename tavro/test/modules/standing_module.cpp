// A module that stands at once, with calls that take long.
#include <atomic>
#include <chrono>
#include <thread>

#include "framework/hb/module_factory.h"
#include "framework/xo/os.h"

namespace {

class Standing final : public HB::HBModule {
 public:
  explicit Standing(std::shared_ptr<HB::HBBroker> broker)
      : HB::HBModule(std::move(broker), "Standing") {
    functionName("answer", "Standing", "What stands.");
    advertiseMethod(this, &Standing::answer);
    functionName("waitForStop", "Standing", "Returns once the call is asked to stop.");
    advertiseMethod(this, &Standing::waitForStop);
    functionName("stops", "Standing", "How many calls were asked to stop.");
    advertiseMethod(this, &Standing::stops);
    functionName("nap", "Standing", "Sleeps, whoever asks it to stop.");
    addParam("seconds", "Duration of the sleep.");
    advertiseMethod(this, &Standing::nap);
    functionName("hang", "Standing", "Sleeps where nobody can end it.");
    addParam("seconds", "Duration of the sleep.");
    advertiseMethod(this, &Standing::hang);
    functionName("begun", "Standing", "How many long calls have begun.");
    advertiseMethod(this, &Standing::begun);
  }

  int answer() { return 42; }
  int begun() { return fBegun; }
  void waitForStop() {
    ++fBegun;
    while (!isStopRequired(getMethodID())) xo::os::msleep(5);
    ++fStops;
  }
  int stops() { return fStops; }
  void nap(const int& seconds) {
    ++fBegun;
    xo::os::msleep(seconds * 1000);
  }
  void hang(const int& seconds) {
    ++fBegun;
    // Not the framework's sleep, on purpose: a call that no ending and no stop can shorten.
    std::this_thread::sleep_for(std::chrono::seconds(seconds));
  }

 private:
  std::atomic<int> fBegun{0};
  std::atomic<int> fStops{0};
};

}  // namespace

HB_MODULE_ENTRY_POINT _createModule(std::shared_ptr<HB::HBBroker> broker) {
  HB::createModule<Standing>(std::move(broker));
  return 0;
}
