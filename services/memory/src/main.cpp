// The entry point of libmemory.so. What goes wrong passes through to the loader.
#include <memory>
#include <utility>

#include "framework/hb/module_factory.h"
#include "services/memory/src/hbmemory.h"

HB_MODULE_ENTRY_POINT _createModule(std::shared_ptr<HB::HBBroker> broker) {
  HB::createModule<HB::HBMemory>(std::move(broker));
  return 0;
}
