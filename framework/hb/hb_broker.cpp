#include "framework/hb/hb_broker.h"

#include <algorithm>
#include <utility>

#include "framework/hb/hb_module.h"

namespace HB {

std::shared_ptr<HBBroker> HBBroker::create(std::shared_ptr<xo::Session> session,
                                           Settings settings) {
  return std::shared_ptr<HBBroker>(new HBBroker(std::move(session), std::move(settings)));
}

HBBroker::HBBroker(std::shared_ptr<xo::Session> session, Settings settings)
    : fSession(std::move(session)), fSettings(std::move(settings)) {}

HBBroker::~HBBroker() = default;

std::shared_ptr<xo::Session> HBBroker::getSession() const {
  if (!fSession) throw HBError("The broker has no session");
  return fSession;
}

std::shared_ptr<HBProxy> HBBroker::getProxy(const std::string& service) const {
  return std::make_shared<HBProxy>(service, requireService(service));
}

xo::Object HBBroker::requireService(const std::string& service) const {
  auto object = getSession()->find(service);
  if (!object) throw HBError("The service " + service + " is not there");
  return object;
}

const std::string& HBBroker::getSetting(const std::string& name) const {
  const auto found = fSettings.find(name);
  if (found == fSettings.end()) throw HBError("The broker has no setting '" + name + "'");
  return found->second;
}

std::vector<std::shared_ptr<HBModule>> HBBroker::modules() const {
  std::scoped_lock lock(fMutex);
  return fModules;
}

std::shared_ptr<HBModule> HBBroker::findModule(const std::string& name) const {
  std::scoped_lock lock(fMutex);
  const auto found = std::find_if(fModules.begin(), fModules.end(),
                                  [&](const auto& module) { return module->getName() == name; });
  return found == fModules.end() ? nullptr : *found;
}

void HBBroker::addModule(std::shared_ptr<HBModule> module) {
  std::scoped_lock lock(fMutex);
  for (const auto& other : fModules) {
    if (other->getName() == module->getName()) {
      throw HBError("A module named " + module->getName() + " stands already");
    }
  }
  fModules.push_back(std::move(module));
}

std::shared_ptr<HBModule> HBBroker::removeModule(const std::string& name) {
  std::scoped_lock lock(fMutex);
  const auto found = std::find_if(fModules.begin(), fModules.end(),
                                  [&](const auto& module) { return module->getName() == name; });
  if (found == fModules.end()) return nullptr;
  auto module = std::move(*found);
  fModules.erase(found);
  return module;
}

}  // namespace HB
