#include "framework/hb/hb_module.h"

#include <utility>

#include "framework/hb/module_factory.h"
#include "framework/xo/call.h"

namespace HB {

HBModule::HBModule(std::shared_ptr<HBBroker> broker, std::string name)
    : HBModuleCore(std::move(broker), std::move(name)) {}

HBModule::~HBModule() = default;

void HBModule::exit() {}

void HBModule::init() {}

void HBModule::stop(const int& id) { xo::CallScope::requestStop(id); }

void HBModule::initModule() {
  getParentBroker()->addModule(shared_from_this());
  fRegistration =
      getParentBroker()->getSession()->registerService(getName(), std::move(builder()), &ending());
}

void HBModule::shutDown() {
  ending().raise();
  if (fRegistration) fRegistration->close();
}

int HBModule::getMethodID() const {
  auto* const call = xo::CallScope::current();
  return call == nullptr ? 0 : call->id();
}

bool HBModule::isStopRequired(int id) const { return xo::CallScope::isStopRequested(id); }

namespace detail {
namespace {

/// The service goes, and its calls end, before the first destructor of the module runs.
void destroy(HBModule* module) {
  module->shutDown();
  delete module;
}

}  // namespace

std::shared_ptr<HBModule> startModule(std::unique_ptr<HBModule> made) {
  std::shared_ptr<HBModule> module(made.release(), &destroy);
  const auto giveUp = [&] {
    module->shutDown();
    const auto& broker = module->getParentBroker();
    if (broker->findModule(module->getName()) == module) broker->removeModule(module->getName());
  };
  try {
    module->initModule();
  } catch (...) {
    giveUp();
    throw;
  }
  try {
    module->init();
  } catch (const HBError& error) {
    module->exit();
    giveUp();
    throw HBError(error);
  } catch (...) {
    giveUp();
    throw;
  }
  return module;
}

}  // namespace detail
}  // namespace HB
