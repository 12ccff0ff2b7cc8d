#include "services/signsandfeedback/src/signs_and_feedback.h"

#include <map>
#include <stdexcept>
#include <string_view>
#include <utility>
#include <vector>

namespace HB {
namespace {

/// The methods of HBLeds that show a bit, in order. The blink with a shadow is never asked for as
/// "_blink" with a colour: HBLeds hands that one to this service.
const std::map<std::string, std::vector<std::string_view>, std::less<>> kBits{
    {"BlinkWithShadow", {"_blinkWithShadow"}},
    {"ListeningOff", {"_stopEyesRotationASR", "_stopEarsRotationASR"}},
    {"ListeningOn", {"_startEyesRotationASR", "_startEarsRotationASR"}},
};

std::string bitNames() {
  std::string names;
  for (const auto& [name, methods] : kBits) names += (names.empty() ? "" : ", ") + name;
  return names;
}

}  // namespace

HBSignsAndFeedback::HBSignsAndFeedback(std::shared_ptr<HBBroker> broker)
    : HBModule(std::move(broker), "HBSignsAndFeedback") {
  setModuleDescription(
      "Signs that tell people what the robot does. A speech recogniser triggers "
      "\"ListeningOn\" when it begins to listen and \"ListeningOff\" when it ends.");
  functionName("triggerBit", getName(), "Shows one sign.");
  addParam("bit", "The name of the sign: " + bitNames() + ".");
  addMethodExample("python",
                   "# Example showing that the robot listens\nproxy.triggerBit(\"ListeningOn\")\n");
  advertiseMethod(this, &HBSignsAndFeedback::triggerBit);
  functionName("listBits", getName(), "Lists the signs.");
  setReturn("bits", "The names of the signs.");
  advertiseMethod(this, &HBSignsAndFeedback::listBits);
}

void HBSignsAndFeedback::triggerBit(const std::string& bit) {
  const auto found = kBits.find(bit);
  if (found == kBits.end()) {
    throw std::invalid_argument("HBSignsAndFeedback: triggerBit: unknown bit '" + bit +
                                "'; known are: " + bitNames());
  }
  const auto leds = getParentBroker()->getProxy("HBLeds");
  for (const auto method : found->second) leds->call(method);
}

std::vector<std::string> HBSignsAndFeedback::listBits() const {
  std::vector<std::string> names;
  names.reserve(kBits.size());
  for (const auto& [name, methods] : kBits) names.push_back(name);
  return names;
}

}  // namespace HB
