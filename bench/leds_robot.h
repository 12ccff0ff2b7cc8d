// The LED service inside this process, on services that the benchmark chooses.
#pragma once

#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "framework/hb/module_factory.h"
#include "framework/xo/session.h"
#include "hardware/leds/src/hbleds.h"

namespace bench {

using Lists = std::vector<std::vector<float>>;

inline std::string readModel(const std::string& name) {
  std::ifstream file(std::string(TAVRO_MODELS "/") + name);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

/// A session in which a service is a handful of functions.
class Services {
 public:
  const std::shared_ptr<HB::HBBroker>& broker() const { return fBroker; }
  xo::Object find(const std::string& name) const { return fSession->service(name).value(); }

  template <class Signature, class F>
  void publish(const std::string& service, const std::string& method, F function) {
    xo::ObjectBuilder builder;
    builder.add(xo::makeMethod<Signature>({method, "", {}, {}, {}}, std::move(function)));
    fPublished.push_back(fSession->registerService(service, std::move(builder)));
  }
  void publishModel(std::string xml) {
    publish<std::string()>("HBRobotModel", "getConfig", [xml = std::move(xml)] { return xml; });
  }

 private:
  const std::shared_ptr<xo::Session> fSession = std::make_shared<xo::Session>();
  const std::shared_ptr<HB::HBBroker> fBroker = HB::HBBroker::create(fSession);
  std::vector<std::unique_ptr<xo::Session::Registration>> fPublished;
};

/// The LED service on a robot whose motion service takes every write and does nothing.
class LedsRobot {
 public:
  explicit LedsRobot(std::string model) {
    fServices.publish<HB::HBValue(const std::string&)>(
        "HBMemory", "getData", [](const std::string&) { return HB::HBValue(0.0f); });
    fServices.publish<void(const std::vector<std::string>&, const Lists&, const Lists&)>(
        "HBMotion", "_animateLEDs",
        [](const std::vector<std::string>& keys, const Lists&, const Lists&) {
          const auto* volatile unused = keys.data();  // as if somebody read them
          (void)unused;
        });
    fServices.publishModel(std::move(model));
    fModule = HB::createModule<HB::HBLeds>(fServices.broker());
  }
  ~LedsRobot() {
    fModule.reset();
    fServices.broker()->removeModule("HBLeds");
  }
  LedsRobot(const LedsRobot&) = delete;
  LedsRobot& operator=(const LedsRobot&) = delete;

  HB::HBLeds& leds() { return static_cast<HB::HBLeds&>(*fModule); }
  xo::Object service() const { return fServices.find("HBLeds"); }

 private:
  Services fServices;
  std::shared_ptr<HB::HBModule> fModule;
};

}  // namespace bench
