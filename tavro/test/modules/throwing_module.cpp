// A module whose construction ends with an exception of its own type, which its entry point lets
// through.
#include <exception>

#include "framework/hb/module_factory.h"

namespace {

class OwnError final : public std::exception {
 public:
  const char* what() const noexcept override { return "the wheel came off"; }
};

class Throwing final : public HB::HBModule {
 public:
  explicit Throwing(std::shared_ptr<HB::HBBroker> broker)
      : HB::HBModule(std::move(broker), "Throwing") {
    throw OwnError();
  }
};

}  // namespace

HB_MODULE_ENTRY_POINT _createModule(std::shared_ptr<HB::HBBroker> broker) {
  HB::createModule<Throwing>(std::move(broker));
  return 0;
}
