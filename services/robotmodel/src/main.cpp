// The entry point of librobotmodel.so. What goes wrong passes through to the loader.
#include <memory>
#include <utility>

#include "framework/hb/module_factory.h"
#include "services/robotmodel/src/hbrobotmodel.h"

HB_MODULE_ENTRY_POINT _createModule(std::shared_ptr<HB::HBBroker> broker) {
  HB::createModule<HB::HBRobotModel>(std::move(broker));
  return 0;
}
