// A robot inside this process: memory, motion and LEDs as they are, on the model of Vanto.
#pragma once

#include "bench/leds_robot.h"
#include "services/memory/src/hbmemory.h"
#include "services/motion/src/hbmotion.h"

namespace bench {

class WholeRobot {
 public:
  WholeRobot() {
    HB::createModule<HB::HBMemory>(services.broker());
    services.publishModel(readModel("vanto.xml"));
    HB::createModule<HB::HBMotion>(services.broker());
    HB::createModule<HB::HBLeds>(services.broker());
  }
  ~WholeRobot() {
    for (const char* name : {"HBLeds", "HBMotion", "HBMemory"}) {
      services.broker()->removeModule(name);
    }
  }
  WholeRobot(const WholeRobot&) = delete;
  WholeRobot& operator=(const WholeRobot&) = delete;

  Services services;
};

}  // namespace bench
