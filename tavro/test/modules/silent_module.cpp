// An entry point that makes nothing and says nothing.
#include "framework/hb/module_factory.h"

HB_MODULE_ENTRY_POINT _createModule(std::shared_ptr<HB::HBBroker> /*broker*/) { return 0; }
