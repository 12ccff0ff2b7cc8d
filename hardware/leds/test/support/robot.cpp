#include "hardware/leds/test/support/robot.h"

#include <fstream>
#include <iterator>
#include <stdexcept>
#include <utility>

#include "framework/hb/module_factory.h"

namespace HB::test {

void Surroundings::addMemory() { memory = std::make_unique<FakeMemory>(*session, journal); }

void Surroundings::addMotion() { motion = std::make_unique<RecordingMotion>(*session, journal); }

void Surroundings::addModel(const RobotXml& xml) {
  model = std::make_unique<FakeRobotModel>(*session, journal, xml.text());
}

void Surroundings::addModelFile(const std::string& path) {
  std::ifstream file(path);
  std::string text{std::istreambuf_iterator<char>(file), {}};
  if (text.empty()) throw std::runtime_error("Could not read " + path);
  model = std::make_unique<FakeRobotModel>(*session, journal, std::move(text));
}

std::unique_ptr<Surroundings> Surroundings::complete(const RobotXml& xml) {
  auto made = std::make_unique<Surroundings>();
  made->addMemory();
  made->addMotion();
  made->addModel(xml);
  return made;
}

std::unique_ptr<Surroundings> Surroundings::completeFromFile(const std::string& path) {
  auto made = std::make_unique<Surroundings>();
  made->addMemory();
  made->addMotion();
  made->addModelFile(path);
  return made;
}

Robot::Robot(const RobotXml& xml) : Robot(Surroundings::complete(xml)) {}

Robot::Robot(std::unique_ptr<Surroundings> surroundings)
    : fSurroundings(std::move(surroundings)),
      fModule(createModule<HBLeds>(fSurroundings->broker)),
      fLeds(static_cast<HBLeds*>(fModule.get())) {
  forget();
}

Robot::~Robot() {
  if (fSurroundings->motion) fSurroundings->motion->release();
  fSurroundings->broker->removeModule("HBLeds");
}

xo::Object Robot::service() const { return fSurroundings->session->service("HBLeds").value(); }

void Robot::forget() {
  fSurroundings->log.clear();
  fSurroundings->journal.clear();
  if (fSurroundings->motion) fSurroundings->motion->clear();
}

}  // namespace HB::test
