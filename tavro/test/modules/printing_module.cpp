// A module that does not start and whose entry point only prints why, and returns 0.
#include <iostream>

#include "framework/hb/module_factory.h"

namespace {

class Printing final : public HB::HBModule {
 public:
  explicit Printing(std::shared_ptr<HB::HBBroker> broker)
      : HB::HBModule(std::move(broker), "Printing") {}
  void init() override { throw HB::HBError("no ink"); }
};

}  // namespace

HB_MODULE_ENTRY_POINT _createModule(std::shared_ptr<HB::HBBroker> broker) {
  try {
    HB::createModule<Printing>(std::move(broker));
  } catch (const HB::HBError& error) {
    std::cout << "printing : error while trying to create module Printing: " << error.what()
              << std::endl;
  }
  return 0;
}
