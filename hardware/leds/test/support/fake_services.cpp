#include "hardware/leds/test/support/fake_services.h"

#include <stdexcept>
#include <utility>

namespace HB::test {

FakeMemory::FakeMemory(xo::Session& session, Journal& journal) : fJournal(journal) {
  xo::ObjectBuilder builder;
  builder.add(xo::makeMethod<HBValue(const std::string&)>({"getData", "", {}, {}, {}},
                                                          [this](const std::string& key) {
                                                            fJournal.add("memory: " + key);
                                                            return get(key);
                                                          }));
  fRegistration = session.registerService("HBMemory", std::move(builder));
}

void FakeMemory::set(const std::string& key, const HBValue& value) {
  std::scoped_lock lock(fMutex);
  fValues[key] = value;
}

HBValue FakeMemory::get(const std::string& key) const {
  std::scoped_lock lock(fMutex);
  const auto found = fValues.find(key);
  if (found == fValues.end()) throw std::invalid_argument("No key " + key);
  return found->second;
}

FakeRobotModel::FakeRobotModel(xo::Session& session, Journal& journal, std::string xml) {
  xo::ObjectBuilder builder;
  builder.add(xo::makeMethod<std::string()>({"getConfig", "", {}, {}, {}},
                                            [this, &journal, xml = std::move(xml)] {
                                              journal.add("model: getConfig");
                                              if (!fError.empty()) {
                                                throw std::runtime_error(fError);
                                              }
                                              return xml;
                                            }));
  fRegistration = session.registerService("HBRobotModel", std::move(builder));
}

std::unique_ptr<FakeRobotModel> FakeRobotModel::failing(xo::Session& session, Journal& journal,
                                                        const std::string& text) {
  auto model = std::make_unique<FakeRobotModel>(session, journal, "");
  model->fError = text;
  return model;
}

}  // namespace HB::test
