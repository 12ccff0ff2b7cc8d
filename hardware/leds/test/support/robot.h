// The module among real, small surroundings: a session, a broker, a recording motion, a memory and
// a robot model.
#pragma once

#include <memory>
#include <string>

#include "framework/hb/hb_broker.h"
#include "framework/hb/hb_module.h"
#include "framework/xo/session.h"
#include "hardware/leds/src/hbleds.h"
#include "hardware/leds/test/support/fake_services.h"
#include "hardware/leds/test/support/journal.h"
#include "hardware/leds/test/support/recording_log.h"
#include "hardware/leds/test/support/recording_motion.h"
#include "hardware/leds/test/support/robot_xml.h"

namespace HB::test {

/// What the module finds when it is made; services are added one by one.
struct Surroundings {
  std::shared_ptr<xo::Session> session = std::make_shared<xo::Session>();
  std::shared_ptr<HBBroker> broker = HBBroker::create(session);
  Journal journal;
  RecordingLog log{journal};
  std::unique_ptr<FakeMemory> memory;
  std::unique_ptr<RecordingMotion> motion;
  std::unique_ptr<FakeRobotModel> model;

  void addMemory();
  void addMotion();
  void addModel(const RobotXml& xml);
  /// The model in that file of the tree ("models/vanto.xml").
  void addModelFile(const std::string& path);
  /// All three.
  static std::unique_ptr<Surroundings> complete(const RobotXml& xml = RobotXml::small());
  static std::unique_ptr<Surroundings> completeFromFile(const std::string& path);
};

/// A module that was made and published as the host does it, with everything forgotten that its
/// making logged and called. Errors: what the module's constructor throws.
class Robot {
 public:
  explicit Robot(const RobotXml& xml = RobotXml::small());
  explicit Robot(std::unique_ptr<Surroundings> surroundings);
  ~Robot();
  Robot(const Robot&) = delete;
  Robot& operator=(const Robot&) = delete;

  HBLeds& leds() { return *fLeds; }
  RecordingMotion& motion() { return *fSurroundings->motion; }
  FakeMemory& memory() { return *fSurroundings->memory; }
  RecordingLog& log() { return fSurroundings->log; }
  Journal& journal() { return fSurroundings->journal; }
  Surroundings& surroundings() { return *fSurroundings; }

  /// The published service, fetched by name.
  xo::Object service() const;
  /// Calls a published method through the session.
  template <class R = void, class... A>
  R call(const std::string& method, const A&... args) const {
    return service().call<R>(method, args...);
  }

  /// Forgets every log line, write and journal line so far.
  void forget();

 private:
  std::unique_ptr<Surroundings> fSurroundings;
  std::shared_ptr<HBModule> fModule;
  HBLeds* fLeds = nullptr;
};

}  // namespace HB::test
