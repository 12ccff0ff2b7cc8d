// The entry point of libmotion.so. What goes wrong passes through to the loader.
#include <memory>
#include <utility>

#include "framework/hb/module_factory.h"
#include "services/motion/src/hbmotion.h"

HB_MODULE_ENTRY_POINT _createModule(std::shared_ptr<HB::HBBroker> broker) {
  HB::createModule<HB::HBMotion>(std::move(broker));
  return 0;
}
