// Calls of the LED service's methods with hostile arguments, a few after each other on one robot.
#include "fuzz/alarm.h"
#include "fuzz/harness.h"
#include "fuzz/leds_robot.h"

namespace {

/// One input may take; less for the planted one that never ends.
std::chrono::seconds longest() { return std::chrono::seconds(fuzz::isPlanted("hang") ? 2 : 30); }
constexpr std::size_t kMostCalls = 12;

/// Most inputs are for the one that is quickest to make.
const std::vector<std::string>& models() {
  static const std::vector<std::string> files{
      "fuzz/small.xml", "fuzz/small.xml",   "fuzz/small.xml",   "fuzz/small.xml",
      "fuzz/small.xml", "models/vanto.xml", "models/lirae.xml", "models/minimal.xml"};
  return files;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static fuzz::Watchdog watchdog(longest());
  fuzz::Bytes bytes(std::span(data, size));
  const std::string& model = bytes.pick(models());
  std::string told = model;
  watchdog.begin(told);
  {
    fuzz::LedsRobot robot(model);
    const fuzz::CallMaker maker = robot.callMaker();
    for (std::size_t i = 0; i < kMostCalls && !bytes.isEmpty(); ++i) {
      const fuzz::Call call = maker.next(bytes);
      told += '\n';
      told += textOf(call);
      watchdog.begin(told);
      robot.call(call);
    }
    robot.settle();
    if (const auto fault = robot.fault(); !fault.empty()) fuzz::found(fault + " in " + told);
  }
  watchdog.end();
  return 0;
}
