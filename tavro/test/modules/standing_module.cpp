// A module that stands at once and can be asked one thing.
#include "framework/hb/module_factory.h"

namespace {

class Standing final : public HB::HBModule {
 public:
  explicit Standing(std::shared_ptr<HB::HBBroker> broker)
      : HB::HBModule(std::move(broker), "Standing") {
    functionName("answer", "Standing", "What stands.");
    advertiseMethod(this, &Standing::answer);
  }
  int answer() { return 42; }
};

}  // namespace

HB_MODULE_ENTRY_POINT _createModule(std::shared_ptr<HB::HBBroker> broker) {
  HB::createModule<Standing>(std::move(broker));
  return 0;
}
