// A module that stands once a service "Awaited" has come, which may be never.
#include "framework/hb/module_factory.h"

namespace {

class Waiting final : public HB::HBModule {
 public:
  explicit Waiting(std::shared_ptr<HB::HBBroker> broker)
      : HB::HBModule(std::move(broker), "Waiting") {
    getParentBroker()->getSession()->waitForService("Awaited").value();
  }
};

}  // namespace

HB_MODULE_ENTRY_POINT _createModule(std::shared_ptr<HB::HBBroker> broker) {
  HB::createModule<Waiting>(std::move(broker));
  return 0;
}
